#include <nlohmann/json.hpp>

#include "RunningTavok.h"

using nlohmann::ordered_json;

namespace {

#ifdef __SANITIZE_THREAD__
constexpr int kExtraThreads = 1;  // the sanitizer's own, which hides that one is missing
constexpr const char* kReceptionHasEnded = "";
#else
constexpr int kExtraThreads = 0;
constexpr const char* kReceptionHasEnded = "2 of 3: reception has ended; restart tavok";
#endif

// What `tavokctl status --json` prints; discarded if it is not valid JSON.
ordered_json Json(const TempDir& dir) {
  Ctl status(dir, "status --json -c conf");
  (void)status.Status();
  return ordered_json::parse(status.Out(), nullptr, false);
}

using StatusOfRunning = RunningTavok;

}  // namespace

TEST_F(StatusOfRunning, HasOneMemberForEachFactAndFitsOnAScreen) {
  const std::time_t before = std::time(nullptr);
  WriteFile(m_dir / "log/tavok_2", std::string(20, 'x'));
  AwaitNextSecond();  // tavok_2 is the older one, whatever the order of the names
  WriteFile(m_dir / "log/tavok_1", std::string(30, 'x'));
  Sender(m_dir / "socket").Send("hello");
  EXPECT_TRUE(Eventually([&] { return ReadFile(m_dir / "log/tmp.tavok") == "hello"; }));

  ordered_json json = Json(m_dir);
  const ordered_json expected = {{"running", true},
                                 {"pid", std::stoi(m_daemon.Pid())},
                                 {"since", json["since"]},
                                 {"memory_bytes", json["memory_bytes"]},
                                 {"peak_memory_bytes", json["peak_memory_bytes"]},
                                 {"threads", 3 + kExtraThreads},
                                 {"threads_expected", 3},
                                 {"configuration", "conf"},
                                 {"listens_on", m_dir / "socket"},
                                 {"queue_bytes", 0},
                                 {"dropped_datagrams", 0},
                                 {"current_file", m_dir / "log/tmp.tavok"},
                                 {"current_bytes", 5},
                                 {"current_limit_bytes", 50 << 20},
                                 {"rotated_files", 2},
                                 {"rotated_bytes", 50},
                                 {"rotated_limit_bytes", 2000 << 20},
                                 {"oldest_file", "tavok_2"},
                                 {"oldest_expires", json["oldest_expires"]},
                                 {"free_bytes", json["free_bytes"]},
                                 {"disk_bytes", json["disk_bytes"]}};
  EXPECT_EQ(expected, json);  // in this order, too
  EXPECT_NEAR(double(before), json["since"].get<double>(), 100);
  EXPECT_NEAR(double(before) + 24 * 3600, json["oldest_expires"].get<double>(), 100);
  EXPECT_GT(json["memory_bytes"], 1000000U);
  EXPECT_GT(json["disk_bytes"], json["free_bytes"]);

  const std::string text =
      Expect(m_dir, "status -c conf", 0, "tavok is running: pid " + m_daemon.Pid());
  for (const std::string line :
       {", 5 bytes of 50.0 MiB (0 %)", "2, 50 bytes of 2.0 GiB", "tavok_2, expires 2"}) {
    EXPECT_NE(text.npos, text.find(line)) << text;
  }
  EXPECT_LE(std::count(text.begin(), text.end(), '\n'), 24);
  EXPECT_EQ(text.npos, text.find('\033'));
}

TEST_F(StatusOfRunning, IsColouredOnATerminal) {
  std::filesystem::remove(m_dir / "log/tmp.tavok");
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"-u NO_COLOR", "\033[32mtavok is running", "current file   \033[1;31mthere is no"},
      {"NO_COLOR=1", "tavok is running", "current file   there is no"}};
  for (const auto& [variable, head, alarm] : cases) {
    Ctl script(m_dir, "'" TAVOK_DIRECTORY "/tavokctl status -c conf' /dev/null </dev/null",
               "script", "env " + variable + " script -qec");
    EXPECT_EQ(0, script.Status());
    EXPECT_TRUE(script.Out().starts_with(head)) << script.Out();
    EXPECT_NE(std::string::npos, script.Out().find(alarm)) << script.Out();
  }
}

TEST_F(StatusOfRunning, AlarmsWhenReceptionHasEnded) {
  Sender(m_dir / "socket").Send("");  // an empty datagram ends it; the queue then fills
  EXPECT_TRUE(m_daemon.Says("Error 104"));
  EXPECT_TRUE(Eventually([&] { return Json(m_dir)["threads"] == 2 + kExtraThreads; }));
  Expect(m_dir, "status -c conf", 0, kReceptionHasEnded);
  Sender(m_dir / "socket").Send("12345");
  EXPECT_EQ(5, Json(m_dir)["queue_bytes"]);
}

TEST(Status, CountsWhatAUdpSocketDrops) {
  const std::string port = std::to_string(FreePort());
  const UpDaemon daemon("Port=" + port + "\nBindingAddress=127.0.0.1\nExternalRotation=1\n");
  const ordered_json idle = Json(daemon);
  EXPECT_EQ("UDP 127.0.0.1 port " + port, idle["listens_on"]);
  EXPECT_EQ(0, idle["dropped_datagrams"]);
  EXPECT_EQ(2, idle["threads_expected"]);
  daemon.Pause();
  const Sender sender(port);
  for (int i = 0; i < 1000; ++i) sender.Send(std::string(1000, 'x'));
  const ordered_json full = Json(daemon);
  const auto dropped = full["dropped_datagrams"].get<std::size_t>();
  EXPECT_GT(full["queue_bytes"], 60000);
  EXPECT_EQ(131072, full["queue_limit_bytes"]);  // the kernel doubles the requested size
  daemon.Signal(SIGCONT);
  EXPECT_TRUE(Eventually([&] { return dropped + Logged(daemon).size() / 1000 == 1000; }));
}

TEST(Status, SaysWhatItCannotKnowAndWhatIsMissing) {
  const TempDir dir;
  WriteFile(dir / "port", "[LogServer]\nPort=65536\nPidFileName=no\n");
  Expect(dir, "status -c port", 1, "the kernel has chosen its port");
  std::filesystem::create_symlink("loop", dir / "loop");
  WriteFile(dir / "unknown", "[LogServer]\nDirName=loop\nPidFileName=loop\n");
  const std::string unknown =
      Expect(dir, "status -c unknown", 1, "cannot tell whether tavok is running");
  EXPECT_EQ(unknown.npos, unknown.find("there is no"));
  const std::string log = dir / "no\"\t\\t\xFF\xC3\xA9\xC3";
  WriteFile(dir / "conf",
            "[LogServer]\nDirName=" + log + "\nPort=/no\nPidFileName=" + (dir / "pid"));
  const std::string text = Expect(dir, "status -c conf", 1, "there is no " + log + "/tmp.tavok");
  EXPECT_NE(text.npos, text.find("No such file or directory")) << text;
  const ordered_json json = Json(dir);  // replaces bytes that are not UTF-8
  EXPECT_EQ(false, json["running"]);
  EXPECT_EQ("there is no pid file " + (dir / "pid"), json["reason"]);
  EXPECT_EQ(dir / "no\"\t\\t\uFFFD\u00E9\uFFFD/tmp.tavok", json["current_file"]);
}
