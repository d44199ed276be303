#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "Log.h"
#include "LogServerEngine.h"

namespace {

namespace fs = std::filesystem;

// A directory with a number of rotated files in it, removed at the end.
class RotatedFiles {
 public:
  explicit RotatedFiles(int64_t count) {
    char made[] = "/tmp/tavok-bench-XXXXXX";
    path = std::string(::mkdtemp(made)) + "/";
    for (int64_t i = 0; i < count; ++i) {
      char name[64];
      (void)std::snprintf(name, sizeof name, "tavok_20240131_%06d.log", static_cast<int>(i));
      ::close(::open((path + name).c_str(), O_WRONLY | O_CREAT, 0600));
    }
  }
  RotatedFiles(const RotatedFiles&) = delete;
  RotatedFiles& operator=(const RotatedFiles&) = delete;
  ~RotatedFiles() { fs::remove_all(path); }

  std::string path;
};

void RecyclingScan(benchmark::State& state) {
  const RotatedFiles files(state.range(0));
  const CLogServerEngine engine(files.path, 0, 0, 0, true);
  std::string oldestName;
  for (auto _ : state) {
    std::uint32_t totalSize = 0;
    std::uint32_t oldestTime = UINT32_MAX;
    engine.GetLastModified(oldestName, totalSize, oldestTime);
    benchmark::DoNotOptimize(totalSize);
  }
}
BENCHMARK(RecyclingScan)->Arg(10)->Arg(1000)->Arg(100'000);

void RecyclingScan_ReaddirStat(benchmark::State& state) {
  const RotatedFiles files(state.range(0));
  char path[PATH_MAX];
  char* const name = path + files.path.copy(path, sizeof path);
  for (auto _ : state) {
    DIR* const directory = ::opendir(files.path.c_str());
    off_t total = 0;
    while (const dirent* const entry = ::readdir(directory)) {
      struct stat status;
      std::memcpy(name, entry->d_name, std::strlen(entry->d_name) + 1);
      if (::stat(path, &status) == 0) total += status.st_size;
    }
    ::closedir(directory);
    benchmark::DoNotOptimize(total);
  }
}
BENCHMARK(RecyclingScan_ReaddirStat)->Arg(10)->Arg(1000)->Arg(100'000);

// Standard error on /dev/null, for a scope.
class MuteStandardError {
 public:
  MuteStandardError() : m_saved(::dup(STDERR_FILENO)) {
    const int null = ::open("/dev/null", O_WRONLY);
    ::dup2(null, STDERR_FILENO);
    ::close(null);
  }
  MuteStandardError(const MuteStandardError&) = delete;
  MuteStandardError& operator=(const MuteStandardError&) = delete;
  ~MuteStandardError() {
    ::dup2(m_saved, STDERR_FILENO);
    ::close(m_saved);
  }

 private:
  const int m_saved;
};

template <class Report>
void MeasureReport(benchmark::State& state, Report report) {
  if (::access("/dev/log", F_OK) == 0) {
    state.SkipWithError("there is a system log here, which this would flood");
    return;
  }
  const MuteStandardError mute;
  for (auto _ : state) report();
}

void LogMessage(benchmark::State& state) {
  MeasureReport(state, [] { Log(kLogError, "failed to remove pid file %s", "/run/tavok.pid"); });
}
BENCHMARK(LogMessage);

void LogMessage_FprintfSyslog(benchmark::State& state) {
  MeasureReport(state, [] {
    (void)std::fprintf(stderr, "failed to remove pid file %s\n", "/run/tavok.pid");
    ::syslog(LOG_ERR, "failed to remove pid file %s", "/run/tavok.pid");
  });
}
BENCHMARK(LogMessage_FprintfSyslog);

}  // namespace
