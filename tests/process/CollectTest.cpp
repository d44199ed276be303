#include "Daemon.h"
#include "QELString.h"

static int FreePort() {
  for (int port = 20000 + ::getpid() % 40000;; ++port) {
    const std::string entry = qel::QELSPrintf(":%04X ", static_cast<unsigned>(port));
    if (ReadFile("/proc/net/udp").find(entry) == entry.npos) return port;
  }
}

TEST(Collect, SendersArriveOnceAndInOrderAcrossRotations) {
  for (const bool udp : {false, true}) {
    const TempDir dir;
    const int port = FreePort();
    const Daemon daemon(dir, udp ? "Port=" + std::to_string(port) + "abc\n" : "");
    ASSERT_TRUE(daemon.IsUp());
    std::vector<int> counts(3);
    std::atomic<std::size_t> sent = 0;
    const auto arrived = [&] { return Logged(dir).size() == sent * 100; };
    std::mutex turn;
    std::vector<std::jthread> senders;
    for (std::size_t sender = 0; sender < counts.size(); ++sender) {
      senders.emplace_back([&, sender](std::stop_token stop) {
        const Sender socket = udp ? Sender(port) : Sender(dir / "socket");
        while (!stop.stop_requested()) {
          // UDP drops what does not fit the socket's buffer: a few, in turns, until they are there.
          const auto lock = udp ? std::unique_lock(turn) : std::unique_lock<std::mutex>();
          for (int i = 0; i < 20; ++i) socket.Send(Numbered(sender, counts[sender]++));
          sent += 20;
          EXPECT_TRUE(!udp || Eventually(arrived));
        }
      });
    }
    for (int i = 0; i < 4; ++i) AwaitNextSecond(), daemon.Signal(SIGHUP);
    for (auto& sender : senders) sender.request_stop();  // all, before the turns of any are awaited
    senders.clear();
    EXPECT_TRUE(Eventually(arrived));
    EXPECT_EQ(5u, LogFiles(dir).size());
    EXPECT_EQ("", NumberedFault(Logged(dir), counts));
  }
}

TEST(Collect, DatagramsOfAnyShapeAndAFailedRotation) {
  const TempDir dir;
  const Daemon daemon(dir);
  ASSERT_TRUE(daemon.IsUp());
  const Sender sender(dir / "socket");
  const std::string kilobyte(1024, 'k');
  for (const auto& text :
       {kilobyte, kilobyte + "cut", std::string("a\0b", 3), std::string("end")}) {
    sender.Send(text);
  }
  EXPECT_TRUE(Eventually([&] { return Logged(dir) == kilobyte + kilobyte + "aend"; }));
  sender.Send(std::string(1, '\0'));
  EXPECT_TRUE(
      daemon.Says("CLogServerEngine::Write failed Error:0\n"
                  "CLogServerUdp::MainWorkerThread() fwrite failed\n"));
  std::filesystem::remove(dir / "log/tmp.tavok");
  daemon.Signal(SIGHUP);
  EXPECT_TRUE(daemon.Says("CLogServerEngine file system error:2\n"));
  sender.Send("lost: nothing is written until a rotation succeeds");
  EXPECT_TRUE(daemon.Says("error:2\nCLogServerUdp::MainWorkerThread() fwrite failed\n"));
  WriteFile(dir / "log/tmp.tavok", "put back ");
  daemon.Signal(SIGHUP);
  EXPECT_TRUE(Eventually([&] { return LogFiles(dir).size() == 2; }));
  for (const char* text : {"and on", "", "unread"}) sender.Send(text);
  EXPECT_TRUE(daemon.Says("CLogServerUdp::MainWorkerThread() - Error 104 - Error (104)\n"));
  EXPECT_EQ("put back and on", Logged(dir));
}

TEST(Collect, TheWorkerRotatesBySizeAndDeletesTheOldestAndTheExpired) {
  const TempDir dir;
  std::filesystem::create_directory(dir / "log");
  const std::string megabyte(1 << 20, 'm'), deleting = ", deleting file " + (dir / "log/tavok_");
  for (const char* name : {"log/tavok_3", "log/tavok_2", "log/tavok_1"}) {
    WriteFile(dir / name, megabyte);
    AwaitNextSecond();
  }
  WriteFile(dir / "log/tmp.tavok", megabyte);
  {
    const Daemon daemon(dir, "MaxFileSize=1\nMaxSize=3\n");
    const std::string full = "Tavok LogServer: Directory max size reached" + deleting;
    // What an earlier run has left is rotated at once; a total at the limit is too much.
    EXPECT_TRUE(daemon.Says(full + "3\n") && daemon.Says(full + "2\n"));
    EXPECT_TRUE(Eventually([&] { return LogFiles(dir).size() == 3; }));
    const Sender sender(dir / "socket");
    for (int i = 0; i < 1024; ++i) sender.Send(std::string(1024, 'n'));
    EXPECT_TRUE(daemon.Says(full + "1\n"));  // at the next check, 15 s later
    EXPECT_TRUE(Eventually([&] { return Logged(dir) == megabyte + std::string(1 << 20, 'n'); }));
  }
  AwaitNextSecond();
  const Daemon daemon(dir, "MaxPeriod=0\n");
  EXPECT_TRUE(daemon.Says("Tavok LogSever: File expired" + deleting));
  EXPECT_TRUE(daemon.Says("CLogServerEngine file system error:2\n"));  // no file is left to delete
  EXPECT_EQ((std::set<std::string>{"tmp.tavok"}), LogFiles(dir));
}
