#include <gtest/gtest.h>

#include "Files.h"
#include "LogServerEngine.h"
#include "Waiting.h"

// While true, operator new throws.
static bool g_memoryIsShort = false;

// Not inlined, or the compiler takes malloc and operator delete for a mismatched pair.
[[gnu::noinline]] void* operator new(std::size_t size) {
  if (g_memoryIsShort) throw std::bad_alloc();
  return std::malloc(size);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

TEST(Engine, RotatesToUtcNamesAndKeepsTheLaterOfASecond) {
  ::setenv("TZ", "ABC-14", 1);
  const TempDir dir;
  CLogServerEngine engine(dir / "log", 1, 1, 1, true);
  ASSERT_TRUE(engine.Init());
  EXPECT_TRUE(engine.Write("first"));
  AwaitNextSecond();
  engine.Rotate();
  EXPECT_TRUE(engine.Write("second"));
  engine.Rotate();
  const std::time_t now = std::time(nullptr);
  std::tm utc;
  char name[64];
  std::strftime(name, sizeof name, "tavok_%Y%m%d_%H%M%S.log", ::gmtime_r(&now, &utc));
  EXPECT_EQ((std::set<std::string>{name, "tmp.tavok"}), LogFiles(dir));
  EXPECT_EQ("second", Logged(dir));
}

TEST(Engine, StopEndsTheWorker) {
  const TempDir dir;
  CLogServerEngine engine(dir / "log", 1 << 20, 3600, 1 << 20, false);
  ASSERT_TRUE(engine.Init());
  engine.Start();
  const long running = CountEntries("/proc/self/task");
  engine.Stop();
  EXPECT_TRUE(Eventually([&] { return CountEntries("/proc/self/task") == running - 1; }));
}

TEST(Engine, ClosesTheDirectoryWhenMemoryRunsOut) {
  const TempDir dir;
  CLogServerEngine engine(dir / "log", 1, 1, 1, true);
  ASSERT_TRUE(engine.Init());
  WriteFile(dir / "log/tavok_1", "");
  std::uint32_t total = 0, oldest = 4'000'000'000;
  std::string name;
  const long before = CountEntries("/proc/self/fd");
  g_memoryIsShort = true;
  EXPECT_THROW(engine.GetLastModified(name, total, oldest), std::bad_alloc);
  g_memoryIsShort = false;
  EXPECT_EQ(before, CountEntries("/proc/self/fd"));
}

TEST(Engine, ReportsALackOfMemoryAsAFileSystemError) {
  g_syslog.m_bNoSyslog = true;
  testing::internal::CaptureStderr();
  LogFileFailure([] { throw std::bad_alloc(); });
  EXPECT_EQ("CLogServerEngine file system error:12\n", testing::internal::GetCapturedStderr());
}
