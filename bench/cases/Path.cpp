// The steps of one datagram's path, beside the system calls that they cannot do without.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "LogServerEngine.h"
#include "QELSocket.h"

namespace {

const std::string kText = std::string(99, 'x') + "\n";

// /dev/null for a file: what is left is the way there.
void EngineWrite(benchmark::State& state) {
  char made[] = "/tmp/tavok-bench-XXXXXX";
  const std::string directory = ::mkdtemp(made);
  std::filesystem::create_symlink("/dev/null", directory + "/tmp.tavok");
  CLogServerEngine engine(directory, 0, 0, 0, true);
  engine.Init();
  for (auto _ : state) benchmark::DoNotOptimize(engine.Write(kText.c_str()));
  std::filesystem::remove_all(directory);
}
BENCHMARK(EngineWrite);

void EngineWrite_Write(benchmark::State& state) {
  const int file = ::open("/dev/null", O_WRONLY | O_APPEND);
  for (auto _ : state) benchmark::DoNotOptimize(::write(file, kText.data(), kText.size()));
  ::close(file);
}
BENCHMARK(EngineWrite_Write);

// Two connected sockets; what goes into one comes out of the other.
class SocketPair {
 public:
  SocketPair() {
    if (::socketpair(AF_UNIX, SOCK_DGRAM, 0, m_ends) == -1) std::abort();
  }
  SocketPair(const SocketPair&) = delete;
  SocketPair& operator=(const SocketPair&) = delete;
  ~SocketPair() {
    for (const int end : m_ends) ::close(end);
  }

  void Send() { benchmark::DoNotOptimize(::send(m_ends[0], kText.data(), kText.size(), 0)); }
  int Receiver() const { return m_ends[1]; }

 private:
  int m_ends[2];
};

// Receives one of 100 bytes for each that is sent, the cost of sending included.
template <class Receive>
void MeasureReceive(benchmark::State& state, SocketPair& pair, Receive receive) {
  char text[1024];
  alignas(sockaddr) char from[4096];
  for (auto _ : state) {
    pair.Send();
    unsigned length = sizeof from;
    benchmark::DoNotOptimize(receive(text, reinterpret_cast<sockaddr*>(from), &length));
  }
}

void SocketReceive(benchmark::State& state) {
  SocketPair pair;
  qel::QELSocket socket(static_cast<unsigned>(pair.Receiver()));
  MeasureReceive(state, pair, [&](char* text, sockaddr* from, unsigned* length) {
    return socket._ReceiveFromEx(text, 1024, from, length, 0, 1);
  });
  (void)socket.Detach();
}
BENCHMARK(SocketReceive);

void SocketReceive_Recvfrom(benchmark::State& state) {
  SocketPair pair;
  MeasureReceive(state, pair, [&](char* text, sockaddr* from, unsigned* length) {
    return ::recvfrom(pair.Receiver(), text, 1024, 0, from, length);
  });
}
BENCHMARK(SocketReceive_Recvfrom);

// A wait that is over at once: select, and the look for a pending error.
void SocketWait(benchmark::State& state) {
  SocketPair pair;
  pair.Send();
  qel::QELSocket socket(static_cast<unsigned>(pair.Receiver()));
  for (auto _ : state) benchmark::DoNotOptimize(socket.Select(qel::QELSocket::kReadable, 5000));
  (void)socket.Detach();
}
BENCHMARK(SocketWait);

void SocketWait_Poll(benchmark::State& state) {
  SocketPair pair;
  pair.Send();
  pollfd entry{pair.Receiver(), POLLIN, 0};
  for (auto _ : state) benchmark::DoNotOptimize(::poll(&entry, 1, 5000));
}
BENCHMARK(SocketWait_Poll);

}  // namespace
