#include "Fake.h"

namespace {

// A process that calls itself tavok and runs another program.
class Stranger {
 public:
  explicit Stranger(const TempDir& dir) {
    std::filesystem::create_directory(dir / "stranger");
    std::filesystem::create_symlink("/bin/sleep", dir / "stranger/tavok");
    const std::string program = dir / "stranger/tavok";
    if ((m_pid = ::fork()) == 0) {
      ::execl(program.c_str(), "sleep", "100", nullptr);
      ::_exit(127);
    }
    EXPECT_TRUE(Eventually([this] { return ReadFile("/proc/" + Pid() + "/comm") == "tavok\n"; }));
  }
  ~Stranger() {
    EXPECT_EQ(0, ::waitpid(m_pid, nullptr, WNOHANG)) << "it has been harmed";
    ::kill(m_pid, SIGKILL);
    ::waitpid(m_pid, nullptr, 0);
  }
  std::string Pid() const { return std::to_string(m_pid); }

 private:
  pid_t m_pid;
};

}  // namespace

TEST(PidFile, IsNotTrusted) {
  const TempDir dir;
  const Stranger stranger(dir);
  const Fake fake(dir, "exit 7");
  const std::string named = ", named in " + (dir / "pid") + ", ";
  const struct {
    std::string content;
    std::string why;
    bool isRefused;  // by start, as it may be a file of somebody else's
    bool isKept;
  } cases[] = {{"", "there is no pid file", false, true},
               {stranger.Pid(), "process " + stranger.Pid() + named + "is not tavok but sleep",
                false, false},
               {"4194305\n", "process 4194305" + named + "does not exist", false, false},
               {"0", "does not hold a process id", true, true},
               {"-5", "does not hold a process id", true, true},
               {" ", "does not hold a process id", true, true},
               {"99999999999", "does not hold a process id", true, true},
               {"12 monkeys", "does not hold a process id", true, true}};
  for (const auto& one : cases) {
    WriteFile(dir / "pid", one.content);
    for (const std::string command : {"stop", "rotate"}) {
      const std::string said = Expect(dir, command + " -c conf", 1, command + ": find tavok: ");
      EXPECT_NE(said.npos, said.find(one.why)) << said;
    }
    Expect(dir, "status -c conf", 1, "tavok is not running: ");
    Ctl start = fake.Start("");
    EXPECT_EQ(1, start.Status());
    const std::string text = one.isRefused ? "use pid file " : "it ended with status 7";
    EXPECT_NE(text.npos, start.Err().find(text)) << one.content << start.Err();
    EXPECT_EQ(one.isKept, std::filesystem::exists(dir / "pid")) << one.content;
  }
}
