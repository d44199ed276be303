#include <fcntl.h>
#include <signal.h>
#include <syslog.h>

#include "Log.h"
#include "Support.h"

namespace {

constexpr const char* kSystemLog = "/dev/log";

bool MayStandInForTheSystemLogger() {
  return ::access(kSystemLog, F_OK) != 0 && ::access("/dev", W_OK) == 0;
}

// A pipe that is standard error while this lives.
class StandardErrorPipe {
 public:
  StandardErrorPipe() : m_saved(::dup(STDERR_FILENO)) {
    int ends[2];
    EXPECT_EQ(0, ::pipe(ends));
    m_reader = ends[0];
    ::dup2(ends[1], STDERR_FILENO);
    ::close(ends[1]);
  }
  ~StandardErrorPipe() {
    ::dup2(m_saved, STDERR_FILENO);
    ::close(m_saved);
    ::close(m_reader);
  }
  // Leaves room for that many bytes.
  void FillUpTo(std::size_t room) const {
    const std::string text(std::size_t(::fcntl(m_reader, F_GETPIPE_SZ)) - room, '.');
    EXPECT_EQ(ssize_t(text.size()), ::write(STDERR_FILENO, text.data(), text.size()));
  }
  std::string Read(std::size_t size) const {
    std::string text;
    for (char buffer[4096]; text.size() < size;) {
      const ssize_t got = ::read(m_reader, buffer, std::min(sizeof buffer, size - text.size()));
      if (got <= 0) break;
      text.append(buffer, std::size_t(got));
    }
    return text;
  }

 private:
  const int m_saved;
  int m_reader;
};

// Whether Log returns while nobody reads and signals arrive. If not, `release` makes it return.
bool LogReturns(const std::string& text, const std::function<void()>& release) {
  ::signal(SIGUSR1, [](int) {});  // restarts calls, as tavok's own handlers do
  std::atomic<bool> returned = false;
  std::jthread thread([&] {
    Log(kLogError, "%s", text.c_str());
    returned = true;
  });
  const bool inTime = Eventually([&] {
    if (!returned) ::pthread_kill(thread.native_handle(), SIGUSR1);
    return returned.load();
  });
  if (!inTime) release();
  return inTime;
}

// A system logger of the test's own.
class SystemLogger {
 public:
  explicit SystemLogger(int type) : m_fd(::socket(AF_UNIX, type | SOCK_NONBLOCK, 0)) {
    const sockaddr_un at = UnixAddress(kSystemLog);
    EXPECT_EQ(0, ::bind(m_fd, reinterpret_cast<const sockaddr*>(&at), sizeof at));
    if (type == SOCK_STREAM) {
      EXPECT_EQ(0, ::listen(m_fd, 1));
    }
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
    std::string text(65536, '\0');
    const int from = m_connection == -1 ? m_fd : m_connection;
    text.resize(
        std::size_t(std::max(ssize_t(0), ::recv(from, text.data(), text.size(), MSG_DONTWAIT))));
    return text;
  }
  void FillQueue() const {
    const sockaddr_un to = UnixAddress(kSystemLog);
    const int filler = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0);
    for (int i = 0; i < 10000; ++i) {
      if (::sendto(filler, "x", 1, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to) == -1)
        break;
    }
    ::close(filler);
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

TEST(Log, DoesNotWaitForEverForAReaderOfStandardError) {
  g_syslog.m_bNoSyslog = true;
  const struct {
    const char* what;
    std::size_t room;
    std::size_t text;
  } cases[] = {{"a full pipe", 0, 10}, {"a pipe that takes half of it", 4096, 8192}};
  for (const auto& it : cases) {
    const StandardErrorPipe pipe;
    pipe.FillUpTo(it.room);
    EXPECT_TRUE(LogReturns(std::string(it.text, 'x'), [&] { pipe.Read(1 << 16); })) << it.what;
  }
}

TEST(Log, WritesAWholeLineToASlowReader) {
  g_syslog.m_bNoSyslog = true;
  const StandardErrorPipe pipe;
  pipe.FillUpTo(4096);
  const std::string line(20000, 'x');
  std::jthread log([&] { Log(kLogError, "%s", line.c_str()); });
  ::usleep(20000);  // the pipe is full by then, and the line has been written in part
  const std::size_t before = std::size_t(::fcntl(STDERR_FILENO, F_GETPIPE_SZ)) - 4096;
  EXPECT_EQ(std::string(before, '.') + line + "\n", pipe.Read(before + line.size() + 1));
}

TEST(Log, TracedToASystemLoggerAsTheLibraryWould) {
  if (!MayStandInForTheSystemLogger()) GTEST_SKIP() << "a system logger runs, or only root can";
  g_syslog.m_bNoSyslog = false;
  ::setenv("TZ", "ABC-14", 1);
  for (const int type : {SOCK_DGRAM, SOCK_STREAM}) {
    SystemLogger logger(type);
    for (int priority = 0; priority < 8; ++priority) {
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

TEST(Log, TracedDoesNotWaitForEverForASystemLogger) {
  if (!MayStandInForTheSystemLogger()) GTEST_SKIP() << "a system logger runs, or only root can";
  g_syslog.m_bNoSyslog = false;
  SystemLogger logger(SOCK_DGRAM);
  logger.FillQueue();
  testing::internal::CaptureStderr();
  EXPECT_TRUE(LogReturns("text", [&] { logger.Read(); }));
  testing::internal::GetCapturedStderr();
}
