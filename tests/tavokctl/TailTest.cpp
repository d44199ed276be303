#include "Flood.h"
#include "Numbered.h"
#include "RunningTavok.h"

namespace {

// A log directory that no tavok writes to, but the test does.
class TailOfFiles : public testing::Test {
 protected:
  TailOfFiles() {
    WriteFile(m_dir / "conf", "[LogServer]\nDirName=log\n");
    std::filesystem::create_directory(m_dir / "log");
  }
  std::string File(const std::string& name) const { return m_dir / ("log/" + name); }
  void Write(const std::string& text) const { WriteFile(File("tmp.tavok"), text); }

  const TempDir m_dir;
};

// Waits until it has printed so much, and expects the text.
void ExpectOut(const Ctl& tail, const std::string& text) {
  Eventually([&] { return tail.Out().size() >= text.size(); });
  EXPECT_EQ(text, tail.Out());
}

using Tail = RunningTavok;

}  // namespace

TEST_F(TailOfFiles, StartsWithTheLastLines) {
  const std::string block(70000, 'x');
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"1\n2\n3\n", "-n 2", "2\n3\n"},
      {"1\n2\n3", "-n 2", "2\n3"},
      {"1\n2\n", "-n 5", "1\n2\n"},
      {"1\n\n\n", "-n 2", "\n\n"},
      {"1\n2\n", "-n 0", ""},
      {"", "", ""},
      {"\n", "-n 1", "\n"},
      {"no line end", "", "no line end"},
      {"1\n2\n3\n4\n5\n6\n7\n8\n9\na\nb\n", "", "2\n3\n4\n5\n6\n7\n8\n9\na\nb\n"},
      {"1\n" + block + "\n2\n", "-n 2", block + "\n2\n"}};
  for (const auto& [text, words, end] : cases) {
    Write(text);
    const Ctl tail(m_dir, "tail -c conf " + words);
    EXPECT_TRUE(tail.Waits(File("tmp.tavok")));
    std::ofstream(File("tmp.tavok"), std::ios::app) << "more";
    ExpectOut(tail, end + "more");
  }
}

TEST_F(TailOfFiles, NamesAFileThatWasRemovedUnread) {
  const Ctl tail(m_dir, "tail -c conf");
  Write("1");  // the current file may come later than tail
  EXPECT_TRUE(tail.Says("1"));
  tail.Pause();
  for (const char* const name : {"tavok_a", "tavok_b", "tavok_c"}) {
    std::filesystem::rename(File("tmp.tavok"), File(name));
    Write(name + 6);
  }
  // As a second rotation within a second does.
  std::filesystem::rename(File("tavok_c"), File("tavok_b"));
  tail.Signal(SIGCONT);
  EXPECT_TRUE(tail.Says("tavok_c was removed before it could be read"));
  ExpectOut(tail, "1bc");
}

TEST_F(TailOfFiles, GoesOnAfterWhatTavokNeverDoes) {
  const Ctl tail(m_dir, "tail -c conf");
  Write("old");
  EXPECT_TRUE(tail.Says("old"));
  Write("");
  EXPECT_TRUE(tail.Says("the file was truncated"));
  Write("again");
  ExpectOut(tail, "oldagain");
  std::filesystem::remove(File("tmp.tavok"));
  Write("!");
  ExpectOut(tail, "oldagain!");
  // Rotated and deleted before there is a new one, which may then get its inode.
  std::filesystem::rename(File("tmp.tavok"), File("tavok_d"));
  AwaitNextSecond();
  std::filesystem::remove(File("tavok_d"));
  Write("?");
  ExpectOut(tail, "oldagain!?");
}

TEST_F(TailOfFiles, EndsWithoutItsDirectory) {
  for (const bool isReplaced : {true, false}) {
    Write("1");
    Ctl tail(m_dir, "tail -c conf");
    EXPECT_TRUE(tail.Says("1"));
    std::filesystem::create_directory(m_dir / "new");
    std::filesystem::remove_all(m_dir / "log");
    if (isReplaced) std::filesystem::rename(m_dir / "new", m_dir / "log");
    ASSERT_TRUE(tail.Says("follow log: it has been removed")) << isReplaced;
    EXPECT_EQ(1, tail.Status());
  }
  Expect(m_dir, "tail -c conf", 1, "watch log: No such file or directory");
}

TEST_F(TailOfFiles, EndsWithItsReaderAtOnce) {
  Write("1");
  const Ctl tail(m_dir, "tail -c conf | head -c 1");
  EXPECT_TRUE(tail.Says("write standard output: Broken pipe"));
}

TEST_F(Tail, LosesNothingOfASenderThatDoesNotPauseForRotations) {
  const Ctl stopped(m_dir, "tail -c conf", "stopped");
  EXPECT_TRUE(stopped.Waits(m_dir / "log/tmp.tavok"));
  stopped.Pause();  // before the first rotation: it sleeps through all of them
  const Ctl tail(m_dir, "tail -c conf", "tail");
  EXPECT_TRUE(tail.Waits(m_dir / "log/tmp.tavok"));
  Flood flood(m_dir / "socket", {.senders = 1, .each = 500'000, .lead = 10'000});
  const auto await = [&](const auto& condition) {
    EXPECT_TRUE(Eventually([&] {
      const auto printed = long(std::filesystem::file_size(m_dir / "tail.out") / 100);
      flood.HasRead(printed);
      return condition(printed);
    }));
  };
  for (std::size_t files = 2; files <= 4; ++files) {
    await([before = std::time(nullptr)](long) { return std::time(nullptr) != before; });
    m_daemon.Signal(SIGHUP);
    await([&](long) { return LogFiles(m_dir).size() == files; });
  }
  const std::vector<int> counts = flood.Stop();
  await([&](long printed) { return printed >= counts[0]; });
  stopped.Signal(SIGCONT);
  ExpectOut(stopped, tail.Out());
  EXPECT_EQ("", NumberedFault(tail.Out(), counts));
  EXPECT_EQ("", tail.Err());
  EXPECT_EQ("", stopped.Err());
}
