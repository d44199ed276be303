#include <atomic>
#include <thread>

#include "Flood.h"
#include "LogOfFiles.h"
#include "Numbered.h"
#include "RunningTavok.h"

namespace {

class TailOfFiles : public LogOfFiles {
 protected:
  void Write(const std::string& text) const { WriteFile(File("tmp.tavok"), text); }
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

TEST_F(TailOfFiles, ReachesBackIntoRotatedFiles) {
  const std::string block(70000, 'x');
  WriteFile(File("tavok_20260101_000000.log"), "1\n2\n" + block + "\n3");
  WriteFile(File("tavok_20260102_000000.log"), "");
  WriteFile(File("tavok_20260103_000000.log"), "4\n5");
  const std::tuple<std::string, int, std::string> cases[] = {
      {"6\n7\n", 2, "56\n7\n"},
      {"6\n7\n", 1, "7\n"},
      {"6\n7\n", 3, "34\n56\n7\n"},
      {"6\n7\n", 4, block + "\n34\n56\n7\n"},
      {"6\n7\n", 9, "1\n2\n" + block + "\n34\n56\n7\n"},
      {"", 1, "5"},
      {"", 2, "34\n5"},
      {"", 0, ""}};
  for (const auto& [text, lines, end] : cases) {
    Write(text);
    Ctl tail(m_dir, "tail -f -c conf --no-follow -n " + std::to_string(lines));
    EXPECT_EQ(0, tail.Status());
    EXPECT_EQ(end, tail.Out()) << lines;
  }
  std::filesystem::remove(File("tmp.tavok"));  // after a failed rotation, it may be missing
  EXPECT_EQ("5", Expect(m_dir, "tail -c conf --no-follow -n 1", 0, ""));
}

// The kernel keeps so many events for a reader that does not come, and no more.
TEST_F(TailOfFiles, SaysWhenItHasMissedRotations) {
  Write("first\n");
  const Ctl tail(m_dir, "tail -c conf");
  EXPECT_TRUE(tail.Says("first"));
  tail.Pause();
  for (int i = 0; i < 9000; ++i) {
    std::filesystem::rename(File("tmp.tavok"), File("tavok_x"));
    Write("");
  }
  std::filesystem::rename(File("tmp.tavok"), File("tavok_last"));
  WriteFile(File("tavok_last"), "last\n");
  Write("current\n");
  tail.Signal(SIGCONT);
  EXPECT_TRUE(tail.Says("events were lost, since the output was stalled for too long"));
  ExpectOut(tail, "first\nlast\ncurrent\n");
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

// The name that the old file has got is awaited for a moment only.
TEST_F(TailOfFiles, GoesOnInABusyDirectory) {
  Write("1");
  const Ctl tail(m_dir, "tail -c conf");
  EXPECT_TRUE(tail.Says("1"));
  std::filesystem::rename(File("tmp.tavok"), m_dir / "elsewhere");
  Write("2");
  std::atomic<bool> isOver = false;
  std::jthread other([&] {
    for (; !isOver; Nap(3)) WriteFile(File("notes"), "busy");
  });
  EXPECT_TRUE(tail.Says("12"));
  isOver = true;
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
  Ctl tail(m_dir, "-o pipefail -c '" TAVOK_DIRECTORY "/tavokctl tail -c conf | head -c 1'", "tail",
           "/bin/bash");
  EXPECT_EQ(128 + SIGPIPE, tail.Status());
  EXPECT_EQ("1", tail.All());
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
