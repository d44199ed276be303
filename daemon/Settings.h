#pragma once

#include <cstdint>
#include <string>

#include "QELIniSettings.h"
#include "QELRefCount.h"

/// The daemon's settings: built-in defaults, overridden by section LogServer of the configuration
/// file. The first thread loads them once, at start-up; the fields are then read directly.
class CSettings : public CRefCountNumber {
 public:
  /// Sets the defaults. Opens nothing.
  explicit CSettings(const std::string& confFile);

  /// Loads the file into a new store, m_pIniSettings, and reads the section. Returns false if the
  /// file cannot be opened or has no such section; all other fields then keep their values. To be
  /// called once: a second call would convert numbers that have been converted already.
  bool LoadConfig();

  /// Reads the section from m_pIniSettings, whatever `settings` is, and converts the numbers to
  /// bytes and seconds. Returns false, with no field changed, if nothing was loaded or the section
  /// is missing. Accepts every value: text that is not a number gives 0, and numbers wrap modulo
  /// 2^32, before and after the conversion.
  bool LoadLogServerSection(CRefCount<qel::CIniSettings> settings);

  /// The number at the beginning of a Port setting: a UDP port, of which the low 16 bits count. 0
  /// if the setting is the path of a Unix-domain socket.
  static int PortNumber(const std::string& port);

  std::string m_strDirName = "/tmp/tavok_log";
  std::string m_strPort = "23456";  // see PortNumber
  std::string m_strBindingAddress;  // empty: any
  std::string m_strPidFileName = "/tmp/tavok_log_server.pid";
  std::uint32_t m_nMaxFileSize = 50;  // mebibytes; bytes once loaded
  std::uint32_t m_nMaxSize = 2000;    // mebibytes; bytes once loaded
  std::uint32_t m_nMaxPeriod = 24;    // hours; seconds once loaded
  bool m_bExternalRotation = false;
  std::string m_strConfFile;
  CRefCount<qel::CIniSettings> m_pIniSettings;
};
