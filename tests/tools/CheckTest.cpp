#include "Ctl.h"

TEST(Ctl, WrongUseHasStatus2AndSaysWhatIsWrong) {
  const TempDir dir;
  const std::pair<std::string, std::string> cases[] = {
      {"", "Usage: tavokctl COMMAND"},
      {"halt", "there is no command halt"},
      {"stop -x", "there is no option -x"},
      {"status --jason", "there is no option --jason"},
      {"check -c", "-c takes an argument"},
      {"rotate now", "what is \"now\"?"},
      {"start --timeout 0", "--timeout takes a number from 1 to 3600, not \"0\""},
      {"stop --timeout 1s", "not \"1s\""},
      {"tail -n -1", "-n takes a number from 0 to"},
      {"tail -n 99999999999", "-n takes a number"},
  };
  for (const auto& [words, text] : cases) Expect(dir, words, 2, text);
  for (const std::string command :
       {"check", "start", "stop", "rotate", "status", "tail", "trace"}) {
    Expect(dir, command + " --help", 0, "Usage: tavokctl " + command);
    const bool hasConfig = command != "trace";
    Expect(dir, command + " -c missing", hasConfig ? 1 : 2,
           hasConfig ? "missing: No such file or directory" : "there is no option -c");
  }
  WriteFile(dir / "conf", "[LogServer]\n");
  for (const std::string words : {"--help", "check -c conf", "status -j -c conf"}) {
    EXPECT_EQ(1, Ctl(dir, words + " >/dev/full").Status());
  }
}

TEST(Check, PrintsTheEffectiveValues) {
  const TempDir dir;
  WriteFile(dir / "conf", "[logserver]\nmaxperiod=1193047\nPORT=70000\nMaxSize = 51\n");
  const std::string end = "  (default)\n";
  Ctl check(dir, "check -c conf");
  EXPECT_EQ(0, check.Status());
  EXPECT_EQ(check.Out(), "DirName           /tmp/tavok_log" + end +
                             "Port              UDP port 4464\n"
                             "BindingAddress    any" +
                             end + "PidFileName       /tmp/tavok_log_server.pid" + end +
                             "MaxFileSize       50 MiB (52428800 bytes)" + end +
                             "MaxSize           51 MiB (53477376 bytes)\n"
                             "MaxPeriod         1904 seconds\n"
                             "ExternalRotation  off" +
                             end);
  for (const std::string text : {"", "Port=1\n", "[Other]\n"}) {
    WriteFile(dir / "conf", text);
    Expect(dir, "check -c conf", 1, "read conf: no section [LogServer]");
  }
  Expect(dir, "check -c .", 1, "read .: Is a directory");
}

// The warnings of a configuration, each "LINE: text", or "text" where it is about no line. Lines
// are counted from those behind the first four; to replace one of those is no fault here.
std::set<std::string> Warnings(const TempDir& dir, const std::string& text) {
  WriteFile(dir / "conf", text);
  Ctl check(dir, "check --strict -c conf");
  const int status = check.Status();
  std::set<std::string> warnings;
  std::istringstream lines(check.Err());
  for (std::string line; std::getline(lines, line);) {
    EXPECT_TRUE(line.starts_with("conf:")) << line;
    const std::size_t mark = line.find(" warning: ");
    const std::string number =
        mark == 5 ? "" : std::to_string(std::stoi(line.substr(5)) - 4) + ": ";
    if (line.find("Name once") == line.npos && line.find("Port once") == line.npos) {
      warnings.insert(number + line.substr(mark + 10));
    }
  }
  EXPECT_EQ(check.Err().empty() ? 0 : 1, status) << check.Err();
  Expect(dir, "check -c conf", 0, "");
  return warnings;
}

TEST(Check, WarnsOfWhatTavokTakesSilently) {
  const TempDir dir;
  const std::string good = "[LogServer]\nDirName=" + (dir / "log") +
                           "\nPidFileName=" + (dir / "pid") + "\nPort=" + (dir / "socket") + "\n";
  const std::string udp = "Port=23456\n";
  for (const std::string name : {"file", "stale"})
    WriteFile(dir / name, name == "file" ? "text" : "99\n");
  for (const std::string name : {"dir", "dir/tavok_x"})
    std::filesystem::create_directory(dir / name);
  WriteFile(dir / "514", "");
  const Collector alive((dir / "alive").c_str());

  EXPECT_EQ(std::set<std::string>{}, Warnings(dir, good + "# all is well\n\n"));
  EXPECT_EQ(std::set<std::string>{},
            Warnings(dir, good + "BindingAddress=127.0.0.1\n" + udp +
                              "ExternalRotation=No\nPidFileName=" + (dir / "stale")));
  const std::pair<std::string, std::set<std::string>> cases[] = {
      // Lines.
      {"MaxFilesize2=1\n", {"1: unknown key \"MaxFilesize2\": ignored; did you mean MaxFileSize?"}},
      {"colour=1\n", {"1: unknown key \"colour\": ignored"}},
      {"; Port=1\n", {"1: unknown key \"; Port\": ignored; comments begin with #"}},
      {"[Other\n", {"1: unknown key \"[Other\": ignored; a section's header ends in ]"}},
      {"[LogServers]\nPort=1\n",
       {"1: unknown section [LogServers]: ignored; did you mean LogServer?"}},
      {"[]\n", {"1: unknown section []: ignored"}},
      {"MaxSize=100\nMAXSIZE = 99\n",
       {"2: MAXSIZE once more: this line counts, the one above does not"}},
      {good, {"1: a second [LogServer]: what stands below line 1 is dropped"}},
      // Numbers and flags.
      {"MaxPeriod\n",
       {"1: MaxPeriod has no '=': taken as empty", "1: MaxPeriod \"\" is empty: taken as 0",
        "1: MaxPeriod is 0: no rotated file is kept, and an error reported every 15 s"}},
      {"MaxFileSize=50MB\n", {"1: MaxFileSize \"50MB\" is taken as 50"}},
      {"MaxFileSize=big\n",
       {"1: MaxFileSize \"big\" is no number: taken as 0",
        "1: MaxFileSize is 0: the file is rotated every 15 s, even an empty one"}},
      {"MaxSize=4097\nMaxFileSize=1\n",
       {"1: MaxSize 4097 MiB is more than 32 bits hold: it becomes 1048576 bytes",
        "1: MaxSize is not above MaxFileSize: a rotated file is deleted at once"}},
      {"MaxPeriod=-1\n",
       {"1: MaxPeriod -1 h is more than 32 bits hold: it becomes 4294963696 seconds"}},
      {"MaxPeriod=99999999999999999999\n",
       {"1: MaxPeriod 99999999999999999999 h is more than 32 bits hold: it becomes 4294963696 "
        "seconds"}},
      {"MaxSize=50\n", {"1: MaxSize is not above MaxFileSize: a rotated file is deleted at once"}},
      {"ExternalRotation=on\n", {"1: ExternalRotation \"on\" means off"}},
      {"ExternalRotation=7\n", {"1: ExternalRotation \"7\" means on"}},
      {"ExternalRotation=1\nMaxSize=5\n",
       {"2: MaxSize has no effect: with ExternalRotation nothing is rotated by size or deleted"}},
      // Where it listens.
      {"BindingAddress=127.0.0.1\n",
       {"1: BindingAddress is ignored: tavok listens on a Unix-domain socket"}},
      {udp + "BindingAddress=localhost\n",
       {"2: BindingAddress localhost is no dotted IPv4 address: tavok will not start"}},
      {udp + "BindingAddress=192.0.2.1\n",
       {"2: BindingAddress 192.0.2.1 cannot be bound: Cannot assign requested address"}},
      {udp + "BindingAddress=127.1\n", {"2: BindingAddress 127.1 means 127.0.0.1"}},
      {"Port=23456 # UDP\n",
       {"1: the # and what follows belong to the value of Port: a comment has a line of its own",
        "1: Port \"23456 # UDP\" means UDP port 23456"}},
      {"Port=65536\n", {"1: Port \"65536\" means UDP port 0: the kernel picks one"}},
      {"Port=514\n",
       {"1: Port there is a file 514 in this directory: a stop of tavok here removes it"}},
      {"Port=\n", {"1: Port is empty: tavok listens where no path leads"}},
      {"Port=syslog\n",
       {"1: Port \"syslog\" is no port number: taken as a socket's path, in the directory "
        "that tavok is started in"}},
      {"Port=/" + std::string(107, 'x') + "\n",
       {"1: Port has 108 bytes: a socket's path has at most 107"}},
      {"Port=" + (dir / "dir") + "\n",
       {"1: Port " + (dir / "dir") + " is a directory: tavok will not start"}},
      {"Port=" + (dir / "file") + "\n",
       {"1: Port " + (dir / "file") + " is a file that is no socket: tavok removes it"}},
      {"Port=/dev/null\n", {"1: Port /dev/null is a file that is no socket: tavok removes it"}},
      {"Port=" + (dir / "alive") + "\n",
       {"1: Port " + (dir / "alive") + " is the socket of another program: tavok removes it"}},
      {"PidFileName=/dev/null\n",
       {"1: PidFileName /dev/null is a device or a pipe: a stop of tavok removes it"}},
      {"Port=" + (dir / "no/s") + "\n",
       {"1: Port " + (dir / "no/s") + " cannot be bound: " + (dir / "no") +
        ": No such file or directory"}},
      // Files.
      {"DirName=\n", {"1: DirName is empty: tavok will not start"}},
      {"DirName=log\n", {"1: DirName log depends on the directory that tavok is started in"}},
      {"DirName=" + (dir / "file") + "\n",
       {"1: DirName " + (dir / "file") + " is no directory: tavok will not start"}},
      {"DirName=" + (dir / "no/log") + "\n",
       {"1: DirName " + (dir / "no/log") + " cannot be made: " + (dir / "no") +
        ": No such file or directory"}},
      {"PidFileName=\n", {"1: PidFileName is empty: no other tavok can take over"}},
      {"PidFileName=" + (dir / "dir") + "\n",
       {"1: PidFileName " + (dir / "dir") + " is a directory"}},
      {"PidFileName=" + (dir / "no/p") + "\n",
       {"1: PidFileName " + (dir / "no/p") + " cannot be written: " + (dir / "no") +
        ": No such file or directory"}},
      {"PidFileName=" + (dir / "file") + "\n",
       {"1: PidFileName " + (dir / "file") +
        " holds something else: tavok signals what it takes from it, "
        "replaces it and removes it"}},
      {"PidFileName=" + (dir / "socket") + "\n",
       {"1: PidFileName " + (dir / "socket") + " is the socket's path, too"}},
      {"PidFileName=" + (dir / "my_tavok_pid") + "\n", {}},
      {"DirName=" + (dir / "dir") + "\nPort=" + (dir / "dir/tavok_s") + "\n",
       {"2: Port " + (dir / "dir/tavok_s") + " counts as a rotated file and will be deleted"}},
      {"DirName=" + (dir / "dir") + "\nPidFileName=" + (dir / "dir/my_tavok_pid") + "\n",
       {"2: PidFileName " + (dir / "dir/my_tavok_pid") +
        " counts as a rotated file and will be deleted"}},
  };
  for (const auto& [text, warnings] : cases) EXPECT_EQ(warnings, Warnings(dir, good + text));
  EXPECT_EQ((std::set<std::string>{"-3: \"x\" stands before the first section: ignored"}),
            Warnings(dir, "x=1\n" + good));
  EXPECT_EQ((std::set<std::string>{"there is a NUL in the file: what is behind it is ignored"}),
            Warnings(dir, good + std::string("\0Port=1\n", 8)));
}
