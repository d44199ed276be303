#include "Subject.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <regex>
#include <sstream>

#include "Files.h"

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

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

// Writes the configuration of a peer, of this tree, with the place filled in.
fs::path FilledIn(const Place& place, const std::string& name, bool defaults) {
  std::string text = ReadFile(fs::path(PEERS_DIRECTORY) / name);
  if (defaults) text = std::regex_replace(text, kUnlikeDefaults, "");
  const std::map<std::string, std::string> values = {
      {"@DIRECTORY@", place.directory},
      {"@SOCKET@", place.udp ? place.directory / "unused" : fs::path(place.listening)},
      {"@PORT@", place.udp ? place.listening : std::to_string(FreePort())},
      {"@LOG@", place.Log()}};
  for (const auto& [mark, value] : values) {
    for (std::size_t at; (at = text.find(mark)) != std::string::npos;) {
      text.replace(at, mark.size(), value);
    }
  }
  fs::path conf = place.directory / name;
  WriteFile(conf, text);
  return conf;
}

Words BareArguments(const Place& place) {
  return {place.udp ? "udp" : "unix", place.listening, place.Log()};
}

Words BareThreadsArguments(const Place& place) {
  Words words = BareArguments(place);
  words.push_back("threads");
  return words;
}

// Debian keeps its modules beside the program, also where the package was only unpacked.
Words RsyslogdArguments(const Place& place, bool defaults) {
  const std::string conf = FilledIn(place, "rsyslogd.conf", defaults);
  const fs::path top = fs::canonical(FindProgram("rsyslogd")).parent_path().parent_path();
  return {"-n",
          "-f",
          conf,
          "-i",
          place.directory / "pid",
          "-M",
          top / "lib" / LIBRARY_ARCHITECTURE / "rsyslog"};
}

Words SyslogNgArguments(const Place& place, bool defaults) {
  const std::string conf = FilledIn(place, "syslog-ng.conf", defaults);
  const std::string at = place.directory.string() + "/";
  return {"-F",
          "--no-caps",
          "--cfgfile=" + conf,
          "--persist-file=" + at + "persist",
          "--control=" + at + "control",
          "--pidfile=" + at + "pid"};
}

Words SocklogArguments(const Place& place) {
  if (place.udp) return {"inet", "127.0.0.1", place.listening};
  return {"unix", place.listening};
}

Words S6SocklogArguments(const Place& place) { return {"-r", "-x", place.listening}; }

// Nothing is deleted while it is counted: size and number of its files are unlimited.
Words SvlogdArguments(const Place& place) {
  WriteFile(place.LogDirectory() / "config", "s0\nn0\n");
  return {place.LogDirectory()};
}

// With -b it does not read while something is unwritten.
Words S6LogArguments(const Place& place) {
  return {"-b", "n100000", "s268435455", place.LogDirectory()};
}

Words SocatArguments(const Place& place) {
  const std::string source = place.udp ? "UDP4-RECV:" + place.listening + ",bind=127.0.0.1"
                                       : "UNIX-RECV:" + place.listening;
  return {"-u", "-b", "1025", source + ",rcvbuf=65536",
          "OPEN:" + place.Log().string() + ",creat,append"};
}

// What starts them with their settings for queues and batches, or with the defaults.
template <Words (&Arguments)(const Place&, bool), bool defaults>
Words Configured(const Place& place) {
  return Arguments(place, defaults);
}

}  // namespace

std::vector<Subject> InstalledSubjects(const std::string& before) {
  using enum Subject::Part;
  using enum Subject::Rotation;
  const auto rsyslogd = Configured<RsyslogdArguments, false>;
  const auto rsyslogdDefault = Configured<RsyslogdArguments, true>;
  const auto syslogNg = Configured<SyslogNgArguments, false>;
  const auto syslogNgDefault = Configured<SyslogNgArguments, true>;
  const Subject::Stage socklog{"socklog", SocklogArguments};
  const Subject::Stage s6Socklog{"s6-socklog", S6SocklogArguments};
  const Subject::Stage svlogd{"svlogd", SvlogdArguments};
  const Subject::Stage s6Log{"s6-log", S6LogArguments};
  std::vector<Subject> subjects = {
      {"bare", {{BARE_BINARY, BareArguments}}, kAll, kNever},
      {"tavok", {{TAVOK_DIRECTORY "/tavok", {}}}, kAll, kHangUp},
      {"bare-threads", {{BARE_BINARY, BareThreadsArguments}}, kLoads, kNever},
      {"before", {{before, {}}}, kAll, kHangUp},
      {"socklog", {socklog}, kLoads, kNever},
      {"socat", {{"socat", SocatArguments}}, kLoads, kNever},
      {"rsyslogd", {{"rsyslogd", rsyslogd}}, kAll, kRename},
      {"rsyslogd-default", {{"rsyslogd", rsyslogdDefault}}, kCollectors, kRename},
      {"syslog-ng", {{"syslog-ng", syslogNg}}, kAll, kRename},
      {"syslog-ng-default", {{"syslog-ng", syslogNgDefault}}, kCollectors, kRename},
      {"socklog+svlogd", {socklog, svlogd}, kCollectors, kAlarm},
      {"s6-socklog+s6-log", {s6Socklog, s6Log}, kCollectors, kAlarm},
      {"svlogd", {svlogd}, kCollectors, kAlarm},
      {"s6-log", {s6Log}, kCollectors, kAlarm},
      {"journald", {}, kNamed, kJournal}};
  for (Subject& subject : subjects) {
    for (Subject::Stage& stage : subject.stages) stage.program = FindProgram(stage.program);
  }
  std::erase_if(subjects, [](const Subject& subject) {
    return std::ranges::count(subject.stages, "", &Subject::Stage::program) > 0;
  });
  return subjects;
}
