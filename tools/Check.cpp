#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "Command.h"
#include "Config.h"
#include "ConfigWarnings.h"
#include "Files.h"
#include "QELString.h"
#include "Settings.h"

namespace {

constexpr const char* kUsage =
    "Usage: tavokctl check [-c FILE] [--strict]\n"
    "Reads a configuration as tavok would, prints every setting with its effective value, and "
    "warns\n"
    "of what tavok takes silently.\n"
    "  -c, --config FILE  the configuration\n"
    "  -s, --strict       a warning makes the status 1\n";

std::string InUnit(std::uint32_t value, std::uint32_t factor, const char* small,
                   const char* large) {
  return value % factor == 0 ? qel::QELSPrintf("%u %s (%u %s)", value / factor, large, value, small)
                             : qel::QELSPrintf("%u %s", value, small);
}

std::string Port(const std::string& port) {
  const int number = CSettings::PortNumber(port);
  return number != 0 ? qel::QELSPrintf("UDP port %u", number & 0xFFFF)
                     : "Unix-domain socket " + port;
}

// In the order of kSettingKeys.
std::vector<std::string> Values(const CSettings& settings) {
  return {settings.m_strDirName,
          Port(settings.m_strPort),
          settings.m_strBindingAddress.empty() ? "any" : settings.m_strBindingAddress,
          settings.m_strPidFileName,
          InUnit(settings.m_nMaxFileSize, 1 << 20, "bytes", "MiB"),
          InUnit(settings.m_nMaxSize, 1 << 20, "bytes", "MiB"),
          InUnit(settings.m_nMaxPeriod, 3600, "seconds", "hours"),
          settings.m_bExternalRotation ? "on" : "off"};
}

void PrintSettings(const CSettings& settings) {
  const auto section = settings.m_pIniSettings->GetIniFile()->FindSection("LogServer");
  const auto values = Values(settings);
  for (std::size_t i = 0; i < values.size(); ++i) {
    const bool isDefault = section->FindValue(kSettingKeys[i]) == nullptr;
    std::printf("%-17s %s%s\n", kSettingKeys[i].c_str(), values[i].c_str(),
                isDefault ? "  (default)" : "");
  }
}

std::vector<CWarning> Warnings(const std::string& text, const CSettings& settings) {
  std::vector<CWarning> warnings;
  const auto lines = ReadConfigLines(text);
  const auto counting = LinesThatCount(lines);
  if (text.find('\0') != std::string::npos) {
    warnings.push_back({0, "there is a NUL in the file: what is behind it is ignored"});
  }
  WarnOfLines(lines, warnings);
  WarnOfNumbers(counting, settings, warnings);
  WarnOfValues(counting, settings, warnings);
  std::stable_sort(warnings.begin(), warnings.end(),
                   [](const CWarning& a, const CWarning& b) { return a.line < b.line; });
  return warnings;
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
  // Above the warnings, where both go to one place.
  if (std::fflush(stdout) != 0) throw CFailure("write the standard output", errno);
  const auto warnings = Warnings(ReadText(config), *settings);
  for (const CWarning& warning : warnings) {
    const std::string line = warning.line == 0 ? "" : qel::QELSPrintf(":%u", warning.line);
    std::fprintf(stderr, "%s%s: warning: %s\n", config.c_str(), line.c_str(), warning.text.c_str());
  }
  return isStrict && !warnings.empty() ? kFailed : kDone;
}
