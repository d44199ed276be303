#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>

#include "Files.h"
#include "Log.h"
#include "LogServerEngine.h"
#include "Piece.h"

namespace {

const std::string kText = std::string(99, 'x') + "\n";

// /dev/null for a file: what is left is the way there.
class EngineWrite {
 public:
  EngineWrite() {
    std::filesystem::create_symlink("/dev/null", m_directory / "tmp.tavok");
    m_engine.Init();
  }
  auto operator()() { return m_engine.Write(kText.c_str()); }

 private:
  const TempDir m_directory;
  CLogServerEngine m_engine{m_directory.Path(), 0, 0, 0, true};
};

// A directory with that many rotated files in it.
class RotatedFiles {
 public:
  explicit RotatedFiles(int count) {
    for (int i = 0; i < count; ++i) {
      WriteFile(m_directory / ("tavok_20240131_" + std::to_string(100'000 + i) + ".log"), "");
    }
  }

 protected:
  const TempDir m_directory;
};

class RecyclingScan : RotatedFiles {
 public:
  using RotatedFiles::RotatedFiles;
  auto operator()() {
    std::uint32_t totalSize = 0;
    std::uint32_t oldestTime = UINT32_MAX;
    m_engine.GetLastModified(m_oldestName, totalSize, oldestTime);
    return totalSize;
  }

 private:
  const CLogServerEngine m_engine{m_directory / "", 0, 0, 0, true};
  std::string m_oldestName;
};

class ReaddirStat : RotatedFiles {
 public:
  using RotatedFiles::RotatedFiles;
  off_t operator()() {
    DIR* const directory = ::opendir(m_directory.Path().c_str());
    off_t total = 0;
    while (const dirent* const entry = ::readdir(directory)) {
      struct stat status;
      m_path.resize(m_directory.Path().size() + 1);
      if (::stat(m_path.append(entry->d_name).c_str(), &status) == 0) total += status.st_size;
    }
    ::closedir(directory);
    return total;
  }

 private:
  std::string m_path = m_directory / "";
};

void AddReports() {
  // A system log would be flooded. Nothing else uses standard error.
  if (::access("/dev/log", F_OK) == 0) return;
  const auto mute = [] { benchmark::DoNotOptimize(std::freopen("/dev/null", "a", stderr)); };
  Piece("LogMessage", [mute] {
    mute();
    return [] {
      Log(kLogError, "failed to remove pid file %s", "/run/tavok.pid");
      return 0;
    };
  });
  Piece("LogMessage_FprintfSyslog", [mute] {
    mute();
    return [] {
      ::syslog(LOG_ERR, "failed to remove pid file %s", "/run/tavok.pid");
      return std::fprintf(stderr, "failed to remove pid file %s\n", "/run/tavok.pid");
    };
  });
}

}  // namespace

void AddDaemonPieces() {
  Piece("EngineWrite", [] { return EngineWrite(); });
  Piece("EngineWrite_Write", [] {
    static const int file = ::open("/dev/null", O_WRONLY | O_APPEND);
    return [] { return ::write(file, kText.data(), kText.size()); };
  });
  for (const int count : {10, 1000, 100'000}) {
    Piece(
        "RecyclingScan", [count] { return RecyclingScan(count); }, count);
    Piece(
        "RecyclingScan_ReaddirStat", [count] { return ReaddirStat(count); }, count);
  }
  AddReports();
}
