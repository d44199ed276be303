#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/wait.h>

#include <memory>

#include "RunningTavok.h"

namespace {

// Holds the threads of a tavok, all but the first, as if a disk had not answered them.
class HeldThreads {
 public:
  explicit HeldThreads(const std::string& pid) {
    for (const auto& task : std::filesystem::directory_iterator("/proc/" + pid + "/task")) {
      const pid_t id = std::stoi(task.path().filename());
      if (id == std::stoi(pid) || ::ptrace(PTRACE_SEIZE, id, 0, 0) != 0) continue;
      (void)::ptrace(PTRACE_INTERRUPT, id, 0, 0);
      (void)::waitpid(id, nullptr, __WALL);
      m_ids.push_back(id);
    }
  }
  ~HeldThreads() {
    for (const pid_t id : m_ids) (void)::ptrace(PTRACE_DETACH, id, 0, 0);
  }

 private:
  std::vector<pid_t> m_ids;
};

using Rotate = RunningTavok;
using Stop = RunningTavok;

}  // namespace

TEST_F(Rotate, RequiresACurrentFileAndGivesEachOfSeveralAtOnceItsOwn) {
  for (int round = 0; round < 2; ++round) {
    Sender(m_dir / "socket").Send(std::to_string(round));
    EXPECT_TRUE(Eventually([&] { return Logged(m_dir).size() == size_t(round + 1); }));
    Ctl first(m_dir, "rotate -c conf", "first");
    Ctl second(m_dir, "rotate -c conf", "second");
    EXPECT_EQ(0, first.Status()) << first.Err();
    EXPECT_EQ(0, second.Status()) << second.Err();
    EXPECT_NE(first.Out(), second.Out());
    EXPECT_TRUE(first.Out().starts_with("tavok has rotated: tavok_2")) << first.Out();
  }
  EXPECT_EQ(5U, LogFiles(m_dir).size());
  EXPECT_EQ("01", Logged(m_dir));

  std::filesystem::remove(m_dir / "log/tmp.tavok");
  Expect(m_dir, "rotate -c conf", 1,
         "there is no tmp.tavok; after a failed rotation, create an empty one first");
  EXPECT_EQ(4U, LogFiles(m_dir).size());
}

// As after the clock has been set back.
TEST_F(Rotate, WaitsNoLongerThanItMayForFilesOfTheFuture) {
  for (int ahead = 0; ahead < 60; ++ahead) {
    const std::time_t then = std::time(nullptr) + ahead;
    char name[64];
    (void)std::strftime(name, sizeof name, "log/tavok_%Y%m%d_%H%M%S.log", std::gmtime(&then));
    WriteFile(m_dir / name, "");
  }
  const auto begin = std::chrono::steady_clock::now();
  Expect(m_dir, "rotate -t 1 -c conf", 1, "already, and has been for each of 1 s");
  EXPECT_LT(SecondsSince(begin), 5 * Patience());
}

TEST_F(Rotate, FailsWhenTavokMayNotRename) {
  const std::string log = m_dir / "log";
  if (::mount(log.c_str(), log.c_str(), "", MS_BIND, "") != 0) GTEST_SKIP() << "may not mount";
  const std::unique_ptr<const char, int (*)(const char*)> mounted(log.c_str(), ::umount);
  ASSERT_EQ(0, ::mount("", log.c_str(), "", MS_BIND | MS_REMOUNT | MS_RDONLY, ""));
  Expect(m_dir, "rotate -t 1 -c conf", 1, "no new file after 1 s; the system log may say why");
}

TEST_F(Stop, GivesUpWhenTavokHangs) {
  {
    const HeldThreads held(m_daemon.Pid());
    Expect(m_dir, "stop -t 1 -c conf", 1, "still running after 1 s");
  }
  EXPECT_EQ(0, m_daemon.Exit());
}

TEST_F(Stop, EndsASuspendedTavokToo) {
  m_daemon.Pause();
  Expect(m_dir, "rotate -t 1 -c conf", 1, "tavok is suspended, and rotates after SIGCONT");
  Expect(m_dir, "stop -c conf", 0, "tavok has stopped");
  EXPECT_EQ(0, m_daemon.Exit());
}

TEST_F(Rotate, SeesThatTavokEnds) {
  m_daemon.Pause();
  Ctl rotate(m_dir, "rotate -c conf");
  EXPECT_TRUE(rotate.Waits(m_dir / "pid.lock"));
  // A rotation that is half done is none.
  std::filesystem::rename(m_dir / "log/tmp.tavok", m_dir / "log/tavok_half");
  m_daemon.Signal(SIGKILL);
  EXPECT_EQ(1, rotate.Status());
  EXPECT_TRUE(rotate.Says("tavok has ended"));
  Expect(m_dir, "status -c conf", 1, "does not exist");  // a zombie: nobody has waited for it yet
  EXPECT_EQ(128 + SIGKILL, m_daemon.Exit());
}
