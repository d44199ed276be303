#include "Fake.h"

TEST(PidFile, IsNotTrusted) {
  const TempDir dir;
  // A process that calls itself tavok and runs another program.
  std::filesystem::create_directory(dir / "stranger");
  std::filesystem::create_symlink("/bin/sleep", dir / "stranger/tavok");
  const Process stranger({dir / "stranger/tavok", "1000"});
  EXPECT_TRUE(Eventually([&] { return ReadFile(stranger.Proc() + "/comm") == "tavok\n"; }));
  const Fake fake(dir, "exit 7");
  const std::string named = ", named in " + (dir / "pid") + ", ";
  const std::string none = "does not hold a process id";  // so it may be somebody else's file
  const std::pair<std::string, std::string> cases[] = {
      {"", "there is no pid file"},
      {stranger.Pid(), "process " + stranger.Pid() + named + "is not tavok but sleep"},
      {"4194305\n", "process 4194305" + named + "does not exist"},
      {"0", none},
      {"-5", none},
      {" ", none},
      {"99999999999", none},
      {"12 monkeys", none}};
  for (const auto& [content, why] : cases) {
    WriteFile(dir / "pid", content);
    for (const std::string command : {"stop", "rotate"}) {
      const std::string said = Expect(dir, command + " -c conf", 1, command + ": find tavok: ");
      EXPECT_NE(said.npos, said.find(why)) << said;
    }
    Expect(dir, "status -c conf", 1, "tavok is not running: ");
    Ctl start = fake.Start("");
    EXPECT_EQ(1, start.Status());
    const std::string text = why == none ? "use pid file " : "it ended with status 7";
    EXPECT_NE(text.npos, start.Err().find(text)) << content << start.Err();
    const bool isKept = why == none || content.empty();  // a stale one is removed
    EXPECT_EQ(isKept, std::filesystem::exists(dir / "pid")) << content;
  }
  EXPECT_FALSE(stranger.HasEnded());
}
