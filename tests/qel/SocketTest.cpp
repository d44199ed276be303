#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <numeric>
#include <thread>

#include "Files.h"
#include "QELSocket.h"
#include "Waiting.h"

using namespace qel;

// Two connected sockets, the near one with its buffer open to view.
struct Pair {
  explicit Pair(int type) {
    int fds[2];
    EXPECT_EQ(0, ::socketpair(AF_UNIX, type, 0, fds));
    near.Attach(static_cast<unsigned>(fds[0]));
    far.Attach(static_cast<unsigned>(fds[1]));
  }
  struct Exposed : QELSocket {
    using QELSocket::m_Buffer;
    using QELSocket::m_nBufferedBytes;
    using QELSocket::m_nBufferOffset;
  } near;
  QELSocket far;
};

template <class Call>
static long ThrownCode(Call call) {
  try {
    call();
  } catch (const QELSocketExcep& e) {
    return e.m_nCode;
  }
  return 0;
}

static unsigned Received(QELSocket& socket, char* buffer, unsigned size) {
  unsigned length = 0;
  return socket._ReceiveFromEx(buffer, size, nullptr, &length, 0, 1);
}

TEST(Socket, EveryFailureThrowsItsCode) {
  const TempDir dir;
  QELSocket taken, s;
  taken.CreateUnix((dir / "taken").c_str(), SOCK_DGRAM);
  const std::pair<int, std::function<void()>> cases[] = {
      {EBADF, [&] { s.Listen(1); }},
      {EBADF, [&] { s.Select(1, 0); }},
      {EBADF, [&] { s.Poll(1, 0); }},
      {ESOCKTNOSUPPORT, [&] { s.Create(0, nullptr, SOCK_SEQPACKET); }},
      {EINVAL, [&] { s.Create(0, "localhost", SOCK_DGRAM); }},
      {EOPNOTSUPP, [&] { s.Accept(taken, nullptr, nullptr); }},
      {EADDRINUSE, [&] { s.CreateUnix((dir / "taken").c_str(), SOCK_DGRAM); }},
      {ENOENT, [&] { s.ConnectUnix((dir / "missing").c_str()); }},
      {ENOPROTOOPT, [&] { s.SetSockOpt(9999, &s, 4, SOL_SOCKET); }},
      {ENOTTY, [&] { s.IOCtl(TIOCGWINSZ, nullptr); }},
      {EINVAL,
       [&] {
         s.m_hSocket = FD_SETSIZE;  // an fd_set has no room for it
         s.ValidateFd();
       }},
      {EBADF, [&] { s.Close(); }}};
  for (const auto& [code, call] : cases) {
    EXPECT_EQ(code, ThrownCode(call));
    EXPECT_EQ(code, s.m_nErrorCode);
  }
  s.Close();  // forgotten already
}

TEST(Socket, NamesAreLookedUpThroughThePointer) {
  static int s_result = 1;
  QELSocket s;
  s.Create(0, "127.0.0.1", SOCK_DGRAM);
  const auto real = std::exchange(
      g_QEL_gethostbyname, +[](const char*, IPBufferArray* out, int) {
        out->m_pAddresses[0] = htonl(INADDR_LOOPBACK);
        errno = EIO;
        return s_result;
      });
  EXPECT_EQ(3u, s.SendTo("abc", 3, "some.host", 9, 0, 1));
  s_result = 0;
  EXPECT_EQ(EINVAL, ThrownCode([&] { s.Connect("some.host", 1); }));
  s_result = -1;
  EXPECT_EQ(EIO, ThrownCode([&] { s.AsyncConnect("some.host", 1); }));
  EXPECT_EQ(EINVAL, s.m_nErrorCode);  // what a failed lookup throws is not stored
  g_QEL_gethostbyname = real;
  IPBufferArray found;
  found.m_pAddresses = found.m_aAddresses + 1;
  EXPECT_EQ(-1, real("1.2.3.256", &found, 1));
  EXPECT_EQ(1, real("127.0.0.9", &found, 1));
  EXPECT_STREQ("127.0.0.9", found.m_szName);
  EXPECT_EQ(found.m_aAddresses + 1, found.m_pAddresses);  // the caller's
  EXPECT_EQ(inet_addr("127.0.0.9"), found.m_aAddresses[0]);
}

TEST(Socket, DatagramsComeOneAtATimeAndAnEmptyOneThrows) {
  Pair pair(SOCK_DGRAM);
  char buffer[8] = {};
  EXPECT_EQ(0u, Received(pair.near, buffer, 0));  // not even looked at
  for (const std::string text : {"one", "two", "", "too long for it"}) {
    pair.far.AsyncSend(text.data(), static_cast<unsigned>(text.size()), 0);
  }
  EXPECT_EQ(3u, Received(pair.near, buffer, 8));
  EXPECT_EQ(3u, Received(pair.near, buffer + 3, 5));
  EXPECT_STREQ("onetwo", buffer);
  EXPECT_EQ(ECONNRESET, ThrownCode([&] { Received(pair.near, buffer, 8); }));
  EXPECT_EQ(8u, Received(pair.near, buffer, 8));
}

TEST(Socket, WaitsEndByReadinessOrTime) {
  for (const bool poll : {false, true}) {
    Pair pair(SOCK_DGRAM);
    QELSocket::m_bUsePollSocket = poll;
    EXPECT_TRUE(pair.near.Select(QELSocket::kReadable | QELSocket::kWritable, 5000));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(pair.near.Select(QELSocket::kReadable, 500));
    EXPECT_GE(SecondsSince(start), 0.99);  // time is looked at between slices of a second
    while (pair.near.AsyncSend("x", 1, 0) == 1) {
    }
    pair.far.AsyncSend("x", 1, 0);
    EXPECT_TRUE(pair.near.Select(QELSocket::kReadable, 5000));
    EXPECT_FALSE(pair.near.Select(QELSocket::kWritable, 500));
  }
  EXPECT_EQ(5, QELSocket().SelectEx(QELSocket::kReadable | QELSocket::kExceptional, 0));
  EXPECT_EQ(0, QELSocket().SelectEx(0, 1));
}

TEST(Socket, ConnectionsAreMadeAndAccepted) {
  QELSocket listener, client, server;
  std::string address;
  unsigned port = 0;
  listener.Create(0, "127.0.0.1", SOCK_STREAM);
  EXPECT_TRUE(listener.Listen(5));
  listener.m_nAcceptTimeout = 0;
  EXPECT_FALSE(listener.Accept(server, nullptr, nullptr));
  client.Create(0, nullptr, SOCK_STREAM);
  listener.GetSockName(address, port);
  EXPECT_TRUE(client.Connect(address.c_str(), port));
  EXPECT_TRUE(listener.Accept(server, nullptr, nullptr));
  // More than the kernel takes at once: the sender waits for room.
  const std::string text(8'000'000, 'z');
  std::jthread sender([&] { EXPECT_EQ(text.size(), client.SendString(text.c_str(), 0)); });
  std::string got(text.size(), '\0');
  EXPECT_EQ(text.size(), server._Receive(got.data(), unsigned(got.size()), 0, 0));
  sender.join();
  server.Close();
  EXPECT_EQ(ECONNRESET, ThrownCode([&] { client.Receive(got.data(), 1, 0, 1); }));
}

TEST(Socket, BufferedReadsFollowTheGrowthRule) {
  const struct {
    unsigned sent, wanted, chunk, received, capacity, buffered;
  } steps[] = {
      {100, 10, 512, 10, 255, 90},     // reads ahead what waits
      {300, 290, 512, 290, 511, 100},  // the buffer's rest first; grows in steps of 256
      {600, 105, 512, 105, 767, 507},  // at most the chunk ahead
      {0, 600, 512, 595, 767, 0},      // one read only
      {700, 700, 512, 700, 767, 0},    // from the front of the buffer again
      {1000, 800, 512, 800, 767, 0},   // larger than the buffer: past it
      {1500, 1, 2000, 1, 4095, 1699},  // from 1024 on in steps of 4096
      {5, 1704, 512, 1704, 4095, 0},
  };
  Pair pair(SOCK_STREAM);
  std::string sent, received;
  for (const auto& step : steps) {
    std::string bytes(step.sent, '\0'), buffer(step.wanted, '\0');
    std::iota(bytes.begin(), bytes.end(), static_cast<char>(sent.size()));
    EXPECT_EQ(int(step.sent), pair.far.AsyncSend(bytes.data(), step.sent, 0));
    pair.near.m_nReadChunk = step.chunk;
    EXPECT_EQ(step.received, pair.near.Receive(buffer.data(), step.wanted, 0, 1));
    EXPECT_EQ(step.capacity, pair.near.m_Buffer.Size());
    EXPECT_EQ(step.buffered, pair.near.m_nBufferedBytes);
    EXPECT_LE(pair.near.m_nBufferOffset + step.buffered, step.capacity);
    sent += bytes;
    received += buffer.substr(0, step.received);
  }
  EXPECT_EQ(sent, received);
  sockaddr_in from;
  pair.far.AsyncSend("discarded, kept", 15, 0);
  EXPECT_EQ(11u, pair.near.ReceiveFrom(nullptr, 11, from, 0, 1));
  EXPECT_EQ(4u, pair.near.GetTotalNonBlockedReadBytes());
}
