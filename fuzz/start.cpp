// Configuration files: a daemon comes up on each, or ends with status 1 and says why.
#include "Fuzz.h"

void Try(const std::string& input) {
  qel::CIniFile file;
  Require(file.ParseText(input));
  const auto section = file.FindSection("LogServer");
  // The defaults of these two are absolute paths, to be left alone.
  if (section && !(section->FindValue("DirName") && section->FindValue("PidFileName"))) return;
  std::FILE* const daemon = ::popen("exec " DAEMON " try", "w");
  Require(std::fwrite(input.data(), 1, input.size(), daemon) == input.size() && !::pclose(daemon));
}
