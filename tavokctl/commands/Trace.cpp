#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "Commands.h"
#include "QELDateTime.h"
#include "QELString.h"
#include "base/Failure.h"
#include "base/Options.h"
#include "base/Output.h"
#include "state/Collector.h"

namespace {

constexpr const char* kUsage =
    "Usage: tavokctl trace [--diag]\n"
    "Collects the diagnostics of the library that tavok is built on, and prints each message with\n"
    "its time, process and thread, until interrupted.\n"
    "  -d, --diag  collect from the diag channel instead of the trace channel\n";

constexpr const char* kTracePath = "/tmp/ZABKTraceCon";
constexpr const char* kTraceActivePath = "/tmp/ZABKTraceCon_Active";
constexpr const char* kDiagPath = "/tmp/ZABKDiagCon";
constexpr std::size_t kHeader = 9;

// Makes the signals that end the collection readable, so that poll waits for them and messages.
CDescriptor EndSignals() {
  sigset_t signals;
  ::sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) ::sigaddset(&signals, signal);
  (void)::sigprocmask(SIG_BLOCK, &signals, nullptr);
  CDescriptor descriptor(::signalfd(-1, &signals, SFD_CLOEXEC));
  if (!descriptor) throw CFailure("wait for signals", errno);
  return descriptor;
}

std::string TimeOfNow() {
  using namespace std::chrono;
  const auto now = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
  std::string text;
  qel::CDateTime(now / 1000).Format("%Y-%m-%dT%H:%M:%S", text);
  return text + qel::QELSPrintf(".%03dZ", static_cast<int>(now % 1000));
}

std::uint32_t NumberAt(const std::string& message, std::size_t at) {
  std::uint32_t number = 0;
  for (std::size_t i = 4; i-- > 0;) {
    number = number << 8 | static_cast<unsigned char>(message[at + i]);
  }
  return number;
}

// Anybody can send here, and the lines are for people even in a file.
std::string TextOf(std::string text) {
  while (!text.empty() && (text.back() == '\0' || text.back() == '\n')) text.pop_back();
  return Printable(text);
}

void PrintMessage(const std::string& message) {
  if (message.size() < kHeader || message[0] != 1) {
    std::printf("%s unknown message format, %zu bytes\n", TimeOfNow().c_str(), message.size());
  } else {
    std::printf("%s pid %u thread %u %s\n", TimeOfNow().c_str(), NumberAt(message, 1),
                NumberAt(message, 5), TextOf(message.substr(kHeader)).c_str());
  }
  FlushOutput();
}

// Waits until standard output is writable; false if a signal comes first.
bool AwaitRoom(const CDescriptor& end) {
  pollfd entries[] = {{STDOUT_FILENO, POLLOUT, 0}, {end.Get(), POLLIN, 0}};
  (void)::poll(entries, 2, -1);
  return entries[1].revents == 0;
}

void Collect(const CCollector& collector, const CDescriptor& end) {
  for (;;) {
    pollfd entries[] = {{collector.Descriptor(), POLLIN, 0}, {end.Get(), POLLIN, 0}};
    if (::poll(entries, 2, -1) == -1 && errno != EINTR) throw CFailure("wait for messages", errno);
    if (entries[1].revents != 0) return;
    if (entries[0].revents == 0) continue;
    if (!AwaitRoom(end)) return;
    PrintMessage(collector.Receive());
  }
}

}  // namespace

int Trace(int argc, char** argv) {
  bool isDiag = false;
  ReadOptions(argc, argv, kUsage, {FlagOption('d', "diag", isDiag)});

  const CDescriptor end = EndSignals();
  const CCollector collector(isDiag ? kDiagPath : kTracePath);
  std::optional<CCollector> active;  // tells programs that somebody collects; receives nothing
  if (!isDiag) active.emplace(kTraceActivePath);
  std::fprintf(stderr, "collecting at %s, until interrupted\n", isDiag ? kDiagPath : kTracePath);
  Collect(collector, end);
  return kDone;
}
