#include "Ctl.h"

namespace {

constexpr const char* kTracePath = "/tmp/ZABKTraceCon";
constexpr const char* kDiagPath = "/tmp/ZABKDiagCon";

// Leaves the socket of a collector that was killed.
void LeaveDeadCollector() {
  const std::string path = kTracePath;
  {
    const Collector killed(kTracePath);
    std::filesystem::rename(path, path + "_");
  }
  std::filesystem::rename(path + "_", path);
}

}  // namespace

TEST(Trace, TracedLeavesAFileThatIsNoSocket) {
  const TempDir dir;
  WriteFile(kTracePath, "");
  Expect(dir, "trace", 1, std::string("collect at ") + kTracePath + ": Address already in use");
  EXPECT_TRUE(std::filesystem::remove(kTracePath));
}

TEST(Trace, TracedIsTheOnlyCollectorAndLeavesNothing) {
  const TempDir dir;
  LeaveDeadCollector();
  Ctl trace(dir, "trace");
  Ctl diag(dir, "trace --diag", "diag");
  EXPECT_TRUE(trace.Says(std::string("collecting at ") + kTracePath + ", until interrupted"));
  EXPECT_TRUE(diag.Says(std::string("collecting at ") + kDiagPath));
  Ctl second(dir, "trace", "second");
  EXPECT_TRUE(second.Says("another collector is alive"));
  EXPECT_EQ(1, second.End(SIGTERM));
  EXPECT_EQ(0, trace.End(SIGINT));
  EXPECT_EQ(0, diag.End(SIGTERM));
  for (const std::string left : {"/tmp/ZABKTraceCon", "/tmp/ZABKTraceCon_Active", kDiagPath}) {
    EXPECT_FALSE(std::filesystem::exists(left)) << left;
  }
}

TEST(Trace, TracedPrintsWhatTheLibrarySays) {
  const TempDir dir;
  Ctl trace(dir, "trace", "trace");
  EXPECT_TRUE(trace.Says("collecting at "));
  const Sender sender(kTracePath);
  sender.Send(
      std::string("\1\x15\xCD\x5B\7\xFF\xFF\xFF\xFF"
                  "a\033[2Jb\n\0",
                  17));
  EXPECT_TRUE(trace.Says("Z pid 123456789 thread 4294967295 a?[2Jb\n"));
  sender.Send("short");
  EXPECT_TRUE(trace.Says(" unknown message format, 5 bytes\n"));
  Daemon daemon(dir);
  const std::string line = "Z pid " + daemon.Pid() + " thread ";
  EXPECT_TRUE(daemon.IsUp());
  EXPECT_EQ(0, daemon.Stop());
  EXPECT_TRUE(trace.Says(line));
  EXPECT_EQ(0, trace.End(SIGHUP));
}
