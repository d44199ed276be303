#include <array>
#include <random>

#include "Manager.h"
#include "OwnNetwork.h"
#include "Trial.h"

// Over UDP each datagram is awaited: the socket drops what it has no room for.
TEST(Flood, OfEverySizeAndAnyBytes) {
  InParallel(std::array{false, true}, [](bool udp) {
    const std::string port = udp ? std::to_string(FreePort()) : "";
    const UpDaemon daemon(udp ? "Port=" + port + "\n" : "");
    const Sender sender(udp ? port : daemon / "socket");
    const std::string log = daemon / "log/tmp.tavok";
    std::mt19937 random(1);
    std::string expected;
    const auto arrived = [&] { return std::filesystem::file_size(log) == expected.size(); };
    for (std::size_t size = 1; size <= 65507; size += Scale<std::size_t>(501, 1)) {
      std::string datagram(size, '\0');
      for (char& byte : datagram) byte = static_cast<char>(random());
      sender.Send(datagram);
      expected += datagram.substr(0, std::min(datagram.find('\0'), std::size_t{1024}));
      EXPECT_TRUE(!udp || Eventually(arrived)) << size;
    }
    sender.Send("end");
    expected += "end";
    EXPECT_TRUE(Eventually(arrived));
    EXPECT_TRUE(ReadFile(log) == expected);
  });
}

// Before anybody receives, as while tavok is being restarted.
TEST(Flood, OfABurstByUdpFitsIntoAHeldSocket) {
  if (!MayMakeANetwork()) GTEST_SKIP() << "only root can make a buffer that large";
  InOwnNetwork([] {
    const TempDir dir;
    const std::string port = "23456", settings = "Port=23456\nBindingAddress=127.0.0.1\n";
    const auto burst = [&](int count) {
      const Sender sender(port);
      for (int i = 0; i < count; ++i) sender.Send(Numbered(0, i));
      return std::vector<int>{count};
    };
    {
      const Manager manager(dir, port, 8 << 20);
      const auto sent = burst(20'000);
      const Daemon daemon(dir, manager.Setup(0, settings));
      EXPECT_TRUE(daemon.IsUp());
      ExpectLogged(dir, sent);
    }
    std::filesystem::remove_all(dir / "log");
    Daemon daemon(dir, settings);
    ASSERT_TRUE(daemon.IsUp());
    daemon.Pause();
    const auto sent = burst(20'000);
    daemon.Signal(SIGCONT);
    EXPECT_EQ(0, daemon.Stop());
    NumberedReader reader(1);
    EXPECT_EQ("", reader.Read(Logged(dir)));
    EXPECT_EQ(DroppedUdp(), reader.Missing(sent)) << daemon.Output();
    Figure("of 20000 datagrams a held socket with 8 MiB loses 0, one of tavok's own %ld",
           reader.Missing(sent));
  });
}
