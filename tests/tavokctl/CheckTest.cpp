#include <sys/mount.h>

#include <regex>

#include "Ctl.h"

namespace {

const std::string kGood = "[LogServer]\nDirName=@/log\nPidFileName=@/pid\nPort=@/socket\n";

class Check : public testing::Test {
 protected:
  // The warnings of a configuration, each "LINE: text\n", or " text\n" where it is about no line,
  // but those of settings that override one of kGood. @ is m_dir.
  std::string Warnings(const std::string& text) const {
    WriteConfig(text);
    Ctl check(m_dir, "check --strict -c conf");
    const int status = check.Status();
    EXPECT_EQ(check.Err().empty() ? 0 : 1, status) << check.Err();
    Expect(m_dir, "check -c conf", 0, "");
    std::string said = std::regex_replace(check.Err(), std::regex(m_dir.Path()), "@");
    said = std::regex_replace(said, std::regex("conf:.*overrides line [2-4]\n"), "");
    return std::regex_replace(said, std::regex("conf:(\\d+:)? warning:"), "$1");
  }

  // Lines to append to the four of kGood, and the warnings expected of each; ~ is the number, key
  // and value of the last one.
  void ExpectWarnings(const std::vector<std::pair<std::string, std::string>>& cases) const {
    for (const auto& [lines, warnings] : cases) {
      const std::string key = lines.substr(lines.rfind('\n') + 1);
      const std::string subject = std::to_string(5 + std::count(lines.begin(), lines.end(), '\n')) +
                                  ": " + std::regex_replace(key, std::regex("="), " ");
      const std::string expected = std::regex_replace(warnings, std::regex("~"), subject);
      EXPECT_EQ(expected + (expected.empty() ? "" : "\n"), Warnings(kGood + lines + "\n"));
    }
  }

  void WriteConfig(const std::string& text) const {
    WriteFile(m_dir / "conf", std::regex_replace(text, std::regex("@"), m_dir.Path()));
  }

  const TempDir m_dir;
};

}  // namespace

TEST_F(Check, PrintsTheEffectiveValues) {
  WriteFile(m_dir / "conf", "[logserver]\nmaxperiod=1193047\nPORT=70001\nMaxSize = 51\n");
  Ctl check(m_dir, "check -c conf");
  EXPECT_EQ(0, check.Status());
  EXPECT_EQ(check.Out(),
            "DirName           /tmp/tavok_log  (default)\n"
            "Port              UDP port 4465\n"
            "BindingAddress    any  (default)\n"
            "PidFileName       /tmp/tavok_log_server.pid  (default)\n"
            "MaxFileSize       50 MiB (52428800 bytes)  (default)\n"
            "MaxSize           51 MiB (53477376 bytes)\n"
            "MaxPeriod         1904 seconds\n"
            "ExternalRotation  off  (default)\n");
  for (const std::string text : {"", "Port=1\n", "[Other]\n"}) {
    WriteFile(m_dir / "conf", text);
    Expect(m_dir, "check -c conf", 1, "read conf: no section [LogServer]");
  }
  Expect(m_dir, "check -c .", 1, "read .: Is a directory");
}

TEST_F(Check, WarnsOfLines) {
  ExpectWarnings({
      {"# all is well\n", ""},
      {"// Port=1", "5: unknown key \"// Port\": ignored; comments begin with #"},
      {"MaxFilesize2=1", "5: unknown key \"MaxFilesize2\": ignored; did you mean MaxFileSize?"},
      {"colour=1", "5: unknown key \"colour\": ignored"},
      {"; Port=1", "5: unknown key \"; Port\": ignored; comments begin with #"},
      {"[Other", "5: unknown key \"[Other\": ignored; a section header ends with ]"},
      {"[LogServers]\nPort=1", "5: unknown section [LogServers]: ignored; did you mean LogServer?"},
      {"[]", "5: unknown section []: ignored"},
      {"MaxSize=100\nMAXSIZE = 99", "6: MAXSIZE is set again: this overrides line 5"},
      {"MaxSize=5x\n" + kGood, "6: a second [LogServer]: it replaces the one in line 1"},
  });
  EXPECT_EQ("1: \"x\" comes before the first section: ignored\n", Warnings("x=1\n" + kGood));
  EXPECT_EQ(" the file contains a NUL byte: the rest of it is ignored\n",
            Warnings(kGood + std::string("\0Port=1\n", 8)));
}

TEST_F(Check, WarnsOfNumbersAndFlags) {
  ExpectWarnings({
      {"MaxPeriod",
       "5: MaxPeriod has no '=': taken as empty\n5: MaxPeriod \"\" is empty: taken as 0\n"
       "5: MaxPeriod is 0: no rotated file is kept, and an error is reported every 15 s"},
      {"MaxFileSize=50MB", "5: MaxFileSize \"50MB\" is taken as 50"},
      {"MaxFileSize=big",
       "5: MaxFileSize \"big\" is not a number: taken as 0\n"
       "5: MaxFileSize is 0: the file is "
       "rotated every 15 s, even an empty one"},
      {"MaxSize=4097\nMaxFileSize=1",
       "5: MaxSize 4097 MiB does not fit in 32 bits: it becomes 1048576 bytes\n"
       "5: MaxSize is not "
       "above MaxFileSize: a rotated file is deleted at once"},
      {"MaxPeriod=-1", "~ h does not fit in 32 bits: it becomes 4294963696 seconds"},
      {"MaxPeriod=99999999999999999999",
       "~ h does not fit in 32 bits: it becomes 4294963696 seconds"},
      {"MaxSize=50", "5: MaxSize is not above MaxFileSize: a rotated file is deleted at once"},
      {"ExternalRotation=on", "5: ExternalRotation \"on\" means off"},
      {"ExternalRotation=7", "5: ExternalRotation \"7\" means on"},
      {"ExternalRotation=1\nMaxSize=5",
       "6: MaxSize has no effect: with ExternalRotation nothing is rotated by size or deleted"},
  });
}

TEST_F(Check, WarnsOfWhereItListens) {
  std::filesystem::create_directory(m_dir / "dir");
  WriteFile(m_dir / "file", "text");
  WriteFile(m_dir / "5140", "");
  const Collector alive(m_dir / "alive");
  const std::string taken = std::to_string(FreePort());
  const int holder = BoundSocket(taken);
  ExpectWarnings({
      {"Port=23456\nBindingAddress=127.0.0.1\nExternalRotation=No", ""},
      {"BindingAddress=127.0.0.1",
       "5: BindingAddress is ignored: tavok listens on a Unix-domain socket"},
      {"Port=23456\nBindingAddress=localhost",
       "~ is not a dotted IPv4 address: tavok will not start"},
      {"Port=2345\nBindingAddress=192.0.2.1", "~ cannot be bound: Cannot assign requested address"},
      {"Port=23456\nBindingAddress=127.1", "~ means 127.0.0.1"},
      {"Port=23456 # UDP",
       "5: the # and the text after it are part of the value of Port: a comment needs a line of "
       "its own\n5: Port \"23456 # UDP\" means UDP port 23456"},
      {"Port=65536", "5: Port \"65536\" means UDP port 0: the kernel picks one"},
      {"Port=5140", "~ is also a file in this directory: tavok removes it when it stops here"},
      {"Port=" + taken + "\nBindingAddress=127.0.0.1",
       "5: Port UDP port " + taken + " is in use: tavok will not start"},
      {"Port=", "5: Port is empty: no program can send to a socket without a path"},
      {"Port=syslog",
       "5: Port \"syslog\" is not a port number: taken as the path of a socket, relative to the "
       "directory in which tavok is started"},
      {"Port=/" + std::string(106, 'x'), ""},
      {"Port=/" + std::string(107, 'x'),
       "5: Port has 108 bytes: a socket's path can have at most 107"},
      {"Port=@/dir", "~ is a directory: tavok will not start"},
      {"Port=@/file", "~ is not a socket: tavok removes it"},
      {"Port=/dev/null", "~ is not a socket: tavok removes it"},
      {"Port=@/alive", "~ is the socket of another program: tavok removes it"},
      {"PidFileName=/dev/null", "~ is a device or a pipe: tavok removes it when it stops"},
      {"Port=@/no/s", "~ cannot be bound: @/no: No such file or directory"},
  });
  ::close(holder);
}

TEST_F(Check, WarnsOfFiles) {
  std::filesystem::create_directory(m_dir / "dir");
  std::filesystem::create_directory(m_dir / "dir/tavok_x");
  WriteFile(m_dir / "file", "text");
  WriteFile(m_dir / "stale", "99\n");
  ExpectWarnings({
      {"DirName=", "5: DirName is empty: tavok will not start"},
      {"DirName=log", "~ is relative to the directory in which tavok is started"},
      {"DirName=@/file", "~ is not a directory: tavok will not start"},
      {"DirName=@/no/log", "~ cannot be created: @/no: No such file or directory"},
      {"PidFileName=", "5: PidFileName is empty: no other tavok can take over"},
      {"PidFileName=@/dir", "~ is a directory"},
      {"PidFileName=@/no/p", "~ cannot be written: @/no: No such file or directory"},
      {"PidFileName=@/file",
       "~ does not hold a process id: tavok signals whatever it reads there, then replaces and "
       "removes the file"},
      {"PidFileName=@/socket", "~ is also the path of the socket"},
      {"PidFileName=@/stale", ""},
      {"PidFileName=@/my_tavok_pid", ""},
      {"DirName=@/dir\nPort=@/dir/tavok_s", "~ counts as a rotated file and will be deleted"},
      {"DirName=@/dir\nPidFileName=@/dir/my_tavok_pid",
       "~ counts as a rotated file and will be deleted"},
  });
}

TEST_F(Check, WarnsOfWhatMaySurprise) {
  std::filesystem::create_directory(m_dir / "log");
  std::filesystem::create_directory(m_dir / "log/tmp.tavok");
  ExpectWarnings({{"# nothing", "2: DirName @/log/tmp.tavok is not a regular file"}});
  std::filesystem::remove(m_dir / "log/tmp.tavok");
  if (::mount("tmpfs", (m_dir / "log").c_str(), "tmpfs", 0, "size=100m") == 0) {
    ExpectWarnings({{"MaxSize=101",
                     "5: MaxSize is above the size of the file system, 100.0 MiB: that is full "
                     "before anything is deleted"},
                    {"MaxSize=100", ""}});
    ::umount((m_dir / "log").c_str());
  }
  // Whoever may read the configuration should find the pid file.
  std::filesystem::permissions(m_dir.Path(), std::filesystem::perms(0755));
  std::filesystem::create_directory(m_dir / "closed");
  std::filesystem::permissions(m_dir / "closed", std::filesystem::perms(0750));
  ExpectWarnings({{"PidFileName=@/closed/pid",
                   "~ cannot be found by other users, who may read this file: @/closed is closed "
                   "to them"}});
}

TEST_F(Check, WarnsOfWhatAnotherUserMayNot) {
  if (::geteuid() != 0) {
    WriteConfig(kGood);
    return (void)Expect(m_dir, "check -c conf --as root", 1, "check as root: Operation not permit");
  }
  std::filesystem::permissions(m_dir.Path(), std::filesystem::perms(0755));
  std::filesystem::create_directory(m_dir / "log");
  WriteFile(m_dir / "log/tmp.tavok", "");
  WriteConfig(kGood + "Port=514\n");
  Ctl check(m_dir, "check --strict --as nobody -c conf");
  EXPECT_EQ(1, check.Status());
  for (const std::string& what :
       {"DirName " + (m_dir / "log") + " cannot be written: Permission denied",
        "PidFileName " + (m_dir / "pid") + " cannot be written: " + m_dir.Path() + ": Permission",
        std::string("Port UDP port 514 is privileged: tavok will not start")}) {
    EXPECT_TRUE(check.Says(what)) << what << check.Err();
  }
  std::filesystem::permissions(m_dir / "log", std::filesystem::perms(0777));
  Expect(m_dir, "check --as nobody -c conf", 0,
         "DirName " + (m_dir / "log/tmp.tavok") + " cannot be written: Permission denied");
  Expect(m_dir, "check --as nobody.at.all -c conf", 1, "there is no such user");
}

TEST_F(Check, WarnsOfMissingPermissions) {
  std::filesystem::create_directory(m_dir / "log");
  WriteFile(m_dir / "pid", "1");
  std::filesystem::permissions(m_dir / "log", std::filesystem::perms(0500));
  std::filesystem::permissions(m_dir / "pid", std::filesystem::perms(0400));
  WriteConfig(kGood);
  // Root may write everything unless it gives this capability away.
  const std::string prefix = ::geteuid() == 0 ? "setpriv --bounding-set=-dac_override " : "";
  Ctl check(m_dir, "check -c conf", "ctl", prefix + TAVOK_DIRECTORY "/tavokctl");
  EXPECT_EQ(0, check.Status());
  for (const std::string& what : {"DirName " + (m_dir / "log"), "PidFileName " + (m_dir / "pid")}) {
    EXPECT_TRUE(check.Says(what + " cannot be written: Permission denied")) << check.Err();
  }
}
