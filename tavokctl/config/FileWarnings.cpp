#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <filesystem>

#include "LogFileNames.h"
#include "base/Failure.h"
#include "base/Figures.h"
#include "base/Files.h"
#include "config/SettingWarnings.h"
#include "process/Instance.h"
#include "process/Search.h"

namespace {

// The first directory on the way to a file that others may not search; empty if there is none.
std::string ClosedFolder(const std::string& path) {
  std::error_code unknown;
  const std::string whole = std::filesystem::absolute(path, unknown);
  for (std::string folder = FolderOf(whole); folder.size() > 1; folder = FolderOf(folder)) {
    const auto state = TryToLook(folder);
    if (state && (state->mode & S_IXOTH) == 0) return folder;
  }
  return {};
}

class CFileWarnings : public CSettingWarnings {
 public:
  using CSettingWarnings::CSettingWarnings;

  void LookAtAll() {
    LookAtDirectory();
    LookAtPidFile();
    LookAtLimits();
  }

 private:
  void LookAtDirectory() {
    const std::string& path = m_settings.m_strDirName;
    if (path.empty()) return Warn("DirName", "is empty: tavok will not start");
    WarnOfRelative("DirName", path);
    if (KindOf(path) == 0) {
      if (!m_starter.IsMade(path)) WarnOfFolder("DirName", path, "cannot be created");
    } else if (KindOf(path) != S_IFDIR) {
      Warn("DirName", path + " is not a directory: tavok will not start");
    } else if (WarnOfObstacle("DirName", path, W_OK | X_OK)) {
      LookAtCurrent(PathIn(path, kCurrentName));
    }
  }

  void LookAtCurrent(const std::string& path) {
    if (KindOf(path) == 0) return;
    if (KindOf(path) != S_IFREG) return Warn("DirName", path + " is not a regular file");
    (void)WarnOfObstacle("DirName", path, W_OK);
    LookForOthers();
  }

  void LookForOthers() {
    try {
      std::string why;
      const auto running = CInstance::FindVisible(m_settings, why);
      if (const auto other = FindOtherWriter(m_settings, running ? running->Pid() : 0)) {
        Warn("DirName", m_settings.m_strDirName + " is in use by process " +
                            std::to_string(*other) + ", another tavok");
      }
    } catch (const CFailure& e) {
      Warn("PidFileName", e.what());
    }
  }

  void LookAtPidFile() {
    const std::string& path = m_settings.m_strPidFileName;
    if (path.empty()) return Warn("PidFileName", "is empty: no other tavok can take over");
    WarnOfRelative("PidFileName", path);
    LookAtKindOfPidFile(path);
    if (path == m_settings.m_strPort) Warn("PidFileName", path + " is also the path of the socket");
    WarnOfRotatedName("PidFileName", path);
    LookForItAsOthers(path);
  }

  void LookAtKindOfPidFile(const std::string& path) {
    const mode_t kind = KindOf(path);
    if (kind == S_IFDIR) {
      Warn("PidFileName", path + " is a directory");
    } else if (kind == 0) {
      WarnOfFolder("PidFileName", path, "cannot be written");
    } else if (kind != S_IFREG) {
      Warn("PidFileName", path + " is a device or a pipe: tavok removes it when it stops");
    } else if (WarnOfObstacle("PidFileName", path, R_OK | W_OK) && HoldsNoPid(path)) {
      Warn("PidFileName", path +
                              " does not hold a process id: tavok signals whatever it reads there, "
                              "then replaces and removes the file");
    }
  }

  static bool HoldsNoPid(const std::string& path) {
    try {
      return ReadPidFile(path).kind == CPidFile::kNoPid;
    } catch (const CFailure&) {
      return true;  // it is too large
    }
  }

  // Whoever may read the configuration goes by it.
  void LookForItAsOthers(const std::string& path) {
    const auto config = TryToLook(m_settings.m_strConfFile);
    const bool isPublic =
        config && (config->mode & S_IROTH) != 0 && ClosedFolder(m_settings.m_strConfFile).empty();
    const std::string closed = ClosedFolder(path);
    if (m_starter.IsAlone(path)) {
      Warn("PidFileName", path + " is in a /tmp of its unit's own: no other process finds it");
    } else if (isPublic && !closed.empty()) {
      Warn("PidFileName", path + " cannot be found by other users, who may read this file: " +
                              closed + " is closed to them");
    }
  }

  void LookAtLimits() {
    if (m_settings.m_bExternalRotation) {
      for (const char* const key : {"MaxFileSize", "MaxSize", "MaxPeriod"}) {
        if (LineOf(key) != 0)
          Warn(key, "has no effect: with ExternalRotation nothing is rotated by size or deleted");
      }
      return;
    }
    if (m_settings.m_nMaxSize <= m_settings.m_nMaxFileSize) {
      Warn("MaxSize", "is not above MaxFileSize: a rotated file is deleted at once");
    }
    LookAtFileSystem(KindOf(m_settings.m_strDirName) == S_IFDIR
                         ? m_settings.m_strDirName
                         : FolderOf(m_settings.m_strDirName));
  }

  void LookAtFileSystem(const std::string& directory) {
    struct statvfs disk;
    if (::statvfs(directory.c_str(), &disk) == -1) return;
    const std::uint64_t size = disk.f_blocks * disk.f_frsize;
    if (size == 0 || m_settings.m_nMaxSize <= size) return;
    Warn("MaxSize", "is above the size of the file system, " + Size(size) +
                        ": that is full before anything is deleted");
  }

  // Returns false if there is one.
  bool WarnOfObstacle(const char* key, const std::string& path, int mode) {
    const std::string obstacle = m_starter.Obstacle(path, mode);
    if (!obstacle.empty()) Warn(key, path + " cannot be written: " + obstacle);
    return obstacle.empty();
  }
};

}  // namespace

void WarnOfFiles(const std::vector<CConfigLine>& lines, const CSettings& settings,
                 const CStarter& starter, std::vector<CWarning>& warnings) {
  CFileWarnings(lines, settings, starter, warnings).LookAtAll();
}
