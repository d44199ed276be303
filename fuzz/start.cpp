// Starts a daemon on a configuration file: it must come up, or exit with status 1 and say why.
#include "Fuzz.h"

void Try(const std::string& input) {
  qel::CIniFile file;
  Require(file.ParseText(input));
  const auto section = file.FindSection("LogServer");
  // Their defaults are absolute paths outside the fuzzer's directory.
  if (section && !(section->FindValue("DirName") && section->FindValue("PidFileName"))) return;
  std::FILE* const daemon = ::popen("exec " DAEMON " try", "w");
  Require(std::fwrite(input.data(), 1, input.size(), daemon) == input.size() && !::pclose(daemon));
}
