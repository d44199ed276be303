#include "Ctl.h"

namespace {

constexpr const char* kUdp = "Port=23456\n";

using CWarnings = std::set<std::string>;

class Check : public testing::Test {
 protected:
  // The warnings of a configuration, each "LINE: text", or "text" where it is about no line. Lines
  // are counted from the end of m_good, whose own four may be overridden.
  CWarnings Warnings(const std::string& text) const {
    WriteFile(m_dir / "conf", text);
    Ctl check(m_dir, "check --strict -c conf");
    const int status = check.Status();
    CWarnings warnings;
    std::istringstream lines(check.Err());
    for (std::string line; std::getline(lines, line);) {
      EXPECT_TRUE(line.starts_with("conf:")) << line;
      const std::size_t mark = line.find(" warning: ");
      const std::string number =
          mark == 5 ? "" : std::to_string(std::stoi(line.substr(5)) - 4) + ": ";
      const bool overridesGood = line.find("overrides line ") != line.npos && line.back() <= '4';
      if (!overridesGood) warnings.insert(number + line.substr(mark + 10));
    }
    EXPECT_EQ(check.Err().empty() ? 0 : 1, status) << check.Err();
    Expect(m_dir, "check -c conf", 0, "");
    return warnings;
  }

  // Lines to append to m_good, and the warnings expected of each.
  void ExpectWarnings(const std::vector<std::pair<std::string, CWarnings>>& cases) const {
    for (const auto& [text, warnings] : cases) EXPECT_EQ(warnings, Warnings(m_good + text));
  }

  const TempDir m_dir;
  const std::string m_good = "[LogServer]\nDirName=" + (m_dir / "log") +
                             "\nPidFileName=" + (m_dir / "pid") + "\nPort=" + (m_dir / "socket") +
                             "\n";
};

}  // namespace

TEST_F(Check, PrintsTheEffectiveValues) {
  WriteFile(m_dir / "conf", "[logserver]\nmaxperiod=1193047\nPORT=70000\nMaxSize = 51\n");
  const std::string end = "  (default)\n";
  Ctl check(m_dir, "check -c conf");
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
    WriteFile(m_dir / "conf", text);
    Expect(m_dir, "check -c conf", 1, "read conf: no section [LogServer]");
  }
  Expect(m_dir, "check -c .", 1, "read .: Is a directory");
}

TEST_F(Check, AcceptsAGoodConfiguration) {
  WriteFile(m_dir / "stale", "99\n");
  ExpectWarnings({{"# all is well\n\n", {}},
                  {std::string("BindingAddress=127.0.0.1\n") + kUdp +
                       "ExternalRotation=No\nPidFileName=" + (m_dir / "stale"),
                   {}}});
}

TEST_F(Check, WarnsOfLines) {
  ExpectWarnings({
      {"MaxFilesize2=1\n", {"1: unknown key \"MaxFilesize2\": ignored; did you mean MaxFileSize?"}},
      {"colour=1\n", {"1: unknown key \"colour\": ignored"}},
      {"; Port=1\n", {"1: unknown key \"; Port\": ignored; comments begin with #"}},
      {"[Other\n", {"1: unknown key \"[Other\": ignored; a section header ends with ]"}},
      {"[LogServers]\nPort=1\n",
       {"1: unknown section [LogServers]: ignored; did you mean LogServer?"}},
      {"[]\n", {"1: unknown section []: ignored"}},
      {"MaxSize=100\nMAXSIZE = 99\n", {"2: MAXSIZE is set again: this overrides line 5"}},
      {m_good, {"1: a second [LogServer]: it replaces the one in line 1"}},
  });
  EXPECT_EQ(CWarnings{"-3: \"x\" comes before the first section: ignored"},
            Warnings("x=1\n" + m_good));
  EXPECT_EQ(CWarnings{"the file contains a NUL byte: the rest of it is ignored"},
            Warnings(m_good + std::string("\0Port=1\n", 8)));
}

TEST_F(Check, WarnsOfNumbersAndFlags) {
  ExpectWarnings({
      {"MaxPeriod\n",
       {"1: MaxPeriod has no '=': taken as empty", "1: MaxPeriod \"\" is empty: taken as 0",
        "1: MaxPeriod is 0: no rotated file is kept, and an error is reported every 15 s"}},
      {"MaxFileSize=50MB\n", {"1: MaxFileSize \"50MB\" is taken as 50"}},
      {"MaxFileSize=big\n",
       {"1: MaxFileSize \"big\" is not a number: taken as 0",
        "1: MaxFileSize is 0: the file is rotated every 15 s, even an empty one"}},
      {"MaxSize=4097\nMaxFileSize=1\n",
       {"1: MaxSize 4097 MiB does not fit in 32 bits: it becomes 1048576 bytes",
        "1: MaxSize is not above MaxFileSize: a rotated file is deleted at once"}},
      {"MaxPeriod=-1\n",
       {"1: MaxPeriod -1 h does not fit in 32 bits: it becomes 4294963696 seconds"}},
      {"MaxPeriod=99999999999999999999\n",
       {"1: MaxPeriod 99999999999999999999 h does not fit in 32 bits: it becomes 4294963696 "
        "seconds"}},
      {"MaxSize=50\n", {"1: MaxSize is not above MaxFileSize: a rotated file is deleted at once"}},
      {"ExternalRotation=on\n", {"1: ExternalRotation \"on\" means off"}},
      {"ExternalRotation=7\n", {"1: ExternalRotation \"7\" means on"}},
      {"ExternalRotation=1\nMaxSize=5\n",
       {"2: MaxSize has no effect: with ExternalRotation nothing is rotated by size or deleted"}},
  });
}

TEST_F(Check, WarnsOfWhereItListens) {
  std::filesystem::create_directory(m_dir / "dir");
  WriteFile(m_dir / "file", "text");
  WriteFile(m_dir / "514", "");
  const Collector alive((m_dir / "alive").c_str());
  ExpectWarnings({
      {"BindingAddress=127.0.0.1\n",
       {"1: BindingAddress is ignored: tavok listens on a Unix-domain socket"}},
      {std::string(kUdp) + "BindingAddress=localhost\n",
       {"2: BindingAddress localhost is not a dotted IPv4 address: tavok will not start"}},
      {std::string(kUdp) + "BindingAddress=192.0.2.1\n",
       {"2: BindingAddress 192.0.2.1 cannot be bound: Cannot assign requested address"}},
      {std::string(kUdp) + "BindingAddress=127.1\n", {"2: BindingAddress 127.1 means 127.0.0.1"}},
      {"Port=23456 # UDP\n",
       {"1: the # and the text after it are part of the value of Port: a comment needs a line of "
        "its own",
        "1: Port \"23456 # UDP\" means UDP port 23456"}},
      {"Port=65536\n", {"1: Port \"65536\" means UDP port 0: the kernel picks one"}},
      {"Port=514\n",
       {"1: Port 514 is also a file in this directory: tavok removes it when it stops here"}},
      {"Port=\n", {"1: Port is empty: no program can send to a socket without a path"}},
      {"Port=syslog\n",
       {"1: Port \"syslog\" is not a port number: taken as the path of a socket, relative to "
        "the directory in which tavok is started"}},
      {"Port=/" + std::string(107, 'x') + "\n",
       {"1: Port has 108 bytes: a socket's path can have at most 107"}},
      {"Port=" + (m_dir / "dir") + "\n",
       {"1: Port " + (m_dir / "dir") + " is a directory: tavok will not start"}},
      {"Port=" + (m_dir / "file") + "\n",
       {"1: Port " + (m_dir / "file") + " is not a socket: tavok removes it"}},
      {"Port=/dev/null\n", {"1: Port /dev/null is not a socket: tavok removes it"}},
      {"Port=" + (m_dir / "alive") + "\n",
       {"1: Port " + (m_dir / "alive") + " is the socket of another program: tavok removes it"}},
      {"PidFileName=/dev/null\n",
       {"1: PidFileName /dev/null is a device or a pipe: tavok removes it when it stops"}},
      {"Port=" + (m_dir / "no/s") + "\n",
       {"1: Port " + (m_dir / "no/s") + " cannot be bound: " + (m_dir / "no") +
        ": No such file or directory"}},
  });
}

TEST_F(Check, WarnsOfFiles) {
  std::filesystem::create_directory(m_dir / "dir");
  std::filesystem::create_directory(m_dir / "dir/tavok_x");
  WriteFile(m_dir / "file", "text");
  ExpectWarnings({
      {"DirName=\n", {"1: DirName is empty: tavok will not start"}},
      {"DirName=log\n", {"1: DirName log is relative to the directory in which tavok is started"}},
      {"DirName=" + (m_dir / "file") + "\n",
       {"1: DirName " + (m_dir / "file") + " is not a directory: tavok will not start"}},
      {"DirName=" + (m_dir / "no/log") + "\n",
       {"1: DirName " + (m_dir / "no/log") + " cannot be created: " + (m_dir / "no") +
        ": No such file or directory"}},
      {"PidFileName=\n", {"1: PidFileName is empty: no other tavok can take over"}},
      {"PidFileName=" + (m_dir / "dir") + "\n",
       {"1: PidFileName " + (m_dir / "dir") + " is a directory"}},
      {"PidFileName=" + (m_dir / "no/p") + "\n",
       {"1: PidFileName " + (m_dir / "no/p") + " cannot be written: " + (m_dir / "no") +
        ": No such file or directory"}},
      {"PidFileName=" + (m_dir / "file") + "\n",
       {"1: PidFileName " + (m_dir / "file") +
        " does not hold a process id: tavok signals whatever it reads there, "
        "then replaces and removes the file"}},
      {"PidFileName=" + (m_dir / "socket") + "\n",
       {"1: PidFileName " + (m_dir / "socket") + " is also the path of the socket"}},
      {"PidFileName=" + (m_dir / "my_tavok_pid") + "\n", {}},
      {"DirName=" + (m_dir / "dir") + "\nPort=" + (m_dir / "dir/tavok_s") + "\n",
       {"2: Port " + (m_dir / "dir/tavok_s") + " counts as a rotated file and will be deleted"}},
      {"DirName=" + (m_dir / "dir") + "\nPidFileName=" + (m_dir / "dir/my_tavok_pid") + "\n",
       {"2: PidFileName " + (m_dir / "dir/my_tavok_pid") +
        " counts as a rotated file and will be deleted"}},
  });
}
