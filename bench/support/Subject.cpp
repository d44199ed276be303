#include "Subject.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <map>
#include <regex>
#include <sstream>

#include "Files.h"

namespace fs = std::filesystem;

namespace {

// A path is taken as it is. Empty when there is none.
std::string FindProgram(const std::string& name) {
  if (name.empty() || name.front() == '/') return name;
  const char* const path = std::getenv("PATH");
  std::istringstream directories(std::string(path == nullptr ? "" : path) + ":/usr/sbin:/sbin");
  for (std::string directory; std::getline(directories, directory, ':');) {
    std::string program = fs::path(directory) / name;
    if (::access(program.c_str(), X_OK) == 0) return program;
  }
  return "";
}

// The settings of queues and batches in the configurations of the peers: without them a peer has
// those of its defaults.
const std::regex kUnlikeDefaults(R"(main_queue\(.*\)\n|\s+queue\.type="Direct"|threaded\(no\);)"
                                 R"(|(flush-lines|log-fetch-limit)\(1\);?)");

// Where svlogd looks for it; the others are told.
fs::path Configuration(const Place& place) { return place.LogDirectory() / "config"; }

std::string FilledIn(std::string text, const std::string& program, const Place& place) {
  // Debian keeps its modules beside the program, also where the package was only unpacked.
  const fs::path top = fs::canonical(program).parent_path().parent_path();
  const std::map<std::string, std::string> values = {
      {"@DIRECTORY@", place.directory},
      {"@SOCKET@", place.udp ? place.directory / "unused" : fs::path(place.listening)},
      {"@PORT@", place.udp ? place.listening : std::to_string(FreePort())},
      {"@LOGS@", place.LogDirectory()},
      {"@LOG@", place.Log()},
      {"@CONF@", Configuration(place)},
      {"@MODULES@", top / "lib" / LIBRARY_ARCHITECTURE / "rsyslog"}};
  for (const auto& [mark, value] : values) {
    for (std::size_t at; (at = text.find(mark)) != std::string::npos;) {
      text.replace(at, mark.size(), value);
    }
  }
  return text;
}

}  // namespace

std::vector<std::string> Subject::Command(const Stage& stage, const Place& place) const {
  const std::string peer = fs::path(stage.program).filename();
  std::string conf = ReadFile(PEERS_DIRECTORY "/" + peer + ".conf");
  if (name.ends_with("-default")) conf = std::regex_replace(conf, kUnlikeDefaults, "");
  if (!conf.empty()) WriteFile(Configuration(place), FilledIn(conf, stage.program, place));

  const bool unlike = place.udp && !stage.udpArguments.empty();
  std::istringstream words(
      FilledIn(unlike ? stage.udpArguments : stage.arguments, stage.program, place));
  std::vector<std::string> command = {stage.program};
  command.insert(command.end(), std::istream_iterator<std::string>(words), {});
  return command;
}

std::vector<Subject> InstalledSubjects(const std::string& before) {
  using enum Subject::Part;
  using Stages = std::vector<Subject::Stage>;
  const Stages rsyslogd = {{"rsyslogd", "-n -f @CONF@ -i @DIRECTORY@/pid -M @MODULES@", ""}};
  const Stages syslogNg = {{"syslog-ng",
                            "-F --no-caps --cfgfile=@CONF@ --persist-file=@DIRECTORY@/persist "
                            "--control=@DIRECTORY@/control --pidfile=@DIRECTORY@/pid",
                            ""}};
  const Stages socat = {
      {"socat", "-u -b 1025 UNIX-RECV:@SOCKET@,rcvbuf=65536 OPEN:@LOG@,creat,append",
       "-u -b 1025 UDP4-RECV:@PORT@,bind=127.0.0.1,rcvbuf=65536 OPEN:@LOG@,creat,append"}};
  const Subject::Stage socklog{"socklog", "unix @SOCKET@", "inet 127.0.0.1 @PORT@"};
  const Subject::Stage s6Socklog{"s6-socklog", "-r -x @SOCKET@", ""};
  const Subject::Stage svlogd{"svlogd", "@LOGS@", ""};
  // With -b it does not read while something is unwritten.
  const Subject::Stage s6Log{"s6-log", "-b n100000 s268435455 @LOGS@", ""};
  std::vector<Subject> subjects = {
      {"bare", {{BARE_BINARY, "unix @SOCKET@ @LOG@", "udp @PORT@ @LOG@"}}, kAll},
      {"tavok", {{TAVOK_DIRECTORY "/tavok", "", ""}}, kAll, SIGHUP},
      {"bare-threads",
       {{BARE_BINARY, "unix @SOCKET@ @LOG@ threads", "udp @PORT@ @LOG@ threads"}},
       kLoads},
      {"before", {{before, "", ""}}, kAll, SIGHUP},
      {"socklog", {socklog}, kLoads},
      {"socat", socat, kLoads},
      {"rsyslogd", rsyslogd, kAll, SIGHUP},
      {"rsyslogd-default", rsyslogd, kCollectors, SIGHUP},
      {"syslog-ng", syslogNg, kAll, SIGHUP},
      {"syslog-ng-default", syslogNg, kCollectors, SIGHUP},
      {"socklog+svlogd", {socklog, svlogd}, kCollectors, SIGALRM},
      {"s6-socklog+s6-log", {s6Socklog, s6Log}, kCollectors, SIGALRM},
      {"svlogd", {svlogd}, kCollectors, SIGALRM},
      {"s6-log", {s6Log}, kCollectors, SIGALRM},
      {"journald", {}, kNamed, SIGUSR2}};
  for (Subject& subject : subjects) {
    for (Subject::Stage& stage : subject.stages) stage.program = FindProgram(stage.program);
  }
  std::erase_if(subjects, [](const Subject& subject) {
    return std::ranges::count(subject.stages, "", &Subject::Stage::program) > 0;
  });
  return subjects;
}
