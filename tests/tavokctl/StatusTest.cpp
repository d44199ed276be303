#include <sys/resource.h>

#include <nlohmann/json.hpp>

#include "RunningTavok.h"

using nlohmann::ordered_json;

namespace {

#ifdef __SANITIZE_THREAD__
constexpr int kExtraThreads = 1;  // the sanitizer's own
#else
constexpr int kExtraThreads = 0;
#endif

// What `tavokctl status --json` prints; discarded if it is not valid JSON.
ordered_json Json(const TempDir& dir) {
  Ctl status(dir, "status --json -c conf");
  (void)status.Status();
  return ordered_json::parse(status.Out(), nullptr, false);
}

// The processor time of all children that have been waited for. It does not grow while others use
// the processors.
double SecondsOfChildren() {
  rusage usage{};
  ::getrusage(RUSAGE_CHILDREN, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
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
                                 {"health", "ok"},
                                 {"problems", ordered_json::array()},
                                 {"pid", std::stoi(m_daemon.Pid())},
                                 {"since", json["since"]},
                                 {"held_by", nullptr},
                                 {"memory_bytes", json["memory_bytes"]},
                                 {"peak_memory_bytes", json["peak_memory_bytes"]},
                                 {"threads", 3 + kExtraThreads},
                                 {"threads_expected", 3 + kExtraThreads},
                                 {"configuration", "conf"},
                                 {"listens_on", m_dir / "socket"},
                                 {"queue_bytes", 0},
                                 {"dropped_datagrams", 0},
                                 {"current_file", m_dir / "log/tmp.tavok"},
                                 {"current_bytes", 5},
                                 {"last_write", json["last_write"]},
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
  EXPECT_NEAR(double(before), json["last_write"].get<double>(), 100);
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

TEST_F(StatusOfRunning, IsColouredOnATerminalThatCanDoIt) {
  const std::string green = "\033[32mtavok is running", red = "\033[1;31mtavok is running",
                    plain = "tavok is running";
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"-u NO_COLOR TERM=xterm", green, red},
      {"TERM=xterm NO_COLOR=1", plain, plain},
      {"-u NO_COLOR TERM=dumb", plain, plain}};
  for (const bool isFailing : {false, true}) {
    if (isFailing) std::filesystem::remove(m_dir / "log/tmp.tavok");
    for (const auto& [variable, well, failing] : cases) {
      Ctl script(m_dir, "'" TAVOK_DIRECTORY "/tavokctl status -c conf' /dev/null </dev/null",
                 "script", "env " + variable + " script -qec");
      EXPECT_EQ(isFailing ? 3 : 0, script.Status());
      EXPECT_TRUE(script.Out().starts_with(isFailing ? failing : well)) << script.Out();
    }
  }
}

TEST(Status, CountsWhatAUdpSocketHolds) {
  const std::string port = std::to_string(FreePort());
  const UpDaemon daemon("Port=" + port + "\nBindingAddress=127.0.0.1\nExternalRotation=1\n");
  const ordered_json idle = Json(daemon);
  EXPECT_EQ(ordered_json("UDP 127.0.0.1 port " + port), idle["listens_on"]);
  EXPECT_EQ(0, idle["dropped_datagrams"]);
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

// It takes 40 ms on two processors of 2.3 GHz; a search that is quadratic would take minutes.
TEST_F(StatusOfRunning, IsQuickWithManyFiles) {
  for (int i = 0; i < 20'000; ++i) WriteFile(m_dir / ("log/tavok_" + std::to_string(i)), "");
  double least = 100;
  for (int i = 0; i < 5; ++i) {
    const double before = SecondsOfChildren();
    Expect(m_dir, "status -c conf", 0, "rotated files  20000, 0 bytes");
    least = std::min(least, SecondsOfChildren() - before);
  }
  EXPECT_LT(least, kSanitized ? 2 : 0.2 * Patience());
}

TEST(Status, SaysWhatItCannotKnowAndWhatIsMissing) {
  const TempDir dir;
  std::filesystem::create_symlink("loop", dir / "loop");
  WriteFile(dir / "unknown", "[LogServer]\nDirName=loop\nPidFileName=loop\n");
  const std::string unknown =
      Expect(dir, "status -c unknown", 4, "cannot tell whether tavok is running: look at loop");
  EXPECT_EQ(unknown.npos, unknown.find("there is no"));
  const std::string log = dir / "no\"\t\\t\xFF\xC3\xA9\xC3";
  WriteFile(dir / "conf",
            "[LogServer]\nDirName=" + log + "\nPort=/no\nPidFileName=" + (dir / "pid"));
  const std::string text = Expect(dir, "status -c conf", 1, "there is no " + log + "/tmp.tavok");
  EXPECT_NE(text.npos, text.find("No such file or directory")) << text;
  const ordered_json json = Json(dir);  // replaces bytes that are not UTF-8
  EXPECT_EQ(false, json["running"]);
  EXPECT_EQ("stopped", json["health"]);
  EXPECT_EQ(ordered_json("there is no pid file " + (dir / "pid")), json["reason"]);
  EXPECT_EQ(ordered_json(dir / "no\"\t\\t\uFFFD\u00E9\uFFFD/tmp.tavok"), json["current_file"]);
  WriteFile(dir / "conf", "[Other]\n");
  const ordered_json none = Json(dir);
  EXPECT_EQ(ordered_json(), none["running"]);
  EXPECT_EQ("unknown", none["health"]);
  EXPECT_EQ("read conf: no section [LogServer]", none["reason"]);
  EXPECT_EQ("", Expect(dir, "status -c conf -p", 4, ""));
}

TEST_F(StatusOfRunning, IsWrittenToAFileInOneStep) {
  WriteFile(m_dir / "metrics", "old");
  const int old = ::open((m_dir / "metrics").c_str(), O_RDONLY | O_CLOEXEC);
  Expect(m_dir, "status -c conf --prometheus --output metrics", 0, "");
  EXPECT_TRUE(ReadFile(m_dir / "metrics").starts_with("# HELP tavok_up "));
  char text[4] = "";
  EXPECT_EQ(3, ::read(old, text, sizeof text));  // a reader keeps what it has opened
  ::close(old);
  for (const std::string file : {"/dev/null", "log"}) {
    Expect(m_dir, "status -c conf -o " + file, 4, "write " + file + ": ");
  }
  EXPECT_EQ(0,
            std::system(("cd " + m_dir.Path() + " && ! ls metrics.* log.* 2>/dev/null").c_str()));
  Expect(m_dir, "status -c conf -p -o no/metrics", 4, "write no/metrics: No such file");
  Expect(m_dir, "status -c conf -p -j", 2, "exclude each other");
}
