#include "Commands.h"
#include "base/Failure.h"
#include "base/Options.h"
#include "base/Output.h"
#include "config/Config.h"
#include "config/KnownSettings.h"
#include "config/Warnings.h"

namespace {

constexpr const char* kUsage =
    "Usage: tavokctl check [-c FILE] [--strict] [--as USER]\n"
    "Reads a configuration as tavok would, prints every setting with its effective value, and "
    "warns\n"
    "of what tavok accepts silently, and of what keeps it from starting. Root examines the file "
    "of\n"
    "the service as that would: as its user, and in its sandbox.\n"
    "  -c, --config FILE  the configuration\n"
    "  -s, --strict       exit with status 1 if there is a warning\n"
    "  -a, --as USER      examine files with the rights of this user\n";

void PrintSettings(const CSettings& settings) {
  const auto section = settings.m_pIniSettings->GetIniFile()->FindSection(kSection);
  for (const CKnownSetting& setting : kKnownSettings) {
    const bool isDefault = section->FindValue(setting.key) == nullptr;
    std::string key = setting.key;
    key.resize(18, ' ');
    Say(key + setting.value(settings) + (isDefault ? "  (default)" : ""));
  }
}

CRefCount<CSettings> ReadAs(const CStarter& starter, const std::string& config) {
  try {
    return ReadSettings(config);
  } catch (const CFailure& e) {
    throw CFailure(e.what() + starter.AsUser());
  }
}

}  // namespace

int Check(int argc, char** argv) {
  std::string config = kDefaultConfig, user;
  bool isStrict = false;
  ReadOptions(
      argc, argv, kUsage,
      {ConfigOption(config), FlagOption('s', "strict", isStrict), TextOption('a', "as", user)});

  const CStarter starter(config, user);
  const auto settings = ReadAs(starter, config);
  PrintSettings(*settings);
  FlushOutput();  // before the warnings, if both streams lead to one place
  const auto warnings = FindWarnings(*settings, starter);
  for (const CWarning& warning : warnings) Complain(Line(*settings, warning));
  return isStrict && !warnings.empty() ? kFailed : kDone;
}
