#include <sys/mount.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <nlohmann/json.hpp>
#include <thread>

#include "RunningTavok.h"

namespace {

using Ids = std::vector<std::string>;

// Expects that each form of the report tells the health and the problems, by its text and by the
// exit status.
void ExpectHealth(const TempDir& dir, const std::string& health, const Ids& problems,
                  const std::string& program = TAVOK_DIRECTORY "/tavokctl") {
  const int status = health == "ok" ? 0 : health == "failing" ? 3 : 4;
  const auto run = [&](const std::string& form) {
    Ctl ctl(dir, "status -c conf " + form, "ctl", program);
    EXPECT_EQ(status, ctl.Status()) << form << ctl.All();
    return ctl.Out();
  };
  const auto report = nlohmann::json::parse(run("--json"), nullptr, false);
  EXPECT_EQ(true, report["running"]) << report;
  EXPECT_EQ(nlohmann::json(health), report["health"]) << report;
  EXPECT_EQ(nlohmann::json(problems), report["problems"]) << report;
  const std::string text = run(""), metrics = run("--prometheus");
  for (const std::string& id : problems) {
    EXPECT_NE(text.npos, text.find(id + ": ")) << text;
    EXPECT_NE(text.npos, metrics.find("{problem=\"" + id + "\"} 1\n")) << metrics;
  }
  EXPECT_EQ(problems.empty(), metrics.find("\"} 1\n") == text.npos) << metrics;
  const auto told = std::count(metrics.begin(), metrics.end(), '{');
  EXPECT_TRUE(health != "ok" || told == 11) << metrics;
  EXPECT_EQ(health == "unknown", metrics.find("\ntavok_healthy ") == text.npos) << metrics;
  const Ids others = {"writes-failing",    "disk-full",     "datagrams-dropped",
                      "process-suspended", "socket-unheld", "configuration-changed"};
  const bool isMendable = std::any_of(problems.begin(), problems.end(), [&](const std::string& id) {
    return std::find(others.begin(), others.end(), id) == others.end();
  });
  Ctl live(dir, "status -c conf --live", "ctl", program);
  EXPECT_EQ(isMendable ? 3 : 0, live.Status()) << live.All();
}

using HealthOfRunning = RunningTavok;

}  // namespace

TEST_F(HealthOfRunning, TellsThatReceptionHasEndedWhateverTheConfigurationSays) {
  ExpectHealth(m_dir, "ok", {});
  Sender(m_dir / "socket").Send("");
  EXPECT_TRUE(m_daemon.Says("Error 104"));
  ExpectHealth(m_dir, "failing", {"reception-ended"});
  Nap(30);  // the start of a process is known to a hundredth of a second
  WriteFile(m_dir / "conf", ReadFile(m_dir / "conf") + "ExternalRotation=1\n");
  ExpectHealth(m_dir, "failing", {"reception-ended", "configuration-changed"});
}

TEST_F(HealthOfRunning, TellsWhereTheTextGoes) {
  const std::string current = m_dir / "log/tmp.tavok";
  std::filesystem::rename(current, m_dir / "elsewhere");
  ExpectHealth(m_dir, "failing", {"current-file-missing"});
  WriteFile(current, "");
  ExpectHealth(m_dir, "failing", {"current-file-replaced"});
  std::filesystem::remove(current);
  m_daemon.Signal(SIGHUP);
  EXPECT_TRUE(m_daemon.Says("file system error:2"));
  ExpectHealth(m_dir, "failing", {"no-open-file", "current-file-missing"});
  WriteFile(current, "");
  ExpectHealth(m_dir, "failing", {"no-open-file"});
  m_daemon.Signal(SIGHUP);
  EXPECT_TRUE(Eventually([&] { return LogFiles(m_dir).size() == 2; }));
  ExpectHealth(m_dir, "ok", {});
}

TEST_F(HealthOfRunning, TellsWhereItsSocketIs) {
  std::filesystem::rename(m_dir / "socket", m_dir / "moved");
  ExpectHealth(m_dir, "failing", {"socket-replaced"});
  {
    const Collector other(m_dir / "socket");
    ExpectHealth(m_dir, "failing", {"socket-replaced"});
  }
  std::filesystem::rename(m_dir / "moved", m_dir / "socket");
  ExpectHealth(m_dir, "ok", {});
}

// The kernel takes no more than 108 bytes of it.
TEST_F(HealthOfRunning, WithAPathThatIsTooLong) {
  const TempDir dir;
  const Daemon daemon(dir, "Port=" + (dir / std::string(120, 's')) + "\n");
  ASSERT_TRUE(daemon.IsUp());
  ExpectHealth(dir, "ok", {});
}

// It is told of the tavok that runs, not of one with these settings.
TEST_F(HealthOfRunning, OfAnEditedConfigurationIsThatOfTheProcess) {
  Nap(30);
  WriteFile(m_dir / "conf", "[LogServer]\nPidFileName=" + (m_dir / "pid") +
                                "\nDirName=" + (m_dir / "other") + "\nPort=1\n");
  ExpectHealth(m_dir, "ok", {"configuration-changed"});
  Expect(m_dir, "status -c conf", 0, m_dir / "log/tmp.tavok");
  Expect(m_dir, "rotate -c conf", 0, "tavok has rotated");
  EXPECT_EQ(2U, LogFiles(m_dir).size());
}

// Of which the pid file and the socket are the same.
TEST_F(HealthOfRunning, IsNotToldByAnotherConfiguration) {
  Nap(30);
  WriteFile(m_dir / "other", ReadFile(m_dir / "conf") + "DirName=" + (m_dir / "other.log") + "\n");
  Expect(m_dir, "status -c other", 4, "it was started with another configuration, conf: look at");
}

// Its file may be moved away before the next version takes its place.
TEST(Health, OfAProgramThatWasRenamed) {
  const TempDir dir;
  std::filesystem::copy(TAVOK_DIRECTORY "/tavok", dir / "tavok");
  const Daemon daemon(dir, TavokSetup{.program = dir / "tavok"});
  ASSERT_TRUE(daemon.IsUp());
  std::filesystem::rename(dir / "tavok", dir / "tavok.old");
  ExpectHealth(dir, "ok", {});
}

TEST_F(HealthOfRunning, IsFoundWithoutAPidFile) {
  std::filesystem::remove(m_dir / "pid");
  ExpectHealth(m_dir, "ok", {});
  Expect(m_dir, "status -c conf", 0, "there is no pid file " + (m_dir / "pid") + "; it was found");
  Expect(m_dir, "rotate -c conf", 0, "tavok has rotated");
  Expect(m_dir, "stop -c conf", 0, "tavok has stopped: pid " + m_daemon.Pid());
}

TEST(Health, IsWholeOverUdp) {
  const UpDaemon daemon("Port=" + std::to_string(FreePort()) + "\n");
  ExpectHealth(daemon, "ok", {});
}

TEST_F(HealthOfRunning, OfASuspendedProcessAndOfDroppedDatagrams) {
  m_daemon.Pause();
  ExpectHealth(m_dir, "failing", {"process-suspended"});
  m_daemon.Signal(SIGCONT);

  const std::string port = std::to_string(FreePort());
  const UpDaemon udp("Port=" + port + "\n");
  udp.Pause();
  const Sender sender(port);
  for (int i = 0; i < 1000; ++i) sender.Send(std::string(1000, 'x'));
  udp.Signal(SIGCONT);
  ExpectHealth(udp, "failing", {"datagrams-dropped"});
}

TEST(Health, OfAFullFileSystem) {
  const TempDir dir;
  const std::string log = dir / "log";
  std::filesystem::create_directory(log);
  if (::mount("tmpfs", log.c_str(), "tmpfs", 0, "size=1m") != 0) GTEST_SKIP() << "may not mount";
  const std::unique_ptr<const char, int (*)(const char*)> mounted(log.c_str(), ::umount);
  const Daemon daemon(dir);
  ASSERT_TRUE(daemon.IsUp());
  ExpectHealth(dir, "ok", {});
  WriteFile(log + "/filler", std::string(2 << 20, 'f'));
  ExpectHealth(dir, "failing", {"disk-full"});
  const Sender sender(dir / "socket");
  sender.Send(std::string(1000, 'l'));
  EXPECT_TRUE(daemon.Says("flush failed Error:28"));
  ExpectHealth(dir, "failing", {"writes-failing", "disk-full"});
  std::filesystem::remove(log + "/filler");
  ExpectHealth(dir, "failing", {"writes-failing"});
  sender.Send("stored");
  EXPECT_TRUE(daemon.Says("flush works again"));
  ExpectHealth(dir, "ok", {});
}

TEST_F(HealthOfRunning, IsNotDisturbedByRotations) {
  std::atomic<bool> isOver = false;
  std::jthread rotations([&] {
    while (!isOver) {
      m_daemon.Signal(SIGHUP);
      Nap(20);
    }
  });
  for (int i = 0; i < 100; ++i) Expect(m_dir, "status -c conf", 0, "");
  isOver = true;
}

// Another user sees that it runs, but not what it has open.
TEST_F(HealthOfRunning, IsUnknownToWhomTheDescriptorsAreHidden) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a second user";
  for (const std::string path : {"", "log"}) {
    std::filesystem::permissions(m_dir / path, std::filesystem::perms(0755));
  }
  std::filesystem::copy_file(TAVOK_DIRECTORY "/tavokctl", m_dir / "tavokctl");
  const std::string nobody = "setpriv --reuid=65534 --regid=65534 --clear-groups ./tavokctl";
  ExpectHealth(m_dir, "unknown", {}, nobody);
  const std::string current = m_dir / "log/tmp.tavok", conf = ReadFile(m_dir / "conf");
  std::filesystem::rename(current, m_dir / "moved");
  ExpectHealth(m_dir, "failing", {"current-file-missing"}, nobody);
  std::filesystem::rename(m_dir / "moved", current);
  Nap(30);  // the start of a process is known to a hundredth of a second
  WriteFile(m_dir / "conf", conf + "DirName=/no\nPort=/no/socket\n");
  ExpectHealth(m_dir, "unknown", {"configuration-changed"}, nobody);
  WriteFile(m_dir / "conf", conf);
  std::filesystem::remove(m_dir / "pid");
  Ctl status(m_dir, "status -c conf --json", "ctl", nobody);
  EXPECT_EQ(4, status.Status());
  EXPECT_TRUE(status.Says("\"running\": null")) << status.All();
}
