#pragma once

#include <string>
#include <vector>

#include "config/Warnings.h"

/// What the warnings about effective values share.
class CSettingWarnings {
 public:
  CSettingWarnings(const std::vector<CConfigLine>& lines, const CSettings& settings,
                   const CStarter& starter, std::vector<CWarning>& warnings)
      : m_settings(settings), m_starter(starter), m_lines(lines), m_warnings(warnings) {}

 protected:
  /// The line that sets a key; 0 if none does.
  unsigned LineOf(const char* key) const;

  void Warn(const char* key, const std::string& text);

  void WarnOfRelative(const char* key, const std::string& path);

  /// Warns about something that does not exist yet, if its directory is in the way.
  void WarnOfFolder(const char* key, const std::string& path, const std::string& consequence);

  /// Warns about a file that tavok takes for a rotated one.
  void WarnOfRotatedName(const char* key, const std::string& path);

  const CSettings& m_settings;
  const CStarter& m_starter;

 private:
  const std::vector<CConfigLine>& m_lines;
  std::vector<CWarning>& m_warnings;
};

/// The type bits of a file's mode; 0 if there is no such file.
mode_t KindOf(const std::string& path);
