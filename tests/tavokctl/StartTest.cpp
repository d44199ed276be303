#include <sys/prctl.h>

#include "Fake.h"
#include "Flood.h"
#include "Manager.h"

namespace {

// Whether the text has an -s, and the semaphore set of the last one still exists.
bool HasSemaphore(const std::string& text) {
  const std::size_t at = text.rfind("-s ");
  return at != text.npos && ::semctl(std::stoi(text.substr(at + 3)), 0, GETVAL) != -1;
}

}  // namespace

TEST(Start, RunsTavokInASessionOfItsOwn) {
  // Orphans, such as a tavok started in the background, become children of this process.
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
  Expect(dir, "stop -c conf", 0, "tavok has stopped: pid " + pid);
  int status = -1;
  EXPECT_EQ(std::stoi(pid), ::waitpid(std::stoi(pid), &status, WNOHANG));
  EXPECT_EQ(0, status);
}

TEST(Start, SaysWhyTavokDidNotComeUp) {
  const TempDir dir;
  const std::string lines = "for i in 1 2 3 4 5 6 7 8 9 a b c; do echo line $i >&2; done; ";
  const std::tuple<std::string, std::string, std::string> cases[] = {
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
    EXPECT_NE(std::string::npos, start.Err().find(text)) << start.Err();
    EXPECT_FALSE(HasSemaphore(start.Err())) << start.Err();
  }
  Expect(dir, "start -c conf", 1, "failed to create directory");
}

TEST(Start, EndsTavokWhenItIsInterrupted) {
  const TempDir dir;
  const Fake hanging(dir, "printf $$ >child; exec sleep 100");
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    WriteFile(dir / "child", "");
    Ctl start = hanging.Start("");
    EXPECT_TRUE(Eventually([&] { return !ReadFile(dir / "child").empty(); }));
    Expect(dir, "start -t 1 -c conf", 1, "pid.lock: another process holds it");
    EXPECT_EQ(1, start.End(signal));
    EXPECT_NE(std::string::npos, start.Err().find("interrupted"));
    EXPECT_FALSE(std::filesystem::exists("/proc/" + ReadFile(dir / "child")));
  }
}

TEST(Start, IsNotHeldUpByAStrangersLock) {
  const TempDir dir;
  WriteFile(dir / "conf", "[LogServer]\nDirName=log\nPidFileName=pid\nPort=socket\n");
  WriteFile(dir / "pid.lock", "");  // which others may open
  const Process stranger(ShellWords("exec flock -F conf flock -F . flock -F pid.lock sleep 1000"),
                         {.directory = dir.Path()});
  EXPECT_TRUE(Eventually([&] { return ReadFile(stranger.Proc() + "/comm") == "sleep\n"; }));
  const auto begin = std::chrono::steady_clock::now();
  Expect(dir, "start -c conf", 0, "continuing without a lock: lock pid.lock: others may");
  Expect(dir, "rotate -c conf", 0, "tavok has rotated");
  Expect(dir, "stop -c conf", 0, "tavok has stopped");
  EXPECT_LT(SecondsSince(begin), 8 * Patience());
}

// What could not be found again, or would take another's socket, is not left behind.
TEST(Start, RequiresThatTheNewOneCanBeFoundAndReached) {
  const TempDir dir;
  const Collector alive(dir / "alive");
  ASSERT_EQ(0, ::setenv("LISTEN_FDS", "1", 1));  // meant for another process, such as the shell
  const std::pair<std::string, std::string> cases[] = {
      {"PidFileName=no/pid", "start tavok: write pid file no/pid: No such file or directory"},
      {"PidFileName=", "start tavok: PidFileName is empty: it could not be found"},
      {"PidFileName=socket", "start tavok: it could not be found again: read socket: it is not a"},
      {"Port=alive", "start tavok: Port alive is the socket of another program, which answers"},
      {"Port=no/socket",
       "conf:5: warning: Port no/socket cannot be bound: no: No such file or directory"},
      {"BindingAddress=1.2.3.4\nPort=" + std::to_string(FreePort()),
       "conf:5: warning: BindingAddress 1.2.3.4 cannot be bound"}};
  for (const auto& [line, text] : cases) {
    WriteFile(dir / "conf",
              "[LogServer]\nDirName=log\nPidFileName=pid\nPort=socket\n" + line + "\n");
    Expect(dir, "start -c conf", 1, text);
    for (const char* const left : {"pid", "socket", "pid.lock"}) {
      EXPECT_FALSE(std::filesystem::exists(dir / left)) << line << left;
    }
  }
  ::unsetenv("LISTEN_FDS");
}

// Nor is the one that runs stopped in vain, or the one of another configuration.
TEST(Start, LeavesTheRunningOneWhereTheNewOneCouldNotStart) {
  const UpDaemon daemon;
  const TempDir& dir = daemon;
  const Collector alive(dir / "alive");
  const std::string port = std::to_string(FreePort()), conf = ReadFile(dir / "conf");
  const int holder = BoundSocket(port);
  const std::pair<std::string, std::string> edits[] = {
      {"Port=" + (dir / "alive"), "is the socket of another program, which answers"},
      {"BindingAddress=127.0.0.1\nPort=" + port, "Address already in use"},
      {"DirName=no/log", "start tavok: write to DirName no/log: No such file or directory"}};
  for (const auto& [line, text] : edits) {
    WriteFile(dir / "conf", conf + line + "\n");
    Expect(dir, "restart -c conf", 1, text);
    Expect(dir, "check --strict -c conf", 1, "warning: ");
    EXPECT_FALSE(daemon.HasEnded()) << line;
  }
  ::close(holder);
  const std::string none = "PidFileName=" + (dir / "other.pid") + "\n",
                    elsewhere = "DirName=" + (dir / "elsewhere") + "\n";
  const std::tuple<std::string, std::string, std::string> others[] = {
      {none, "stop", "find tavok: there is no pid file"},
      {none, "start", "is in use by process " + daemon.Pid() + ", another tavok"},
      {none + elsewhere, "start", "is the socket of another program, which answers"},
      {none + elsewhere, "status", "tavok is not running: there is no pid file"},
      {elsewhere + "Port=other", "start", ", is the tavok of another configuration"},
      {elsewhere + "Port=other", "stop", ", is the tavok of another configuration"}};
  for (const auto& [lines, command, text] : others) {
    WriteFile(dir / "other", conf + lines + "\n");
    Expect(dir, command + " -c other", 1, text);
    EXPECT_FALSE(daemon.HasEnded()) << lines;
  }
  WriteFile(dir / "conf", conf);
}

TEST(Start, MayChangeTheAddressOfItsPortAndItsDirectory) {
  const std::string port = "Port=" + std::to_string(FreePort()) + "\n";
  UpDaemon daemon(port);
  WriteFile(daemon / "conf", ReadFile(daemon / "conf") + "BindingAddress=127.0.0.1\n");
  Ctl check(daemon, "check --strict -c conf");
  (void)check.Status();
  EXPECT_EQ(std::string::npos, check.Err().find("in use")) << check.Err();
  Expect(daemon, "restart -c conf", 0, "tavok is up");
  WriteFile(daemon / "conf", ReadFile(daemon / "conf") + "DirName=" + (daemon / "new/") + "\n");
  Expect(daemon, "restart -c conf", 0, "tavok is up");
  Expect(daemon, "stop -c conf", 0, "tavok has stopped");
  EXPECT_EQ(0, daemon.Exit());
}

TEST(Start, GoesOnWithoutAReaderAndWithSignalsIgnored) {
  const TempDir dir;
  WriteFile(dir / "conf", "[LogServer]\nDirName=log\nPidFileName=pid\nPort=socket\n");
  const std::string ctl = "'" TAVOK_DIRECTORY "/tavokctl' ";
  Ctl start(dir, "-c \"trap '' CHLD; " + ctl + "start -c conf && exec " + ctl + "restart -c conf\"",
            "ctl", "/bin/bash");
  EXPECT_EQ(0, start.Status()) << start.All();
  Ctl stop(dir, "-c 'exec 3> >(exit); wait $!; " + ctl + "stop -c conf >&3 2>&3'", "ctl",
           "/bin/bash");
  EXPECT_EQ(1, stop.Status());  // its output is lost
  Expect(dir, "status -c conf", 1, "tavok is not running");
}

TEST(Start, FindsTavokInSbin) {
  const TempDir dir;
  const Fake sbin(dir, "exit 7");
  std::filesystem::create_directory(dir / "sbin");
  std::filesystem::create_directory(dir / "bin");
  std::filesystem::rename(dir / "tavok", dir / "sbin/tavok");
  Ctl lost = sbin.Start("");
  EXPECT_EQ(1, lost.Status());
  EXPECT_TRUE(lost.Says("find the program tavok: neither in "));
  std::filesystem::rename(dir / "tavokctl", dir / "bin/tavokctl");
  const Ctl found(dir, "start -c conf", "found", "bin/tavokctl");
  EXPECT_TRUE(found.Says("it ended with status 7"));
}

TEST(Start, StopsARunningTavokInOrderAndHandsOverAtOnce) {
  for (const std::string command : {"start", "restart"}) {
    const TempDir dir;
    std::filesystem::copy_file(TAVOK_DIRECTORY "/tavok", dir / "tavok");
    Daemon daemon(dir, "", "", "env PATH=.");
    ASSERT_TRUE(daemon.IsUp());
    std::filesystem::remove(dir / "tavok");  // as an upgrade does
    Flood flood(dir / "socket", {});
    EXPECT_TRUE(flood.Goes(1000));
    const auto begin = std::chrono::steady_clock::now();
    Expect(dir, command + " -c conf", 0, "tavok has stopped: pid " + daemon.Pid());
    EXPECT_LT(SecondsSince(begin), 4 * Patience());  // a take-over takes five
    EXPECT_EQ(0, daemon.Exit());
    flood.HasReadAll();
    EXPECT_TRUE(flood.Goes(1000));
    Expect(dir, "stop -c conf", 0, "tavok has stopped");
    EXPECT_EQ("", NumberedFault(Logged(dir), flood.Stop()));
  }
}

TEST(Start, InTheForegroundBecomesTavok) {
  const TempDir dir;
  WriteFile(dir / "conf", "[LogServer]\nDirName=log\nPidFileName=pid\nPort=socket\n");
  Manager manager(dir);
  const TavokSetup setup = manager.Setup(1000);
  Process tavok(ShellWords("exec " + setup.prefix +
                           " " TAVOK_DIRECTORY "/tavokctl start --foreground -c conf -- -x"),
                {.directory = dir.Path(), .errors = dir / "errors", .passed = setup.passed});
  EXPECT_TRUE(manager.Told().Sees("READY=1"));
  EXPECT_EQ(tavok.Pid(), ReadFile(dir / "pid"));
  const Sender sender(dir / "socket");
  sender.Send("received");
  EXPECT_TRUE(Eventually([&] { return Logged(dir) == "received"; }));
  const std::string said = ReadFile(dir / "errors");
  EXPECT_EQ(said.npos, said.find("not used")) << said;
  EXPECT_EQ(0, tavok.Stop());
  sender.Send("the socket is the manager's");
}

TEST(Start, InTheForegroundSetsTheModeOfTheSocketAlone) {
  const TempDir dir;
  WriteFile(dir / "conf", "[LogServer]\nDirName=log\nPidFileName=pid\nPort=socket\n");
  Process tavok(ShellWords("umask 077; exec " TAVOK_DIRECTORY "/tavokctl start -fm 626 -c conf"),
                {.directory = dir.Path()});
  const auto modeOf = [&dir](const char* name) {
    struct stat status {};
    return ::stat((dir / name).c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
  };
  EXPECT_TRUE(Eventually([&] { return modeOf("socket") == 0626; }));
  EXPECT_EQ(0600, modeOf("log/tmp.tavok"));
  const std::string children = tavok.Proc() + "/task/" + tavok.Pid() + "/children";
  EXPECT_TRUE(Eventually([&] { return ReadFile(children).empty(); })) << "a zombie";
  EXPECT_EQ(0, tavok.Stop());
}

// As systemd runs it: the system log brings the messages to the journal a second time.
TEST(Start, InTheForegroundTavokIsSilentWhereItsErrorsGoToTheJournal) {
  const TempDir dir;
  WriteFile(dir / "conf", "[LogServer]\nDirName=log\nPidFileName=pid\nPort=no/socket\n");
  for (const bool isJournal : {false, true}) {
    std::filesystem::remove(dir / "pid");
    WriteFile(dir / "errors", "");
    const std::string stream = isJournal ? "$(stat -c %d:%i errors)" : "8:1";
    Process tavok(ShellWords("JOURNAL_STREAM=" + stream +
                             " exec " TAVOK_DIRECTORY "/tavokctl start -f -c conf"),
                  {.directory = dir.Path(), .errors = dir / "errors"});
    EXPECT_EQ(1, tavok.Exit());
    EXPECT_EQ(isJournal, ReadFile(dir / "errors").empty());
    Expect(dir, "start -f -c missing", 1, "open missing: ");
  }
}
