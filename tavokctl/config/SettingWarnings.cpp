#include "config/SettingWarnings.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "LogFileNames.h"
#include "base/Files.h"

unsigned CSettingWarnings::LineOf(const char* key) const {
  for (const CConfigLine& line : m_lines) {
    if (IsSameKey(line.key, key)) return line.number;
  }
  return 0;
}

void CSettingWarnings::Warn(const char* key, const std::string& text) {
  m_warnings.push_back({LineOf(key), key + (" " + text)});
}

void CSettingWarnings::WarnOfRelative(const char* key, const std::string& path) {
  if (!path.starts_with('/')) {
    Warn(key, path + " is relative to the directory in which tavok is started");
  }
}

void CSettingWarnings::WarnOfFolder(const char* key, const std::string& path,
                                    const std::string& consequence) {
  const std::string folder = FolderOf(path);
  const std::string obstacle = m_starter.Obstacle(folder, W_OK | X_OK);
  if (!obstacle.empty()) Warn(key, path + " " + consequence + ": " + folder + ": " + obstacle);
}

void CSettingWarnings::WarnOfRotatedName(const char* key, const std::string& path) {
  std::error_code unknown;
  const bool isThere =
      std::filesystem::equivalent(FolderOf(path), m_settings.m_strDirName, unknown);
  if (isThere && path.find(kRotatedMark, path.rfind('/') + 1) != std::string::npos) {
    Warn(key, path + " counts as a rotated file and will be deleted");
  }
}

mode_t KindOf(const std::string& path) {
  const auto state = TryToLook(path);
  return state ? state->mode & S_IFMT : 0;
}
