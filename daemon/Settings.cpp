#include "Settings.h"

#include <strings.h>

#include <cstdlib>

namespace {

using Section = qel::CIniFile::CSection;

std::uint32_t Number(const std::string& text) {
  return static_cast<std::uint32_t>(std::strtol(text.c_str(), nullptr, 10));
}

bool Flag(const std::string& text) {
  return Number(text) != 0 || ::strcasecmp(text.c_str(), "yes") == 0 ||
         ::strcasecmp(text.c_str(), "true") == 0;
}

// A missing key leaves its field unchanged; an empty value does not.
void Read(const Section& section, const char* key, std::string& field) {
  if (const std::string* const value = section.FindValue(key)) field = *value;
}

void Read(const Section& section, const char* key, bool& field) {
  if (const std::string* const value = section.FindValue(key)) field = Flag(*value);
}

void Read(const Section& section, const char* key, std::uint32_t& field) {
  if (const std::string* const value = section.FindValue(key)) field = Number(*value);
}

}  // namespace

CSettings::CSettings(const std::string& confFile) : m_strConfFile(confFile) {}

bool CSettings::LoadConfig() {
  m_pIniSettings = new qel::CIniSettings;
  m_pIniSettings->SetPath(m_strConfFile);
  return m_pIniSettings->_Load(m_strConfFile) && LoadLogServerSection(m_pIniSettings);
}

// The parameter is part of the interface. NOLINTNEXTLINE(performance-unnecessary-value-param)
bool CSettings::LoadLogServerSection(CRefCount<qel::CIniSettings> /*settings*/) {
  if (!m_pIniSettings) return false;
  const CRefCount<qel::CIniFile> file = m_pIniSettings->GetIniFile();
  if (!file) return false;
  const CRefCount<Section> section = file->FindSection("LogServer");
  if (!section) return false;
  Read(*section, "DirName", m_strDirName);
  Read(*section, "Port", m_strPort);
  Read(*section, "BindingAddress", m_strBindingAddress);
  Read(*section, "ExternalRotation", m_bExternalRotation);
  Read(*section, "MaxFileSize", m_nMaxFileSize);
  m_nMaxFileSize <<= 20;
  Read(*section, "MaxSize", m_nMaxSize);
  m_nMaxSize <<= 20;
  Read(*section, "MaxPeriod", m_nMaxPeriod);
  m_nMaxPeriod *= 3600u;
  Read(*section, "PidFileName", m_strPidFileName);
  return true;
}

int CSettings::PortNumber(const std::string& port) { return static_cast<int>(Number(port)); }
