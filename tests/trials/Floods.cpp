#include <random>

#include "Trial.h"

namespace {

// What is kept of a datagram.
std::string TextOf(const std::string& datagram) {
  return datagram.substr(0, std::min(datagram.find('\0'), std::size_t{1024}));
}

std::string RandomBytes(std::mt19937& random, int size) {
  std::string bytes(static_cast<std::size_t>(size), '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

// Sends random bytes of each size that UDP can carry. Over UDP each datagram is awaited: the socket
// drops what it has no room for.
void CollectsEverySize(const std::string& port, bool isAwaited) {
  const TempDir dir;
  const Daemon daemon(dir, port.empty() ? "" : "Port=" + port + "\n");
  ASSERT_TRUE(daemon.IsUp());
  const Sender sender(port.empty() ? dir / "socket" : port);
  const std::string log = dir / "log/tmp.tavok";
  std::mt19937 random(1);
  std::string expected;
  const auto arrived = [&] { return std::filesystem::file_size(log) == expected.size(); };
  for (int size = 1; size <= 65507; size += Scale(501, 1)) {
    const std::string datagram = RandomBytes(random, size);
    sender.Send(datagram);
    expected += TextOf(datagram);
    EXPECT_TRUE(!isAwaited || Eventually(arrived)) << size;
  }
  sender.Send("end");
  expected += "end";
  EXPECT_TRUE(Eventually(arrived));
  EXPECT_TRUE(ReadFile(log) == expected);
}

}  // namespace

TEST(Flood, Of64Senders) {
  const TempDir dir;
  const Daemon daemon(dir);
  ASSERT_TRUE(daemon.IsUp());
  Flood flood(dir / "socket", {.senders = 64, .each = Scale(1000, 30000), .lead = LONG_MAX});
  EXPECT_TRUE(flood.IsDone());
  const std::vector<int>& counts = flood.Stop();
  ExpectLogged(dir, counts);
  Figure("%ld messages of 64 senders: each once and in order", Sum(counts));
}

TEST(Flood, OfEverySizeAndAnyBytes) { CollectsEverySize("", false); }

TEST(Flood, OfEverySizeAndAnyBytesOverUdp) { CollectsEverySize(std::to_string(FreePort()), true); }
