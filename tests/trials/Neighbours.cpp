#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include "Trial.h"

namespace {

constexpr const char* kTrace = "/tmp/ZABKTraceCon";
constexpr const char* kSystemLog = "/dev/log";

// A socket that is bound and never read, its queue full.
class Wedged {
 public:
  explicit Wedged(const char* path) : m_path(path), m_fd(::socket(AF_UNIX, SOCK_DGRAM, 0)) {
    const sockaddr_un at = UnixAddress(path);
    const auto* const address = reinterpret_cast<const sockaddr*>(&at);
    EXPECT_EQ(0, ::bind(m_fd, address, sizeof at)) << path;
    const int filler = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0);
    for (int i = 0; i < 10000 && ::sendto(filler, "x", 1, 0, address, sizeof at) == 1; ++i) {
    }
    ::close(filler);
  }
  ~Wedged() {
    ::close(m_fd);
    ::unlink(m_path);
  }

 private:
  const char* const m_path;
  const int m_fd;
};

// A daemon comes up, takes a flood with rotations and with what it has to report about, and stops.
void RunsWell(const std::string& arguments = "") {
  const TempDir dir;
  ASSERT_EQ(0, ::mkfifo((dir / "unread").c_str(), 0600));
  const int unread = ::open((dir / "unread").c_str(), O_RDWR | O_NONBLOCK);
  while (::write(unread, "x", 1) == 1) {
  }
  const auto begin = std::chrono::steady_clock::now();
  {
    const Daemon daemon(dir, "", arguments);
    ASSERT_TRUE(daemon.IsUp());
    Flood flood(dir / "socket", {.senders = 2, .pauseUs = 1000});
    for (int i = 0; i < 2; ++i) {
      Sender(dir / "socket").Send(std::string(1, '\0'));  // reported as a failed write
      Rotate(dir, daemon);
    }
    ExpectLogged(dir, flood.Stop());
  }
  EXPECT_LT(SecondsSince(begin), 30 * Patience());
  ::close(unread);
}

bool MayStandInForTheSystemLogger() {
  return ::access(kSystemLog, F_OK) != 0 && ::access("/dev", W_OK) == 0;
}

}  // namespace

TEST(Neighbours, TracedToOnesThatListen) {
  if (!MayStandInForTheSystemLogger()) GTEST_SKIP() << "a system logger runs, or only root can";
  const TempDir dir;
  Collector log(kSystemLog), trace(kTrace);
  {
    const Daemon daemon(dir, "", "<&- >&- 2>&-");
    const std::string line = "[tavok][" + daemon.Pid() + "]: ";
    EXPECT_TRUE(log.Sees(line + "Log Server listening on port " + (dir / "socket")));
    EXPECT_EQ(1, log.Count("<134>"));  // facility local0, information
    for (const auto& text : {std::string(1, '\0'), std::string("x")})
      Sender(dir / "socket").Send(text);
    EXPECT_TRUE(log.Sees(line + "CLogServerUdp::MainWorkerThread() fwrite failed"));
    EXPECT_TRUE(Eventually([&] { return Logged(dir) == "x"; }));
    EXPECT_TRUE(trace.Sees("QELThreadProc Start: Tid: "));
  }
  EXPECT_TRUE(trace.Sees("CCancelThread::run () - throwing CCancelThreadExcep\n"));
}

TEST(Neighbours, TracedToACollectorThatIsFull) {
  const Wedged trace(kTrace), diag("/tmp/ZABKDiagCon");
  RunsWell();
}

TEST(Neighbours, TracedToACollectorThatComesAndGoes) {
  std::jthread restarts([](const std::stop_token& stop) {
    while (!stop.stop_requested()) {
      const Collector collector(kTrace);
      Nap(20);
    }
  });
  RunsWell();
}

TEST(Neighbours, TracedReportsToASystemLoggerThatHangs) {
  if (!MayStandInForTheSystemLogger()) GTEST_SKIP() << "a system logger runs, or only root can";
  const Wedged logger(kSystemLog);
  RunsWell();
}

TEST(Neighbours, ReportsToAStandardErrorThatNobodyReads) { RunsWell("2>unread"); }
