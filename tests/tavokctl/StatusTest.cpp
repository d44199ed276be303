#include <arpa/inet.h>

#include <nlohmann/json.hpp>

#include "Ctl.h"

using nlohmann::ordered_json;

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

// What `tavokctl status --json` prints; discarded if it is not valid JSON.
ordered_json Json(const TempDir& dir) {
  Ctl status(dir, "status --json -c conf");
  (void)status.Status();
  return ordered_json::parse(status.Out(), nullptr, false);
}

}  // namespace

TEST(Status, JsonHasOneMemberForEachFact) {
  const TempDir dir;
  const std::time_t before = std::time(nullptr);
  const Daemon daemon(dir, "MaxPeriod=2\nMaxFileSize=3\nMaxSize=5\n");
  ASSERT_TRUE(daemon.IsUp());
  WriteFile(dir / "log/tavok_2", std::string(20, 'x'));
  AwaitNextSecond();  // tavok_2 is the older one, whatever the order of the names
  WriteFile(dir / "log/tavok_1", std::string(30, 'x'));
  Sender(dir / "socket").Send("hello");
  EXPECT_TRUE(Eventually([&] { return ReadFile(dir / "log/tmp.tavok") == "hello"; }));

  ordered_json json = Json(dir);
  const ordered_json expected = {{"running", true},
                                 {"pid", std::stoi(daemon.Pid())},
                                 {"since", json["since"]},
                                 {"memory_bytes", json["memory_bytes"]},
                                 {"peak_memory_bytes", json["peak_memory_bytes"]},
                                 {"threads", 3 + kExtraThreads},
                                 {"threads_expected", 3},
                                 {"configuration", "conf"},
                                 {"listens_on", dir / "socket"},
                                 {"queue_bytes", 0},
                                 {"dropped_datagrams", 0},
                                 {"current_file", dir / "log/tmp.tavok"},
                                 {"current_bytes", 5},
                                 {"current_limit_bytes", 3145728},
                                 {"rotated_files", 2},
                                 {"rotated_bytes", 50},
                                 {"rotated_limit_bytes", 5242880},
                                 {"oldest_file", "tavok_2"},
                                 {"oldest_expires", json["oldest_expires"]},
                                 {"free_bytes", json["free_bytes"]},
                                 {"disk_bytes", json["disk_bytes"]}};
  EXPECT_EQ(expected, json);  // in this order, too
  EXPECT_NEAR(double(before), json["since"].get<double>(), 3);
  EXPECT_NEAR(double(before) + 7200, json["oldest_expires"].get<double>(), 3);
  EXPECT_GT(json["memory_bytes"], 1000000U);
  EXPECT_GT(json["disk_bytes"], json["free_bytes"]);
}

TEST(Status, FitsOnAScreen) {
  const TempDir dir;
  const Daemon daemon(dir, "MaxFileSize=3\nMaxSize=5\n");
  ASSERT_TRUE(daemon.IsUp());
  WriteFile(dir / "log/tavok_1", std::string(50, 'x'));
  const std::string text =
      Expect(dir, "status -c conf", 0, "tavok is running: pid " + daemon.Pid());
  for (const std::string line :
       {", 0 bytes of 3.0 MiB (0 %)", "1, 50 bytes of 5.0 MiB", "tavok_1, expires 2"}) {
    EXPECT_NE(text.npos, text.find(line)) << text;
  }
  EXPECT_LE(std::count(text.begin(), text.end(), '\n'), 24);
  EXPECT_EQ(text.npos, text.find('\033'));
}

TEST(Status, AlarmsWhenReceptionHasEnded) {
  const TempDir dir;
  const Daemon daemon(dir);
  ASSERT_TRUE(daemon.IsUp());
  Sender(dir / "socket").Send("");  // an empty datagram ends it; the queue then fills
  EXPECT_TRUE(daemon.Says("Error 104"));
  EXPECT_TRUE(Eventually([&] { return Json(dir)["threads"] == 2 + kExtraThreads; }));
  Expect(dir, "status -c conf", 0, kAlarm);
  Sender(dir / "socket").Send("12345");
  EXPECT_EQ(5, Json(dir)["queue_bytes"]);
}

TEST(Status, CountsWhatAUdpSocketDrops) {
  const TempDir dir;
  const HeldPort port;
  Daemon daemon(dir, "Port=" + port.Number() + "\nBindingAddress=127.0.0.2\nExternalRotation=1\n");
  ASSERT_TRUE(daemon.IsUp());
  const ordered_json idle = Json(dir);
  EXPECT_EQ("UDP 127.0.0.2 port " + port.Number(), idle["listens_on"]);
  EXPECT_EQ(0, idle["dropped_datagrams"]);
  EXPECT_EQ(2, idle["threads_expected"]);
  daemon.Signal(SIGSTOP);
  EXPECT_TRUE(Eventually([&] {
    return ReadFile("/proc/" + daemon.Pid() + "/stat").find(") T ") != std::string::npos;
  }));
  for (int i = 0; i < 1000; ++i) port.SendTo("127.0.0.2", std::string(1000, 'x'));
  const ordered_json full = Json(dir);
  const auto dropped = full["dropped_datagrams"].get<std::size_t>();
  EXPECT_GT(full["queue_bytes"], 60000);
  EXPECT_EQ(131072, full["queue_limit_bytes"]);  // the kernel doubles the requested size
  daemon.Signal(SIGCONT);
  EXPECT_TRUE(Eventually([&] { return dropped + Logged(dir).size() / 1000 == 1000; }));
}

TEST(Status, SaysWhatItCannotKnow) {
  const TempDir dir;
  WriteFile(dir / "port", "[LogServer]\nPort=65536\nPidFileName=no\n");
  Expect(dir, "status -c port", 1, "the kernel has chosen its port");
  std::filesystem::create_symlink("loop", dir / "loop");
  WriteFile(dir / "unknown", "[LogServer]\nDirName=loop\nPidFileName=loop\n");
  const std::string unknown =
      Expect(dir, "status -c unknown", 1, "cannot tell whether tavok is running");
  EXPECT_EQ(unknown.npos, unknown.find("there is no"));
}

TEST(Status, NamesWhatIsMissing) {
  const TempDir dir;
  const std::string log = dir / "no\"\t\\t";
  WriteFile(dir / "conf",
            "[LogServer]\nDirName=" + log + "\nPort=/no\nPidFileName=" + (dir / "pid"));
  const std::string text = Expect(dir, "status -c conf", 1, "there is no " + log + "/tmp.tavok");
  EXPECT_NE(text.npos, text.find("No such file or directory")) << text;
  const ordered_json json = Json(dir);
  EXPECT_EQ(false, json["running"]);
  EXPECT_EQ("there is no pid file " + (dir / "pid"), json["reason"]);
  EXPECT_EQ(log + "/tmp.tavok", json["current_file"]);
}

TEST(Status, JsonReplacesBytesThatAreNotUtf8) {
  const TempDir dir;
  WriteFile(dir / "conf", "[LogServer]\nDirName=/\xFF\xC3\xA9\xC3\nPidFileName=no\n");
  const ordered_json json = Json(dir);
  ASSERT_FALSE(json.is_discarded());
  EXPECT_EQ("/\uFFFD\u00E9\uFFFD/tmp.tavok", json["current_file"]);
}
