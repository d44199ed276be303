#include <cerrno>
#include <cstdio>

#include "Commands.h"
#include "QELString.h"
#include "base/Failure.h"
#include "base/Files.h"
#include "base/Options.h"
#include "config/Config.h"
#include "config/KnownSettings.h"
#include "config/Warnings.h"

namespace {

constexpr const char* kUsage =
    "Usage: tavokctl check [-c FILE] [--strict]\n"
    "Reads a configuration as tavok would, prints every setting with its effective value, and "
    "warns\n"
    "of what tavok accepts silently.\n"
    "  -c, --config FILE  the configuration\n"
    "  -s, --strict       exit with status 1 if there is a warning\n";

void PrintSettings(const CSettings& settings) {
  const auto section = settings.m_pIniSettings->GetIniFile()->FindSection("LogServer");
  for (const CKnownSetting& setting : kKnownSettings) {
    const bool isDefault = section->FindValue(setting.key) == nullptr;
    std::printf("%-17s %s%s\n", setting.key, setting.value(settings).c_str(),
                isDefault ? "  (default)" : "");
  }
}

}  // namespace

int Check(int argc, char** argv) {
  std::string config = kDefaultConfig;
  bool isStrict = false;
  ReadOptions(argc, argv, kUsage,
              {ConfigOption(config),
               {'s', "strict", false, [&isStrict](const std::string&) { isStrict = true; }}});

  const auto settings = ReadSettings(config);
  PrintSettings(*settings);
  // Before the warnings, if both streams lead to one place.
  if (std::fflush(stdout) != 0) throw CFailure("write standard output", errno);
  const auto warnings = FindWarnings(ReadText(config), *settings);
  for (const CWarning& warning : warnings) {
    const std::string line = warning.line == 0 ? "" : qel::QELSPrintf(":%u", warning.line);
    std::fprintf(stderr, "%s%s: warning: %s\n", config.c_str(), line.c_str(), warning.text.c_str());
  }
  return isStrict && !warnings.empty() ? kFailed : kDone;
}
