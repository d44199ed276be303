#include <random>

#include "Trial.h"

TEST(Flood, Of64Senders) {
  const TempDir dir;
  const Daemon daemon(dir);
  ASSERT_TRUE(daemon.IsUp());
  Flood flood(dir, 64);
  Nap(Scale(500, 20000));
  const auto& counts = flood.Stop();
  const auto fault = [&] { return NumberedFault(Logged(dir), counts); };
  EXPECT_TRUE(Eventually([&] { return fault().empty(); })) << fault();
  Figure("%d messages of 64 senders: each once and in order",
         std::accumulate(counts.begin(), counts.end(), 0));
}

// What is kept of a datagram.
static std::string TextOf(const std::string& datagram) {
  return datagram.substr(0, std::min(datagram.find('\0'), std::size_t{1024}));
}

// Datagrams of random bytes, of each size that UDP can carry. Over UDP each is awaited: the socket
// drops what it has no room for.
TEST(Flood, OfEverySizeAndAnyBytes) {
  const TempDir dir;
  const int step = Scale(501, 1);
  for (const bool udp : {false, true}) {
    const unsigned port = FreePort();
    const Daemon daemon(dir, udp ? "DirName=udp\nPort=" + std::to_string(port) + "\n" : "");
    ASSERT_TRUE(daemon.IsUp());
    const auto send = [&](const std::string& datagram) {
      Sender(udp ? std::to_string(port) : dir / "socket").Send(datagram);
    };
    const std::string log = dir / (udp ? "udp/tmp.tavok" : "log/tmp.tavok");
    std::mt19937 random(1);
    std::string expected;
    const auto arrived = [&] { return std::filesystem::file_size(log) == expected.size(); };
    for (int size = 1; size <= 65507; size += step) {
      std::string datagram(static_cast<std::size_t>(size), '\0');
      for (char& byte : datagram) byte = static_cast<char>(random());
      send(datagram);
      expected += TextOf(datagram);
      EXPECT_TRUE(!udp || Eventually(arrived)) << size;
    }
    send("end");
    expected += "end";
    EXPECT_TRUE(Eventually(arrived));
    EXPECT_TRUE(ReadFile(log) == expected);
  }
  Figure("%d sizes, over the Unix socket and UDP", (65507 - 1) / step + 1);
}
