#include <arpa/inet.h>

#include "Ctl.h"

namespace {

#ifdef __SANITIZE_THREAD__
constexpr int kExtraThreads = 1;  // the sanitizer's own, which hides that one is missing
constexpr const char* kAlarm = "";
#else
constexpr int kExtraThreads = 0;
constexpr const char* kAlarm = "2 of 3: reception has ended; restart tavok";
#endif

// Holds a UDP port on 127.0.0.1, so that nobody gets it on another local address by chance.
class HeldPort {
 public:
  HeldPort() : m_fd(::socket(AF_INET, SOCK_DGRAM, 0)) {
    m_address = Address("127.0.0.1");
    socklen_t size = sizeof m_address;
    EXPECT_EQ(0, ::bind(m_fd, reinterpret_cast<sockaddr*>(&m_address), size));
    ::getsockname(m_fd, reinterpret_cast<sockaddr*>(&m_address), &size);
  }
  ~HeldPort() { ::close(m_fd); }
  std::string Number() const { return std::to_string(ntohs(m_address.sin_port)); }
  void SendTo(const char* host, const std::string& text) const {
    const sockaddr_in to = Address(host);
    ::sendto(m_fd, text.data(), text.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
  }

 private:
  sockaddr_in Address(const char* host) const {
    return {AF_INET, m_address.sin_port, {::inet_addr(host)}, {}};
  }

  const int m_fd;
  sockaddr_in m_address{};
};

// The value of a member of the JSON that `tavokctl status` prints; empty when there is none.
std::string Member(const TempDir& dir, const std::string& name) {
  Ctl status(dir, "status --json -c conf");
  (void)status.Status();
  const std::string text = status.Out(), key = "  \"" + name + "\": ";
  const std::size_t at = text.find(key);
  if (at == text.npos) return "";
  const std::size_t begin = at + key.size();
  return text.substr(begin, text.find_first_of(",\n", begin) - begin);
}

}  // namespace

TEST(Status, TellsWhatThereIsToKnow) {
  const TempDir dir;
  Daemon daemon(dir, "MaxPeriod=2\nMaxFileSize=3\nMaxSize=5\n");
  ASSERT_TRUE(daemon.IsUp());
  const std::time_t before = std::time(nullptr);
  for (const auto& [name, size] : {std::pair("tavok_2", 20), std::pair("tavok_1", 30)}) {
    WriteFile(dir / (std::string("log/") + name), std::string(size_t(size), 'x'));
    AwaitNextSecond();
  }
  Sender(dir / "socket").Send("hello");
  EXPECT_TRUE(Eventually([&] { return ReadFile(dir / "log/tmp.tavok") == "hello"; }));
  const std::pair<std::string, std::string> members[] = {
      {"running", "true"},
      {"pid", daemon.Pid()},
      {"threads", std::to_string(3 + kExtraThreads)},
      {"threads_expected", "3"},
      {"configuration", "\"conf\""},
      {"listens_on", '"' + (dir / "socket") + '"'},
      {"queue_bytes", "0"},
      {"queue_limit_bytes", ""},
      {"dropped_datagrams", "0"},
      {"current_bytes", "5"},
      {"current_limit_bytes", "3145728"},
      {"rotated_files", "2"},
      {"rotated_bytes", "50"},
      {"rotated_limit_bytes", "5242880"},
      {"oldest_file", "\"tavok_2\""},
      {"not_known", ""},
      {"reason", ""}};
  for (const auto& [name, value] : members) EXPECT_EQ(value, Member(dir, name)) << name;
  EXPECT_NEAR(double(before), std::stod(Member(dir, "since")), 3);
  EXPECT_NEAR(double(before) + 7200, std::stod(Member(dir, "oldest_expires")), 3);
  EXPECT_GT(std::stoul(Member(dir, "memory_bytes")), 1000000U);
  EXPECT_GT(std::stoul(Member(dir, "disk_bytes")), std::stoul(Member(dir, "free_bytes")));

  const std::string text =
      Expect(dir, "status -c conf", 0, "tavok is running: pid " + daemon.Pid());
  for (const std::string line :
       {", 5 bytes of 3.0 MiB (0 %)", "2, 50 bytes of 5.0 MiB", "tavok_2, expires 2"}) {
    EXPECT_NE(text.npos, text.find(line)) << text;
  }
  EXPECT_LE(std::count(text.begin(), text.end(), '\n'), 24);
  EXPECT_EQ(text.npos, text.find('\033'));

  // An empty datagram ends reception; the queue then fills.
  Sender(dir / "socket").Send("");
  EXPECT_TRUE(daemon.Says("Error 104"));
  EXPECT_TRUE(
      Eventually([&] { return Member(dir, "threads") == std::to_string(2 + kExtraThreads); }));
  Expect(dir, "status -c conf", 0, kAlarm);
  Sender(dir / "socket").Send("12345");
  EXPECT_EQ("5", Member(dir, "queue_bytes"));
}

TEST(Status, CountsWhatAUdpSocketDrops) {
  const TempDir dir;
  const HeldPort port;
  Daemon daemon(dir, "Port=" + port.Number() + "\nBindingAddress=127.0.0.2\nExternalRotation=1\n");
  ASSERT_TRUE(daemon.IsUp());
  EXPECT_EQ("\"UDP 127.0.0.2 port " + port.Number() + '"', Member(dir, "listens_on"));
  EXPECT_EQ("0", Member(dir, "dropped_datagrams"));
  EXPECT_EQ("2", Member(dir, "threads_expected"));
  daemon.Signal(SIGSTOP);
  EXPECT_TRUE(Eventually([&] {
    return ReadFile("/proc/" + daemon.Pid() + "/stat").find(") T ") != std::string::npos;
  }));
  for (int i = 0; i < 1000; ++i) port.SendTo("127.0.0.2", std::string(1000, 'x'));
  const unsigned long dropped = std::stoul(Member(dir, "dropped_datagrams"));
  EXPECT_GT(std::stoul(Member(dir, "queue_bytes")), 60000U);
  EXPECT_EQ("131072", Member(dir, "queue_limit_bytes"));  // the kernel doubles what is asked for
  daemon.Signal(SIGCONT);
  EXPECT_TRUE(Eventually([&] { return dropped + Logged(dir).size() / 1000 == 1000; }));
}

TEST(Status, SaysWhatItCannotKnow) {
  const TempDir dir;
  WriteFile(dir / "port", "[LogServer]\nPort=65536\nPidFileName=no\n");
  WriteFile(dir / "conf", "[LogServer]\nDirName=" + (dir / "no\"\t\\t") +
                              "\nPort=/no\nPidFileName=" + (dir / "pid"));
  Expect(dir, "status -c conf", 1, "there is no " + (dir / "no\"\t\\t/tmp.tavok"));
  Expect(dir, "status -c conf", 1, "No such file or directory");
  Expect(dir, "status -c port", 1, "the kernel has chosen its port");
  std::filesystem::create_symlink("loop", dir / "loop");
  WriteFile(dir / "untold", "[LogServer]\nDirName=loop\nPidFileName=loop\n");
  const std::string untold = Expect(dir, "status -c untold", 1, "it cannot be told whether");
  EXPECT_EQ(untold.npos, untold.find("there is no"));
  EXPECT_EQ("false", Member(dir, "running"));
  EXPECT_EQ("\"there is no pid file " + (dir / "pid") + '"', Member(dir, "reason"));
  EXPECT_EQ('"' + (dir / "no\\\"\\u0009\\\\t/tmp.tavok") + '"', Member(dir, "current_file"));
}
