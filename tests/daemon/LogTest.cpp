#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <syslog.h>

#include <atomic>
#include <thread>

#include "Log.h"
#include "Sockets.h"
#include "Waiting.h"

namespace {

// A pipe with room for that many bytes that is standard error while this lives.
class StandardErrorPipe {
 public:
  explicit StandardErrorPipe(std::size_t room) : m_saved(::dup(STDERR_FILENO)) {
    int ends[2];
    EXPECT_EQ(0, ::pipe(ends));
    m_reader = ends[0];
    ::dup2(ends[1], STDERR_FILENO);
    ::close(ends[1]);
    const std::string text(std::size_t(::fcntl(m_reader, F_GETPIPE_SZ)) - room, '.');
    EXPECT_EQ(ssize_t(text.size()), ::write(STDERR_FILENO, text.data(), text.size()));
  }
  ~StandardErrorPipe() {
    ::dup2(m_saved, STDERR_FILENO);
    ::close(m_saved);
    ::close(m_reader);
  }
  // How many bytes wait in it.
  std::size_t Held() const {
    int held = 0;
    EXPECT_EQ(0, ::ioctl(m_reader, FIONREAD, &held));
    return std::size_t(held);
  }
  // All of these.
  std::string Read() const {
    std::string text(Held(), '\0');
    EXPECT_EQ(ssize_t(text.size()), ::read(m_reader, text.data(), text.size()));
    return text;
  }

 private:
  const int m_saved;
  int m_reader;
};

// A system logger of the test's own.
class SystemLogger {
 public:
  explicit SystemLogger(int type) : m_fd(::socket(AF_UNIX, type | SOCK_NONBLOCK, 0)) {
    const sockaddr_un at = UnixAddress(kSystemLog);
    EXPECT_EQ(0, ::bind(m_fd, reinterpret_cast<const sockaddr*>(&at), sizeof at));
    EXPECT_EQ(type == SOCK_STREAM ? 0 : -1, ::listen(m_fd, 1));
    // Drops the C library's connection to an earlier one.
    ::closelog();
    ::openlog(g_syslog.m_strIdent.c_str(), LOG_PID, LOG_LOCAL0);
  }
  ~SystemLogger() {
    ::close(m_fd);
    ::unlink(kSystemLog);
  }
  // All that has arrived, on the latest connection if there is one.
  std::string Read() {
    if (const int connection = ::accept(m_fd, nullptr, nullptr); connection != -1) {
      ::close(std::exchange(m_connection, connection));
    }
    std::string all, text(65536, '\0');
    const int from = m_connection == -1 ? m_fd : m_connection;
    // Of other programs, too: what stayed queued would in the end block the C library's syslog.
    for (ssize_t n; (n = ::recv(from, text.data(), text.size(), MSG_DONTWAIT)) > 0;) {
      all.append(text, 0, std::size_t(n));
    }
    return all;
  }

 private:
  const int m_fd;
  int m_connection = -1;
};

}  // namespace

TEST(Log, IsChompedOnceAndCut) {
  g_syslog.m_bNoSyslog = true;
  const std::pair<std::string, std::string> cases[] = {
      {"", ""},
      {"\n", ""},
      {"a%s", "a%s"},
      {"a\r\n", "a"},
      {"a\n\n", "a\n"},
      {"a\n\r", "a\n"},
      {std::string(30000, 'x') + "\n", std::string(20478, 'x')}};
  for (const auto& [text, expected] : cases) {
    testing::internal::CaptureStderr();
    Log(kLogError, "%s", text.c_str());
    EXPECT_EQ(expected + "\n", testing::internal::GetCapturedStderr());
  }
}

TEST(Log, IsWrittenWithoutATimer) {
  g_syslog.m_bNoSyslog = true;
  constexpr rlimit kNone{};
  EXPECT_EQ(0, ::setrlimit(RLIMIT_SIGPENDING, &kNone));
  testing::internal::CaptureStderr();
  Log(kLogError, "%s", std::string(10000, 'x').c_str());
  EXPECT_EQ(std::string(10000, 'x') + "\n", testing::internal::GetCapturedStderr());
}

TEST(Log, DoesNotWaitForEverForAReaderOfStandardError) {
  g_syslog.m_bNoSyslog = true;
  ::signal(SIGUSR1, [](int) {});                // restarts calls, as tavok's own handlers do
  for (const std::size_t room : {0u, 4096u}) {  // none, or for half of the text
    std::atomic<bool> returned = false;
    std::jthread log;
    // Destroyed before the thread is joined: ends a write that waits.
    const StandardErrorPipe pipe(room);
    log = std::jthread([&] {
      Log(kLogError, "%s", std::string(8192, 'x').c_str());
      returned = true;
    });
    EXPECT_TRUE(Eventually([&] {
      if (room == 0 && !returned) ::pthread_kill(log.native_handle(), SIGUSR1);
      return returned.load();
    })) << room;
  }
}

TEST(Log, WritesAWholeLineToASlowReader) {
  g_syslog.m_bNoSyslog = true;
  ::signal(SIGUSR1, [](int) {});
  const std::string line(20000, 'x');
  // Tried again when this reader was too slow, and Log has dropped the rest of the line.
  EXPECT_TRUE(Eventually([&] {
    const StandardErrorPipe pipe(4096);
    const std::size_t before = pipe.Held();
    std::atomic<bool> returned = false;
    std::jthread log([&] {
      Log(kLogError, "%s", line.c_str());
      returned = true;
    });
    EXPECT_TRUE(Eventually([&] { return pipe.Held() == before + 4096; }));
    ::pthread_kill(log.native_handle(), SIGUSR1);
    Nap(5);  // the signal ends the write short; Log waits for a reader for 100 ms
    std::string got;
    for (bool isLast = false; !isLast;) {
      isLast = returned;
      got += pipe.Read();
    }
    return got == std::string(before, '.') + line + "\n";
  }));
}

TEST(Log, TracedToASystemLoggerAsTheLibraryWould) {
  if (!MayStandInForTheSystemLogger()) GTEST_SKIP() << "a system logger runs, or only root can";
  g_syslog.m_bNoSyslog = false;
  ::setenv("TZ", "ABC-14", 1);
  ::tzset();
  for (const int type : {SOCK_DGRAM, SOCK_STREAM}) {
    SystemLogger logger(type);
    for (const int priority : {0, 1, 2, 3, 4, 5, 6, 7, LOG_USER | LOG_ERR}) {
      for (const auto& text : {std::string(), std::string("100%s"), std::string(20478, 'x')}) {
        const auto expected = [&] {
          ::syslog(priority, "%s", text.c_str());
          return logger.Read();
        };
        testing::internal::CaptureStderr();
        std::string before, logged;
        EXPECT_TRUE(Eventually([&] {  // within one second
          before = expected();
          Log(priority, "%s", text.c_str());
          logged = logger.Read();
          return before == expected();
        }));
        EXPECT_EQ(before, logged);
        EXPECT_LT(text.size(), before.size());
        testing::internal::GetCapturedStderr();
      }
    }
  }
}
