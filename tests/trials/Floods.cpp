#include <array>
#include <random>

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
