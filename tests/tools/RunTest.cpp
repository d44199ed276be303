#include <sys/prctl.h>

#include "Ctl.h"

namespace {

// A tavokctl with something else in the place of tavok, which first tells its arguments.
class Fake {
 public:
  Fake(const TempDir& dir, const std::string& script) : m_dir(dir) {
    std::filesystem::copy_file(TAVOK_DIRECTORY "/tavokctl", dir / "tavokctl",
                               std::filesystem::copy_options::overwrite_existing);
    WriteFile(dir / "tavok", "#!/bin/sh\necho $* >&2\n" + script + "\n");
    std::filesystem::permissions(dir / "tavok", std::filesystem::perms::owner_all);
    WriteFile(dir / "conf", "[LogServer]\nDirName=no/log\nPidFileName=" + (dir / "pid") + "\n");
  }
  Ctl Start(const std::string& words) const {
    return Ctl(m_dir, "start -c conf " + words, "fake", "./tavokctl");
  }

 private:
  const TempDir& m_dir;
};

// Whether the semaphore set of the last -s in the text still exists.
bool HasSemaphore(const std::string& text) {
  const int id = std::stoi(text.substr(text.rfind("-s ") + 3));
  return ::semctl(id, 0, GETVAL) != -1;
}

// A process that is no tavok, whatever its pid file says.
class Stranger {
 public:
  // Its name is tavok, but its program is another.
  explicit Stranger(const TempDir& dir) {
    std::filesystem::create_directory(dir / "stranger");
    std::filesystem::create_symlink("/bin/sleep", dir / "stranger/tavok");
    const std::string program = dir / "stranger/tavok";
    if ((m_pid = ::fork()) == 0) ::execl(program.c_str(), "sleep", "100", nullptr), ::_exit(127);
    EXPECT_TRUE(Eventually([this] { return ReadFile("/proc/" + Pid() + "/comm") == "tavok\n"; }));
  }
  ~Stranger() {
    EXPECT_EQ(0, ::waitpid(m_pid, nullptr, WNOHANG)) << "it has been harmed";
    ::kill(m_pid, SIGKILL), ::waitpid(m_pid, nullptr, 0);
  }
  std::string Pid() const { return std::to_string(m_pid); }

 private:
  pid_t m_pid;
};

}  // namespace

TEST(Ctl, StartsRotatesAndStops) {
  // What is started in the background becomes this process's child.
  ::prctl(PR_SET_CHILD_SUBREAPER, 1);
  const TempDir dir;
  WriteFile(dir / "conf", "[LogServer]\nDirName=log\nPidFileName=pid\nPort=socket\n");
  const std::string said = Expect(dir, "start -c conf 9>lock <&- ", 0, "tavok is up: pid ");
  const std::string pid = ReadFile(dir / "pid");
  EXPECT_NE(said.npos, said.find("pid " + pid + ", "));
  std::string arguments = ReadFile("/proc/" + pid + "/cmdline");
  std::replace(arguments.begin(), arguments.end(), '\0', ' ');
  EXPECT_FALSE(HasSemaphore(arguments)) << arguments;
  EXPECT_EQ(std::stoi(pid), ::getsid(std::stoi(pid)));
  EXPECT_EQ("/dev/null", std::filesystem::read_symlink("/proc/" + pid + "/fd/1"));
  EXPECT_FALSE(std::filesystem::is_symlink("/proc/" + pid + "/fd/9"));  // a script's lock

  // Each of several at once gets a file of its own.
  for (int round = 0; round < 2; ++round) {
    Sender(dir / "socket").Send(std::to_string(round));
    EXPECT_TRUE(Eventually([&] { return Logged(dir).size() == size_t(round + 1); }));
    Ctl first(dir, "rotate -c conf", "first"), second(dir, "rotate -c conf", "second");
    EXPECT_EQ(0, first.Status() + second.Status()) << first.Err() << second.Err();
    EXPECT_NE(first.Out(), second.Out());
    EXPECT_TRUE(first.Out().starts_with("tavok has rotated: tavok_2"));
  }
  EXPECT_EQ(5U, LogFiles(dir).size());
  EXPECT_EQ("01", Logged(dir));

  Expect(dir, "stop -c conf", 0, "tavok has stopped: pid " + pid);
  int status = -1;
  EXPECT_EQ(std::stoi(pid), ::waitpid(std::stoi(pid), &status, WNOHANG));
  EXPECT_EQ(0, status);
}

TEST(Ctl, StartTellsWhyTavokDidNotComeUp) {
  const TempDir dir;
  const std::string lines = "for i in 1 2 3 4 5 6 7 8 9 a b c; do echo line $i >&2; done; ";
  const std::tuple<std::string, std::string, std::string> cases[] = {
      // script, words, text
      {"exit 7", "", "start tavok: it ended with status 7; it said:\n-c conf -s "},
      {lines + "exit 1", "", "it said:\nline 3\nline 4"},
      {"for i in 1 2 3 4 5 6; do printf '%9999d\\n' $i; done >&2; exit 1", "", " 6\n"},
      {"kill -KILL $$", "-- -p 1 -c x",
       "it was ended by signal 9; it said:\n-p 1 -c x -c conf -s "},
      {"exec 2>&-; exec sleep 100", "-t 1", "not up after 1 s"},
      {"trap '' TERM; while :; do sleep 0.1; done", "-t 1", "not up after 1 s"},
  };
  for (const auto& [script, words, text] : cases) {
    const Fake fake(dir, script + "; #$*");
    Ctl start = fake.Start(words);
    EXPECT_EQ(1, start.Status());
    EXPECT_NE(text.npos, start.Err().find(text)) << start.Err();
    EXPECT_TRUE(script.starts_with("for") || !HasSemaphore(start.Err())) << start.Err();
  }
  const Fake hanging(dir, "printf $$ >child; exec sleep 100");
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    WriteFile(dir / "child", "");
    Ctl start = hanging.Start("");
    EXPECT_TRUE(Eventually([&] { return !ReadFile(dir / "child").empty(); }));
    Expect(dir, "start -t 1 -c conf", 1, "lock conf: another process holds it");
    EXPECT_EQ(1, start.End(signal));
    EXPECT_NE(std::string::npos, start.Err().find("interrupted"));
    EXPECT_FALSE(std::filesystem::exists("/proc/" + ReadFile(dir / "child")));
  }

  Expect(dir, "start -c conf", 1, "failed to create directory");
  const Fake sbin(dir, "exit 7");
  std::filesystem::create_directory(dir / "sbin");
  std::filesystem::create_directory(dir / "bin");
  std::filesystem::rename(dir / "tavok", dir / "sbin/tavok");
  EXPECT_EQ(1, sbin.Start("").Status());
  std::filesystem::rename(dir / "tavokctl", dir / "bin/tavokctl");
  Ctl found(dir, "start -c conf", "found", "bin/tavokctl");
  EXPECT_TRUE(found.Says("it ended with status 7"));
}

TEST(Ctl, BelievesNoPidFile) {
  const TempDir dir;
  const Stranger stranger(dir);
  const Fake fake(dir, "ls pid; exit 7");
  const std::string other =
      "process " + stranger.Pid() + ", named in " + (dir / "pid") + ", is no tavok but sleep";
  const std::tuple<std::string, std::string, bool> cases[] = {
      // content, reason, is it refused

      {"", "there is no pid file", false},
      {stranger.Pid(), other, false},
      {"4194305\n", "process 4194305, named in " + (dir / "pid") + ", does not exist", false},
      {"0", "is no process id", true},
      {"-5", "is no process id", true},
      {" ", "is no process id", true},
      {"99999999999", "is no process id", true},
      {"12 monkeys", "is no process id", true}};
  for (const auto& [content, why, isRefused] : cases) {
    WriteFile(dir / "pid", content);
    for (const std::string command : {"stop", "rotate"}) {
      Expect(dir, command + " -c conf", 1, command + ": find tavok: ");
      Expect(dir, command + " -c conf", 1, why);
    }
    Expect(dir, "status -c conf", 1, "tavok is not running: ");
    Ctl start = fake.Start("");
    EXPECT_EQ(1, start.Status());
    const std::string text = isRefused ? "there is something else in it" : "it ended with status 7";
    EXPECT_NE(text.npos, start.Err().find(text)) << content << start.Err();
    EXPECT_EQ(isRefused || content.empty(), std::filesystem::exists(dir / "pid")) << content;
  }
}

TEST(Ctl, TakesOverFromARunningTavok) {
  const TempDir dir;
  std::filesystem::copy_file(TAVOK_DIRECTORY "/tavok", dir / "tavok");
  Daemon daemon(dir, "", "", "env PATH=.");
  ASSERT_TRUE(daemon.IsUp());
  std::filesystem::remove(dir / "tavok");  // as an upgrade does
  Expect(dir, "start -c conf", 0, "killed previous daemon. pid=" + daemon.Pid());
  EXPECT_EQ(0, daemon.Exit());
  Expect(dir, "stop -c conf", 0, "tavok has stopped");
}

TEST(Ctl, GivesUpWhenTavokDoesNothing) {
  const TempDir dir;
  Daemon daemon(dir);
  ASSERT_TRUE(daemon.IsUp());
  daemon.Signal(SIGSTOP);
  Expect(dir, "rotate -t 1 -c conf", 1, "no new file after 1 s; the system log may tell why");
  Expect(dir, "stop -t 1 -c conf", 1, "still running after 1 s");
  Ctl rotate(dir, "rotate -c conf");
  EXPECT_TRUE(rotate.Waits(dir / "log"));
  daemon.Signal(SIGKILL);
  EXPECT_EQ(1, rotate.Status());
  EXPECT_TRUE(rotate.Says("tavok has ended"));
  Expect(dir, "status -c conf", 1, "does not exist");  // nobody has waited for it yet
  EXPECT_EQ(128 + SIGKILL, daemon.Exit());
}

TEST(Ctl, RotateWantsACurrentFile) {
  const TempDir dir;
  const Daemon daemon(dir);
  ASSERT_TRUE(daemon.IsUp());
  std::filesystem::remove(dir / "log/tmp.tavok");
  Expect(dir, "rotate -c conf", 1,
         "there is no tmp.tavok; after a failed rotation, create an empty one first");
  EXPECT_TRUE(LogFiles(dir).empty());
}
