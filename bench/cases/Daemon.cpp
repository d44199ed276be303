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
struct EngineWrite {
  EngineWrite() {
    std::filesystem::create_symlink("/dev/null", directory / "tmp.tavok");
    engine.Init();
  }
  auto operator()() { return engine.Write(kText.c_str()); }

  const TempDir directory;
  CLogServerEngine engine{directory.Path(), 0, 0, 0, true};
};

// A directory with that many rotated files in it.
struct RotatedFiles {
  explicit RotatedFiles(int count) {
    for (int i = 0; i < count; ++i) {
      WriteFile(directory / ("tavok_20240131_" + std::to_string(100'000 + i) + ".log"), "");
    }
  }

  const TempDir directory;
};

struct RecyclingScan : RotatedFiles {
  using RotatedFiles::RotatedFiles;
  auto operator()() {
    std::uint32_t totalSize = 0;
    std::uint32_t oldestTime = UINT32_MAX;
    engine.GetLastModified(oldestName, totalSize, oldestTime);
    return totalSize;
  }

  const CLogServerEngine engine{directory / "", 0, 0, 0, true};
  std::string oldestName;
};

struct ReaddirStat : RotatedFiles {
  using RotatedFiles::RotatedFiles;
  off_t operator()() {
    DIR* const opened = ::opendir(directory.Path().c_str());
    off_t total = 0;
    while (const dirent* const entry = ::readdir(opened)) {
      struct stat status;
      path.resize(directory.Path().size() + 1);
      if (::stat(path.append(entry->d_name).c_str(), &status) == 0) total += status.st_size;
    }
    ::closedir(opened);
    return total;
  }

  std::string path = directory / "";
};

// Standard error is muted for good: nothing else uses it. A system log would be flooded.
template <class Report>
void AddReport(const char* name, Report report) {
  if (::access("/dev/log", F_OK) == 0) return;
  Piece(name, [report] {
    benchmark::DoNotOptimize(std::freopen("/dev/null", "a", stderr));
    return report;
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
  static constexpr char kReport[] = "failed to remove pid file %s";
  static constexpr char kFile[] = "/run/tavok.pid";
  AddReport("LogMessage", [] {
    Log(kLogError, kReport, kFile);
    return 0;
  });
  AddReport("LogMessage_FprintfSyslog", [] {
    ::syslog(LOG_ERR, kReport, kFile);
    return std::fprintf(stderr, "failed to remove pid file %s\n", kFile);
  });
}
