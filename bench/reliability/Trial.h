#pragma once

#include <arpa/inet.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "Daemon.h"
#include "Numbered.h"
#include "QELString.h"

// How often, or how many: the second with TAVOK_TRIALS=full, which takes minutes.
inline int Scale(int quick, int full) {
  const char* const scale = std::getenv("TAVOK_TRIALS");
  return scale != nullptr && std::string(scale) == "full" ? full : quick;
}

// What a trial has found, for the one who runs it.
template <class... Values>
void Figure(const char* format, Values... values) {
  (void)std::printf("             ");
  (void)std::printf(format, values...);
  (void)std::printf("\n");
}

// The command that runs tavok with a fault, or with its clock shifted by what the file says.
inline std::string Shimmed(const std::string& fault, const std::string& clock = "") {
  std::string words = "env LD_PRELOAD=" TRIALS_SHIM " ASAN_OPTIONS=verify_asan_link_order=0";
  if (!fault.empty()) words += " TAVOK_FAULT=" + fault;
  if (!clock.empty()) words += " TAVOK_CLOCK=" + clock;
  return words;
}

// As many as can be lost with a daemon: the queue of its socket, and the one in its hands.
inline int QueueLength() { return std::stoi(ReadFile("/proc/sys/net/unix/max_dgram_qlen")) + 2; }

// Under a sanitizer a trial reads a log much slower than it is written.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kLeastPauseMs = 1;
#else
constexpr int kLeastPauseMs = 0;
#endif

// Threads that send numbered messages to the socket of whatever daemon is there, as fast as they
// are taken, from the construction to Stop.
class Flood {
 public:
  Flood(const TempDir& dir, std::size_t senders, int pauseMs = 0)
      : m_to(UnixAddress(dir / "socket")),
        m_pauseMs(std::max(pauseMs, kLeastPauseMs)),
        m_counts(senders) {
    for (std::size_t i = 0; i < senders; ++i) {
      m_threads.emplace_back([this, i](const std::stop_token& stop) { Run(stop, i); });
    }
  }

  // Returns how many each sender has sent. A message that was refused is not counted.
  const std::vector<int>& Stop() {
    for (auto& thread : m_threads) thread.request_stop();
    m_threads.clear();
    return m_counts;
  }

 private:
  int Connected() const {
    const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const timeval limit{1, 0};  // a daemon that is stopped for a while
    ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&m_to), sizeof m_to) == 0) return fd;
    ::close(fd);
    return -1;
  }
  void Run(const std::stop_token& stop, std::size_t sender) {
    int fd = -1;
    while (!stop.stop_requested()) {
      const std::string text = Numbered(sender, m_counts[sender]);
      if (fd != -1 && ::send(fd, text.data(), text.size(), 0) > 0) {
        ++m_counts[sender];
        if (m_pauseMs > 0) Nap(m_pauseMs);
        continue;
      }
      if (fd != -1) ::close(fd);
      if ((fd = Connected()) == -1) Nap(1);
    }
    ::close(fd);
  }

  const sockaddr_un m_to;
  const int m_pauseMs;
  std::vector<int> m_counts;
  std::vector<std::jthread> m_threads;
};

inline std::string NewestRotated(const TempDir& dir) {
  auto names = LogFiles(dir);
  names.erase("tmp.tavok");
  return names.empty() ? "" : *names.rbegin();
}

// Has the daemon rotate, and waits until it has. Not within a second of the last time, which would
// replace a file, however late that signal was heeded.
inline void Rotate(const TempDir& dir, const Daemon& daemon) {
  Nap(1100);
  const std::string before = NewestRotated(dir);
  daemon.Signal(SIGHUP);
  EXPECT_TRUE(Eventually([&] { return NewestRotated(dir) != before; }));
}

// Reads and checks the log while it is being written, file by file.
class Auditor {
 public:
  explicit Auditor(const TempDir& dir) : m_dir(dir) {}

  // From here on these senders write, each from number 0.
  void Expect(std::size_t senders) { m_reader = NumberedReader(senders); }

  // Reads the rotated files that are new. Returns the first fault.
  std::string Read() {
    for (const std::string& name : LogFiles(m_dir)) {
      if (name <= m_last || name == "tmp.tavok") continue;
      m_last = name, m_files += 1;
      std::string fault = m_reader.Read(ReadFile(m_dir / ("log/" + name)));
      if (!fault.empty()) return fault;
    }
    return {};
  }
  // Has the daemon rotate, and again while the last messages are in its queue, until all is read.
  void ReadToTheEnd(const Daemon& daemon, const std::vector<int>& counts) {
    EXPECT_TRUE(Eventually([&] {
      Rotate(m_dir, daemon);
      EXPECT_EQ("", Read());
      return m_reader.Missing(counts) == 0;
    })) << m_reader.Missing(counts);
  }
  int Files() const { return m_files; }

 private:
  const TempDir& m_dir;
  NumberedReader m_reader{0};
  std::string m_last;
  int m_files = 0;
};
