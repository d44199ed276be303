#include "config/KnownSettings.h"

#include "QELString.h"
#include "base/KernelSockets.h"

namespace {

std::string InUnit(std::uint32_t value, std::uint32_t factor, const char* small,
                   const char* large) {
  return value % factor == 0 ? qel::QELSPrintf("%u %s (%u %s)", value / factor, large, value, small)
                             : qel::QELSPrintf("%u %s", value, small);
}

std::string InMiB(std::uint32_t bytes) { return InUnit(bytes, 1 << 20, "bytes", "MiB"); }

std::string Port(const CSettings& settings) {
  const bool isUdp = CSettings::PortNumber(settings.m_strPort) != 0;
  return isUdp ? "UDP port " + std::to_string(UdpPortOf(settings.m_strPort))
               : "Unix-domain socket " + settings.m_strPort;
}

}  // namespace

const std::array<CKnownSetting, 8> kKnownSettings = {{
    {"DirName", [](const CSettings& settings) { return settings.m_strDirName; }},
    {"Port", Port},
    {"BindingAddress",
     [](const CSettings& settings) {
       return settings.m_strBindingAddress.empty() ? "any" : settings.m_strBindingAddress;
     }},
    {"PidFileName", [](const CSettings& settings) { return settings.m_strPidFileName; }},
    {"MaxFileSize", [](const CSettings& settings) { return InMiB(settings.m_nMaxFileSize); }},
    {"MaxSize", [](const CSettings& settings) { return InMiB(settings.m_nMaxSize); }},
    {"MaxPeriod",
     [](const CSettings& settings) {
       return InUnit(settings.m_nMaxPeriod, 3600, "seconds", "hours");
     }},
    {"ExternalRotation",
     [](const CSettings& settings) -> std::string {
       return settings.m_bExternalRotation ? "on" : "off";
     }},
}};
