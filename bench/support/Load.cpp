#include "Load.h"

#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <thread>

#include "Check.h"
#include "Flood.h"
#include "Numbered.h"
#include "Waiting.h"

namespace {

using Clock = std::chrono::steady_clock;
using Action = std::function<void()>;

constexpr unsigned kWarmUpDatagrams = 40;  // they fit into a receive buffer: none is lost
constexpr useconds_t kSettleUs = 20'000;
// When this long nothing comes, that was all.
constexpr std::chrono::milliseconds kQuiet(10'000);
constexpr std::chrono::milliseconds kQuietUdp(500);  // where some may have been lost
// The files of the journal grow by leaps, so that nobody knows how much is wanted.
constexpr std::chrono::milliseconds kQuietJournal(1000);
constexpr auto kUnknown = std::numeric_limits<std::uintmax_t>::max();

std::string Text(unsigned size) { return std::string(size - 1, 'x') + "\n"; }

// Evenly spaced: where a sleep would wake late and send in bursts, the clock is read all the time.
// Returns how many have been sent.
int Feed(const Load& load, unsigned number, const Feeder& feeder) {
  const std::string text = Text(load.size);
  const auto share = static_cast<int>(load.datagrams / load.senders);
  const std::chrono::nanoseconds step(load.rate == 0 ? 0 : 1'000'000'000 / load.rate);
  const auto begin = Clock::now();
  int sent = 0;
  for (auto next = begin; sent < share; ++sent, next += step) {
    while (load.rate != 0 && Clock::now() < next) {
      if (step >= std::chrono::milliseconds(1)) std::this_thread::sleep_until(next);
    }
    if (load.seconds > 0 && SecondsSince(begin) > load.seconds) break;
    load.numbered ? feeder.Send(Numbered(number, sent)) : feeder.Send(text);
  }
  return sent;
}

// A process of its own, as programs that log share neither memory nor descriptors.
pid_t StartSender(const Load& load, const Running& subject, unsigned number, int& sent,
                  const Action& atEnd) {
  const pid_t pid = ::fork();
  Check(pid != -1, "fork");
  if (pid != 0) return pid;
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  try {
    if (load.udp) UseSenderProcessor();
    sent = Feed(load, number, Feeder(subject));
    if (atEnd) atEnd();
    ::_exit(0);
  } catch (const std::exception& e) {
    (void)std::fprintf(stderr, "\na sender: %s\n", e.what());
    ::_exit(1);
  }
}

// Sends the load, by processes that each call `atEnd` when their last send has returned. Returns
// how many each has sent.
std::vector<int> SendAll(const Load& load, const Running& subject, const Action& meanwhile,
                         const Action& atEnd = {}) {
  constexpr std::size_t kShared = 4096;  // bytes: enough for a thousand senders
  void* const shared =
      ::mmap(nullptr, kShared, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  Check(shared != MAP_FAILED, "mmap");
  int* const sent = static_cast<int*>(shared);
  std::vector<pid_t> pids;
  for (unsigned i = 0; i < load.senders; ++i) {
    pids.push_back(StartSender(load, subject, i, sent[i], atEnd));
  }
  if (meanwhile) meanwhile();
  bool failed = false;
  for (const pid_t pid : pids) {
    int status = 0;
    Check(::waitpid(pid, &status, 0) != -1, "waitpid");
    failed |= status != 0;
  }
  if (failed) throw std::runtime_error("not everything could be sent");
  std::vector<int> counts(sent, sent + load.senders);
  ::munmap(shared, kShared);
  return counts;
}

// Returns when the last byte came.
Clock::time_point AwaitStored(const Running& subject, std::uintmax_t wanted,
                              std::chrono::milliseconds quiet) {
  if (subject.What().IsJournal()) {
    wanted = kUnknown;
    quiet = kQuietJournal;
  }
  std::uintmax_t stored = subject.StoredBytes();
  auto last = Clock::now();
  while (stored < wanted && Clock::now() - last < quiet) {
    ::usleep(1000);
    const std::uintmax_t now = subject.StoredBytes();
    if (now == stored) continue;
    stored = now;
    last = Clock::now();
  }
  return last;
}

// Of a numbered load: looks for each message in what has been logged after the warm-up. A fault is
// that a line is torn, repeated or moved.
Figures Audited(const Running& subject, const Written& each, const std::vector<int>& counts) {
  NumberedReader reader(counts.size());
  const bool fault = !reader.Read(subject.Logged().substr(each.logged)).empty();
  const auto sent = std::accumulate(counts.begin(), counts.end(), 0.0);
  const auto lost = static_cast<double>(reader.Missing(counts));
  return {{"sent", sent}, {"received", sent - lost}, {"lost", lost}, {"faults", fault ? 1 : 0}};
}

}  // namespace

Feeder::Feeder(const Running& subject)
    : m_isPipe(subject.What().IsFed()), m_fd(subject.Connected()) {
  const timeval limit{30, 0};
  Check(m_isPipe || ::setsockopt(m_fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) == 0,
        "SO_SNDTIMEO");
}

Feeder::~Feeder() { ::close(m_fd); }

void Feeder::Send(const std::string& text) const {
  const ssize_t sent = m_isPipe ? ::write(m_fd, text.data(), text.size())
                                : ::send(m_fd, text.data(), text.size(), 0);
  Check(sent == static_cast<ssize_t>(text.size()), "send");
}

Written WarmUp(const Load& load, const Running& subject) {
  const std::size_t logged = subject.Logged().size();
  const std::uintmax_t wanted = subject.StoredBytes() + kWarmUpDatagrams * Text(load.size).size();
  SendAll({load.udp, load.size, 1, 5000, kWarmUpDatagrams}, subject, {});
  AwaitStored(subject, wanted, kQuiet);
  ::usleep(kSettleUs);  // for what a subject adds to the last one
  const std::string text = subject.Logged().substr(logged);
  if (text.empty() || text.size() % kWarmUpDatagrams != 0) {
    throw std::runtime_error(subject.What().name + " does not write what it is sent slowly");
  }
  std::string sent;
  for (unsigned i = 0; i < kWarmUpDatagrams; ++i) sent += Text(load.size);
  return {text.size() / kWarmUpDatagrams, text == sent, logged + text.size()};
}

Figures Send(const Load& load, const Running& subject, const Written& each,
             const Action& meanwhile) {
  const std::uintmax_t before = subject.StoredBytes();
  const double cpu = subject.CpuSeconds();
  const auto begin = Clock::now();
  const std::vector<int> counts = SendAll(load, subject, meanwhile);
  const auto sent = std::accumulate(counts.begin(), counts.end(), std::uintmax_t{0});
  const auto end = AwaitStored(subject, before + sent * each.bytes, load.udp ? kQuietUdp : kQuiet);
  const double used = subject.CpuSeconds() - cpu;
  const std::uintmax_t stored = subject.StoredBytes() - before;

  Figures figures = load.numbered ? Audited(subject, each, counts) : Figures();
  const std::uintmax_t whole = stored / each.bytes;
  const double received = load.numbered ? figures["received"] : static_cast<double>(whole);
  const auto lost = static_cast<double>(sent) - received;
  figures.merge(
      Figures{{"sent", static_cast<double>(sent)},
              {"received", received},
              {"lost", lost},
              {"lost_percent", 100 * lost / static_cast<double>(sent)},
              {"per_second", received / std::chrono::duration<double>(end - begin).count()},
              {"cpu_us", used / received * 1e6},
              {"stored_bytes", static_cast<double>(stored) / received}});
  return figures;
}

Figures SendAndRestart(const Load& load, Running& subject, const Written& each) {
  constexpr int kRestarts = 5, kApartMs = 200;
  Flood flood(subject.At().listening, {.senders = load.senders, .lead = LONG_MAX});
  for (int i = 0; i < kRestarts; ++i) {
    Nap(kApartMs);
    subject.Again(load.signal);
  }
  Nap(kApartMs);
  const std::vector<int> counts = flood.Stop();
  AwaitStored(subject, kUnknown, kQuietJournal);
  return Audited(subject, each, counts);
}

Figures SendAndKill(const Load& load, const Running& subject, const Written& each) {
  const std::vector<int> counts = SendAll(load, subject, {}, [&] { subject.Kill(); });
  subject.AwaitEnd();
  if (subject.What().IsJournal()) AwaitStored(subject, kUnknown, kQuietJournal);
  return Audited(subject, each, counts);
}
