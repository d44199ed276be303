#include <sys/mount.h>

#include "Trial.h"

namespace fs = std::filesystem;

namespace {

std::size_t VeryMany() { return Scale<std::size_t>(3000, 100000); }

// Very many files, one of them unreadable, and a directory and a dangling link of matching names.
void FillLog(const TempDir& dir) {
  fs::create_directories(dir / "log/full_tavok_directory/x");
  fs::create_symlink("nowhere", dir / "log/dangling_tavok_link");
  for (std::size_t i = 0; i < VeryMany(); ++i) {
    WriteFile(dir / ("log/tavok_" + std::to_string(i)), "1");
  }
  fs::permissions(dir / "log/tavok_0", fs::perms::none);
}

bool HasFiles(const TempDir& dir, std::size_t count) {
  return Eventually([&] { return LogFiles(dir).size() == count; });
}

// Sends a thousand numbered messages, and returns their text.
std::string SendThousand(const Sender& sender, int from) {
  std::string sent;
  for (int i = from; i < from + 1000; ++i) {
    sender.Send(Numbered(0, i));
    sent += Numbered(0, i);
  }
  return sent;
}

}  // namespace

TEST(Directory, OfVeryManyFilesKeepsWhatIsNotDueAndDeletingDoesNotHoldUpTheStop) {
  const TempDir dir;
  FillLog(dir);
  auto begin = std::chrono::steady_clock::now();
  Daemon daemon(dir);
  ASSERT_TRUE(daemon.IsUp());
  Figure("%zu files: up in %.0f ms", VeryMany(), 1000 * SecondsSince(begin));
  Sender(dir / "socket").Send("received");
  EXPECT_TRUE(Eventually([&] { return ReadFile(dir / "log/tmp.tavok") == "received"; }));
  Nap(1000);  // for a deletion that must not come
  EXPECT_EQ(VeryMany() + 3, LogFiles(dir).size());
  EXPECT_EQ(0, daemon.Stop());

  Daemon expiring(dir, "MaxPeriod=0\n");
  ASSERT_TRUE(expiring.Says("File expired"));
  begin = std::chrono::steady_clock::now();
  EXPECT_EQ(0, expiring.Stop());
  EXPECT_LT(SecondsSince(begin), 5.5 * Patience());  // earlier than a worker is cancelled by force
  Figure("%zu files, all expired: stops in %.1f s, %zu deleted", VeryMany(), SecondsSince(begin),
         VeryMany() + 3 - LogFiles(dir).size());
}

TEST(Directory, ReplacedByALinkIsFollowed) {
  const UpDaemon daemon;
  const TempDir& dir = daemon;
  EXPECT_TRUE(Collects(dir, "a"));
  fs::rename(dir / "log", dir / "elsewhere");
  fs::create_directory_symlink("elsewhere", dir / "log");
  EXPECT_TRUE(Collects(dir, "b"));
  daemon.Signal(SIGHUP);
  EXPECT_TRUE(HasFiles(dir, 2));
  EXPECT_TRUE(Collects(dir, "c"));
  EXPECT_EQ("abc", Logged(dir));
}

TEST(Directory, RemovedIsReportedUntilThereIsOneAgain) {
  const UpDaemon daemon;
  const TempDir& dir = daemon;
  fs::remove_all(dir / "log");
  daemon.Signal(SIGHUP);
  EXPECT_TRUE(daemon.Says("CLogServerEngine file system error:2\n"));
  fs::create_directory(dir / "log");
  WriteFile(dir / "log/tmp.tavok", "");
  daemon.Signal(SIGHUP);
  EXPECT_TRUE(HasFiles(dir, 2));
  EXPECT_TRUE(Collects(dir, "d"));
}

// What comes while a real file system has no room is lost, and counted; what was there and what
// comes afterwards is not.
TEST(Directory, OnAFullFileSystem) {
  const TempDir dir;
  const std::string log = dir / "log";
  fs::create_directory(log);
  if (::mount("tmpfs", log.c_str(), "tmpfs", 0, "size=1m") != 0) GTEST_SKIP() << "may not mount";
  const std::unique_ptr<const char, int (*)(const char*)> mounted(log.c_str(), ::umount);
  Daemon daemon(dir);
  ASSERT_TRUE(daemon.IsUp());
  const Sender sender(dir / "socket");
  const std::string flush = "CLogServerEngine::Write flush ";
  const auto logs = [&](int messages) {
    return Eventually([&] { return Logged(dir).ends_with(Numbered(0, messages - 1)); });
  };
  const auto missing = [&](int messages) {
    NumberedReader reader(1);
    (void)reader.Read(Logged(dir));  // which finds the piece of one that did not fit
    return reader.Missing({messages});
  };
  const std::string before = SendThousand(sender, 0);
  EXPECT_TRUE(logs(1000));
  std::ofstream(log + "/filler") << std::string(1 << 20, 'f') << std::flush;
  EXPECT_EQ(0u, fs::space(log).available);
  SendThousand(sender, 1000);
  EXPECT_TRUE(daemon.Says(flush + "failed Error:28\n"));
  daemon.Signal(SIGHUP);
  EXPECT_TRUE(HasFiles(dir, 3));
  fs::remove(log + "/filler");
  SendThousand(sender, 2000);
  EXPECT_TRUE(logs(3000));
  EXPECT_TRUE(Logged(dir).starts_with(before));
  const long lost = missing(3000);
  EXPECT_TRUE(daemon.Says(flush + "works again, " + std::to_string(lost) + " datagrams lost\n"))
      << daemon.Output();
  Figure("%ld of 1000 messages lost and counted", lost);

  // An outage that the stop ends.
  std::ofstream(log + "/filler") << std::string(1 << 20, 'f') << std::flush;
  SendThousand(sender, 3000);
  EXPECT_EQ(0, daemon.Stop());
  fs::remove(log + "/filler");
  EXPECT_TRUE(daemon.Says("CLogServerEngine::Stop flush still fails, " +
                          std::to_string(missing(4000) - lost) + " datagrams lost\n"))
      << daemon.Output();
}
