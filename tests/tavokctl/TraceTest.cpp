#include "Ctl.h"

constexpr const char* kTracePath = "/tmp/ZABKTraceCon";

TEST(Trace, TracedIsTheOnlyCollectorPrintsAllAndLeavesNothing) {
  const TempDir dir;
  WriteFile(kTracePath, "");  // is no socket, and so stays
  Expect(dir, "trace", 1, std::string("collect at ") + kTracePath + ": Address already in use");
  {
    const Collector killed(kTracePath);
    std::filesystem::rename(kTracePath, dir / "socket");
  }
  std::filesystem::rename(dir / "socket", kTracePath);
  Ctl trace(dir, "trace", "trace");
  EXPECT_TRUE(trace.Says(std::string("collecting at ") + kTracePath + ", until interrupted"));
  for (const int signal : {SIGTERM, SIGHUP}) {
    Ctl diag(dir, "trace --diag", "diag");
    EXPECT_TRUE(diag.Says("collecting at /tmp/ZABKDiagCon"));
    EXPECT_EQ(0, diag.End(signal));
  }
  Ctl second(dir, "trace", "second");
  EXPECT_TRUE(second.Says("another collector is alive"));
  EXPECT_EQ(1, second.End(SIGTERM));
  const Sender sender(kTracePath);
  const std::string ids = "\1\x15\xCD\x5B\7\xFF\xFF\xFF\xFF";
  const std::string printed = "Z pid 123456789 thread 4294967295 ";
  const std::pair<std::string, std::string> cases[] = {
      {ids + "a\033[2Jb\n" + '\0', printed + "a?[2Jb\n2"},  // and the year of the next message
      {ids + "\x7F\xE2\x82\x80", printed + "?\xE2\x82\x80\n"},
      {"short", "Z unknown message format, 5 bytes\n"}};
  for (const auto& [message, text] : cases) sender.Send(message);
  for (const auto& [message, text] : cases) ASSERT_TRUE(trace.Says(text)) << trace.Out();
  std::tm time{};
  EXPECT_NE(nullptr, ::strptime(trace.Out().c_str(), "%Y-%m-%dT%H:%M:%S.", &time));
  EXPECT_NEAR(double(std::time(nullptr)), double(::timegm(&time)), 3600);
  Daemon daemon(dir);
  const std::string line = "Z pid " + daemon.Pid() + " thread ";
  EXPECT_TRUE(daemon.IsUp());
  EXPECT_EQ(0, daemon.Stop());
  EXPECT_TRUE(trace.Says(line));
  EXPECT_EQ(0, trace.End(SIGINT));
  for (const std::string left :
       {"/tmp/ZABKTraceCon", "/tmp/ZABKTraceCon_Active", "/tmp/ZABKDiagCon"}) {
    EXPECT_FALSE(std::filesystem::exists(left)) << left;
  }
}
