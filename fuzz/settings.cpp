// Loads a configuration file: checks each setting against the section, and reports of a reload.
#include <sys/mman.h>

#include "Fuzz.h"

void Try(const std::string& input) {
  static const std::string path = "/proc/self/fd/" + std::to_string(::memfd_create("conf", 0));
  struct Listener final : qel::ISettingsNotification {
    void OnSettingsChanged() override { ++calls; }
    int calls = 0;
  } listener;
  qel::CIniFile file, next;
  Require(file.ParseText(input) && next.ParseText(Second(input)));
  const auto section = file.FindSection("LOGSERVER");
  CSettings s(path);
  Require(std::ofstream(path) << input << std::flush && s.LoadConfig() == bool(section));
  s.m_pIniSettings->AddListener(&listener, 0);
  Require(std::ofstream(path) << Second(input) << std::flush && s.m_pIniSettings->_Load(path));
  Require(listener.calls == (file == next ? 0 : 1));
  if (!section) return Require(s.m_nMaxSize == 2000 && s.m_nMaxPeriod == 24);
  const auto in = [&](const char* key, const char* missing) {
    return section->FindValue(key) ? section->FindValue(key)->c_str() : missing;
  };
  Require(s.m_strDirName == in("DIRNAME", "/tmp/tavok_log"));
  Require(s.m_strPidFileName == in("pidfilename", "/tmp/tavok_log_server.pid"));
  Require(s.m_strPort == in("PORT", "23456") && s.m_strBindingAddress == in("bindingaddress", ""));
  const char* const f = in("ExternalRotation", "");
  // A word or a number. NOLINTNEXTLINE(bugprone-suspicious-string-compare)
  Require(s.m_bExternalRotation != (strcasecmp(f, "yes") && strcasecmp(f, "true") && atoi(f) == 0));
  Require(s.m_nMaxFileSize == unsigned(std::atol(in("MaxFileSize", "50"))) << 20);
  Require(s.m_nMaxSize == unsigned(std::atol(in("MaxSize", "2000"))) << 20);
  Require(s.m_nMaxPeriod == unsigned(std::atol(in("MaxPeriod", "24"))) * 3600);
}
