#include "Load.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "Check.h"
#include "Sockets.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr long kWarmUpDatagrams = 40;  // they fit into a receive buffer: none is lost
constexpr useconds_t kSettleUs = 20'000;
// When this long nothing comes, that was all.
constexpr std::chrono::milliseconds kQuiet(10'000);
constexpr std::chrono::milliseconds kQuietUdp(500);  // where some may have been lost

std::string Text(unsigned size) { return std::string(size - 1, 'x') + "\n"; }

class Source {
 public:
  Source(const Place& place, unsigned size)
      : m_text(Text(size)), m_fd(ConnectedSocket(place.Listening())) {
    const timeval limit{30, 0};
    Check(::setsockopt(m_fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) == 0, "SO_SNDTIMEO");
  }
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
  ~Source() { ::close(m_fd); }

  void Send() {
    const ssize_t sent = ::send(m_fd, m_text.data(), m_text.size(), 0);
    Check(sent == static_cast<ssize_t>(m_text.size()), "send");
  }

 private:
  const std::string m_text;
  const int m_fd;
};

// Runs `body` in a process of its own: programs that log share neither memory nor descriptors.
template <class Body>
pid_t Fork(Body body) {
  const pid_t pid = ::fork();
  Check(pid != -1, "fork");
  if (pid != 0) return pid;
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  try {
    body();
    ::_exit(0);
  } catch (const std::exception& e) {
    (void)std::fprintf(stderr, "\na sender: %s\n", e.what());
    ::_exit(1);
  }
}

void Flood(Source& sender, long datagrams) {
  for (long sent = 0; sent < datagrams; ++sent) sender.Send();
}

// Evenly spaced, by a clock that is read all the time: a sleep would wake late and send in bursts.
void Pace(Source& sender, long datagrams, unsigned rate) {
  const std::chrono::nanoseconds step(1'000'000'000 / rate);
  auto next = Clock::now();
  for (long sent = 0; sent < datagrams; ++sent, next += step) {
    while (Clock::now() < next) {
    }
    sender.Send();
  }
}

// Returns when all is sent.
void SendFromProcesses(const Load& load, const Place& place) {
  std::vector<pid_t> senders;
  for (unsigned i = 0; i < load.senders; ++i) {
    senders.push_back(Fork([&] {
      Source sender(place, load.size);
      const long share = load.datagrams / load.senders;
      if (load.udp) UseProcessors(Processors::kSender);
      load.rate == 0 ? Flood(sender, share) : Pace(sender, share, load.rate);
    }));
  }
  bool failed = false;
  for (const pid_t pid : senders) {
    int status = 0;
    Check(::waitpid(pid, &status, 0) == pid, "waitpid");
    failed |= status != 0;
  }
  if (failed) throw std::runtime_error("not everything could be sent");
}

// Returns when the last byte came.
Clock::time_point AwaitLogged(const Running& subject, std::uintmax_t wanted,
                              std::chrono::milliseconds quiet) {
  std::uintmax_t logged = subject.LoggedBytes();
  auto last = Clock::now();
  while (logged < wanted && Clock::now() - last < quiet) {
    ::usleep(1000);
    const std::uintmax_t now = subject.LoggedBytes();
    if (now == logged) continue;
    logged = now;
    last = Clock::now();
  }
  return last;
}

bool HoldsOnly(const std::filesystem::path& log, const std::string& text) {
  std::ostringstream logged;
  logged << std::ifstream(log, std::ios::binary).rdbuf();
  std::string wanted;
  for (long i = 0; i < kWarmUpDatagrams; ++i) wanted += text;
  return logged.str() == wanted;
}

}  // namespace

Written WarmUp(const Load& load, const Running& subject) {
  SendFromProcesses({load.udp, load.size, 1, 5000, kWarmUpDatagrams}, subject.At());
  AwaitLogged(subject, std::uintmax_t{kWarmUpDatagrams} * load.size, kQuiet);
  ::usleep(kSettleUs);  // for what a subject adds to the last one
  const std::uintmax_t bytes = subject.LoggedBytes();
  if (bytes == 0 || bytes % kWarmUpDatagrams != 0) {
    throw std::runtime_error("a subject does not write what it is sent slowly");
  }
  return {bytes / kWarmUpDatagrams, HoldsOnly(subject.At().Log(), Text(load.size))};
}

Outcome Send(const Load& load, const Running& subject, const Written& each) {
  Outcome outcome;
  outcome.sent = load.datagrams / load.senders * load.senders;
  const std::uintmax_t before = subject.LoggedBytes();
  const double cpu = subject.CpuSeconds();
  const auto begin = Clock::now();
  SendFromProcesses(load, subject.At());
  const std::uintmax_t wanted = before + static_cast<std::uintmax_t>(outcome.sent) * each.bytes;
  const auto end = AwaitLogged(subject, wanted, load.udp ? kQuietUdp : kQuiet);
  outcome.cpuSeconds = subject.CpuSeconds() - cpu;
  outcome.seconds = std::chrono::duration<double>(end - begin).count();
  outcome.received = static_cast<long>((subject.LoggedBytes() - before) / each.bytes);
  return outcome;
}
