#include <sys/mount.h>
#include <sys/stat.h>

#include "Trial.h"

namespace fs = std::filesystem;

TEST(Directory, OfVeryManyFilesOfEveryKind) {
  const TempDir dir;
  const auto files = static_cast<std::size_t>(Scale(3000, 100000));
  fs::create_directories(dir / "log/full_tavok_directory/x");
  fs::create_symlink("nowhere", dir / "log/dangling_tavok_link");
  for (std::size_t i = 0; i < files; ++i) WriteFile(dir / ("log/tavok_" + std::to_string(i)), "1");
  fs::permissions(dir / "log/tavok_0", fs::perms::none);
  AwaitNextSecond();
  auto begin = std::chrono::steady_clock::now();
  {
    const Daemon daemon(dir);
    ASSERT_TRUE(daemon.IsUp());
    Figure("%zu files: up in %.0f ms", files, 1000 * SecondsSince(begin));
    Sender(dir / "socket").Send("received");
    EXPECT_TRUE(Eventually([&] { return ReadFile(dir / "log/tmp.tavok") == "received"; }));
    Nap(1000);
    EXPECT_EQ(files + 3, LogFiles(dir).size());  // nothing is due
  }
  // A pass that has minutes to go does not hold up the stop.
  Daemon daemon(dir, "MaxPeriod=0\n");
  ASSERT_TRUE(daemon.IsUp() && daemon.Says("File expired"));
  begin = std::chrono::steady_clock::now();
  EXPECT_EQ(0, daemon.Stop());
  EXPECT_LT(SecondsSince(begin), 5.5);  // earlier than a worker is cancelled by force
  Figure("%zu files, all expired: stops in %.1f s, %zu deleted", files, SecondsSince(begin),
         files + 3 - LogFiles(dir).size());
}

TEST(Directory, RemovedOrReplacedByALink) {
  const TempDir dir;
  const Daemon daemon(dir);
  ASSERT_TRUE(daemon.IsUp());
  const auto logs = [&](const std::string& text) {
    Sender(dir / "socket").Send(text);
    return Eventually([&] { return Logged(dir).ends_with(text); });
  };
  EXPECT_TRUE(logs("a"));
  fs::rename(dir / "log", dir / "elsewhere");
  fs::create_directory_symlink("elsewhere", dir / "log");
  EXPECT_TRUE(logs("b"));
  daemon.Signal(SIGHUP);
  EXPECT_TRUE(Eventually([&] { return LogFiles(dir).size() == 2; }) && logs("c"));
  EXPECT_EQ("abc", Logged(dir));
  fs::remove_all(dir / "elsewhere");
  daemon.Signal(SIGHUP);
  EXPECT_TRUE(daemon.Says("CLogServerEngine file system error:2\n"));
  fs::create_directory(dir / "elsewhere");
  WriteFile(dir / "log/tmp.tavok", "");
  daemon.Signal(SIGHUP);
  EXPECT_TRUE(Eventually([&] { return LogFiles(dir).size() == 2; }) && logs("d"));
}

// A real file system with no room: what comes meanwhile is lost, what was there and what comes
// afterwards is not.
TEST(Directory, OnAFullFileSystem) {
  const TempDir dir;
  fs::create_directory(dir / "log");
  if (::mount("tmpfs", (dir / "log").c_str(), "tmpfs", 0, "size=1m") != 0) {
    GTEST_SKIP() << "may not mount";
  }
  {
    const Daemon daemon(dir);
    ASSERT_TRUE(daemon.IsUp());
    const Sender sender(dir / "socket");
    const auto send = [&](int from) {
      std::string sent;
      for (int i = from; i < from + 1000; ++i) {
        sender.Send(Numbered(0, i));
        sent += Numbered(0, i);
      }
      return sent;
    };
    const std::string before = send(0);
    EXPECT_TRUE(Eventually([&] { return Logged(dir) == before; }));
    std::ofstream(dir / "log/filler") << std::string(1 << 20, 'f') << std::flush;
    EXPECT_EQ(0u, fs::space(dir / "log").available);
    send(1000);
    Nap(200);
    daemon.Signal(SIGHUP);
    EXPECT_TRUE(Eventually([&] { return LogFiles(dir).size() == 3; }));
    fs::remove(dir / "log/filler");
    const std::string after = send(2000);
    EXPECT_TRUE(Eventually([&] { return Logged(dir).ends_with(after); }));
    EXPECT_TRUE(Logged(dir).starts_with(before));
    const std::size_t rest = Logged(dir).size() - before.size() - after.size();
    EXPECT_LE(rest, 8192u);  // what fitted into a page that was there already
    Figure("%zu bytes of 1000 lost messages fitted in", rest);
  }
  ::umount((dir / "log").c_str());
}
