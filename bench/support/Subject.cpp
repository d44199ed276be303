#include "Subject.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

namespace {

// Writes the configuration of a peer, of this tree, with the place filled in.
fs::path FilledIn(const Place& place, const std::string& name) {
  std::ostringstream original;
  original << std::ifstream(fs::path(PEERS_DIRECTORY) / name).rdbuf();
  std::string text = original.str();
  const std::map<std::string, std::string> values = {{"@DIRECTORY@", place.directory},
                                                     {"@SOCKET@", place.Socket()},
                                                     {"@PORT@", std::to_string(place.port)},
                                                     {"@LOG@", place.Log()}};
  for (const auto& [mark, value] : values) {
    for (std::size_t at; (at = text.find(mark)) != std::string::npos;) {
      text.replace(at, mark.size(), value);
    }
  }
  fs::path conf = place.directory / name;
  std::ofstream(conf) << text;
  return conf;
}

Words BareArguments(const Place& place) {
  return {place.udp ? "udp" : "unix", place.Listening(), place.Log()};
}

Words BareThreadsArguments(const Place& place) {
  Words words = BareArguments(place);
  words.push_back("threads");
  return words;
}

Words TavokArguments(const Place& place) {
  const fs::path conf = place.directory / "conf";
  std::ofstream(conf) << "[LogServer]\nDirName=" << place.LogDirectory().string()
                      << "\nPort=" << place.Listening()
                      << "\nPidFileName=" << (place.directory / "pid").string() << "\n";
  return {"-c", conf};
}

Words RsyslogdArguments(const Place& place) {
  const std::string conf = FilledIn(place, "rsyslogd.conf");
  return {"-n", "-f", conf, "-i", place.directory / "pid"};
}

Words SyslogNgArguments(const Place& place) {
  const std::string conf = FilledIn(place, "syslog-ng.conf");
  return {"-F",
          "--no-caps",
          "-f",
          conf,
          "--persist-file",
          place.directory / "persist",
          "-c",
          place.directory / "control",
          "--pidfile",
          place.directory / "pid"};
}

// Its standard output is the log.
Words SocklogArguments(const Place& place) {
  if (place.udp) return {"inet", "127.0.0.1", place.Listening()};
  return {"unix", place.Listening()};
}

Words SocatArguments(const Place& place) {
  const std::string source = place.udp ? "UDP4-RECV:" + place.Listening() + ",bind=127.0.0.1"
                                       : "UNIX-RECV:" + place.Listening();
  return {"-u", "-b", "1025", source + ",rcvbuf=65536",
          "OPEN:" + place.Log().string() + ",creat,append"};
}

const std::map<std::string, std::function<Words(const Place&)>> kArguments = {
    {"bare", BareArguments},         {"bare-threads", BareThreadsArguments},
    {"tavok", TavokArguments},       {"before", TavokArguments},
    {"rsyslogd", RsyslogdArguments}, {"syslog-ng", SyslogNgArguments},
    {"socklog", SocklogArguments},   {"socat", SocatArguments}};

// Debian keeps rsyslogd's modules beside its program, also where the package was only unpacked.
Words ModuleArguments(const Subject& subject) {
  if (subject.name != "rsyslogd") return {};
  const fs::path top = fs::canonical(subject.program).parent_path().parent_path();
  return {"-M", top / "lib" / LIBRARY_ARCHITECTURE / "rsyslog"};
}

std::string FindProgram(const std::string& name) {
  const char* const path = std::getenv("PATH");
  std::istringstream directories(std::string(path == nullptr ? "" : path) + ":/usr/sbin:/sbin");
  for (std::string directory; std::getline(directories, directory, ':');) {
    std::string program = fs::path(directory) / name;
    if (::access(program.c_str(), X_OK) == 0) return program;
  }
  return "";
}

}  // namespace

std::vector<Subject> InstalledSubjects() {
  std::vector<Subject> subjects = {
      {"bare", BARE_BINARY}, {"tavok", TAVOK_BINARY}, {"bare-threads", BARE_BINARY}};
  for (const char* const name : {"socklog", "socat", "syslog-ng", "rsyslogd"}) {
    const std::string program = FindProgram(name);
    if (!program.empty()) subjects.push_back({name, program});
  }
  return subjects;
}

std::vector<std::string> CommandLine(const Subject& subject, const Place& place) {
  Words words = {subject.program};
  for (const Words& more : {kArguments.at(subject.name)(place), ModuleArguments(subject)}) {
    words.insert(words.end(), more.begin(), more.end());
  }
  return words;
}

bool LogsToStandardOutput(const Subject& subject) { return subject.name == "socklog"; }
