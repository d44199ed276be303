// Starts a daemon on a configuration file: it must come up, or exit with status 1 and say why.
#include <unistd.h>

#include "Fuzz.h"

void Try(const std::string& input) {
  static const std::string command =
      "exec " DAEMON " try /dev/shm/tavok-fuzz-" + std::to_string(::getpid());
  qel::CIniFile file;
  Require(file.ParseText(input));
  const auto section = file.FindSection("LogServer");
  // Their defaults are absolute paths outside the fuzzer's directory.
  if (section && !(section->FindValue("DirName") && section->FindValue("PidFileName"))) return;
  std::FILE* const daemon = ::popen(command.c_str(), "w");
  Require(std::fwrite(input.data(), 1, input.size(), daemon) == input.size() && !::pclose(daemon));
}
