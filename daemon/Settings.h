#pragma once

#include <cstdint>
#include <string>

#include "QELIniSettings.h"
#include "QELRefCount.h"

/// The daemon's settings: built-in defaults, overridden by section LogServer of the configuration
/// file. Read once, at start-up, by one thread; the fields are then read directly.
class CSettings : public CRefCountNumber {
 public:
  /// Sets the defaults. Opens nothing.
  explicit CSettings(const std::string& confFile);

  /// Loads the file and reads the section. Returns false, with the settings unchanged, when the
  /// file cannot be opened or has no such section. To be called once: it converts the numbers to
  /// their final units.
  bool LoadConfig();

  /// Reads the section from the loaded store. Returns false when nothing was loaded or the section
  /// is missing. Every value is taken as it is: text that is no number gives 0, and numbers wrap
  /// modulo 2^32, before and after the conversion.
  bool LoadLogServerSection(CRefCount<qel::CIniSettings> settings);

  std::string m_strDirName = "/tmp/tavok_log";
  std::string m_strPort = "23456";  // UDP port number, or path of a Unix-domain socket
  std::string m_strBindingAddress;  // empty: any
  std::string m_strPidFileName = "/tmp/tavok_log_server.pid";
  std::uint32_t m_nMaxFileSize = 50;  // mebibytes; bytes once loaded
  std::uint32_t m_nMaxSize = 2000;    // mebibytes; bytes once loaded
  std::uint32_t m_nMaxPeriod = 24;    // hours; seconds once loaded
  bool m_bExternalRotation = false;
  std::string m_strConfFile;
  CRefCount<qel::CIniSettings> m_pIniSettings;
};
