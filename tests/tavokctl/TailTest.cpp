#include "Ctl.h"

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
  void Rename(const std::string& from, const std::string& to) const {
    std::filesystem::rename(File(from), File(to));
  }

  const TempDir m_dir;
};

// Waits until it has printed so much, and expects the text.
void ExpectOut(const Ctl& tail, const std::string& text) {
  Eventually([&] { return tail.Out().size() >= text.size(); });
  EXPECT_EQ(text, tail.Out());
}

// Sends numbered lines to a daemon, and remembers all of them.
class Feed {
 public:
  explicit Feed(const TempDir& dir) : m_dir(dir), m_sender(dir / "socket") {}

  // Returns when they have been logged.
  void Send(int count) {
    for (int i = 0; i < count; ++i) {
      const std::string line = std::to_string(m_next++) + "\n";
      m_sender.Send(line);
      m_sent += line;
    }
    EXPECT_TRUE(Eventually([this] { return Logged(m_dir) == m_sent; }));
  }
  const std::string& Sent() const { return m_sent; }

 private:
  const TempDir& m_dir;
  const Sender m_sender;
  int m_next = 1000;
  std::string m_sent;
};

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
    Rename("tmp.tavok", name);
    Write(name + 6);
  }
  Rename("tavok_c", "tavok_b");  // as a second rotation within a second does
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
  Rename("tmp.tavok", "tavok_d");
  AwaitNextSecond();
  std::filesystem::remove(File("tavok_d"));
  Write("?");
  ExpectOut(tail, "oldagain!?");
}

TEST_F(TailOfFiles, EndsWithoutADirectory) {
  Ctl tail(m_dir, "tail -c conf");
  Write("1");
  EXPECT_TRUE(tail.Says("1"));
  std::filesystem::remove_all(m_dir / "log");
  EXPECT_EQ(1, tail.Status());
  EXPECT_NE(std::string::npos, tail.Err().find("it has been removed")) << tail.Err();
  Expect(m_dir, "tail -c conf", 1, "watch log: No such file or directory");
}

TEST(Tail, FollowsEveryRotationAndLosesNothing) {
  const TempDir dir;
  Daemon daemon(dir);
  ASSERT_TRUE(daemon.IsUp());
  Feed feed(dir);
  const Ctl tail(dir, "tail -c conf -n 1000", "tail");
  const Ctl stopped(dir, "tail -c conf -n 1000", "stopped");
  feed.Send(500);
  ExpectOut(tail, feed.Sent());
  ExpectOut(stopped, feed.Sent());
  stopped.Pause();  // before the first rotation: it sleeps through all of them
  for (int round = 0; round < 4; ++round) {
    Expect(dir, "rotate -c conf", 0, "rotated");
    feed.Send(500);
    ExpectOut(tail, feed.Sent());
  }
  stopped.Signal(SIGCONT);
  ExpectOut(stopped, feed.Sent());
  EXPECT_EQ("", tail.Err());
  EXPECT_EQ("", stopped.Err());
}

TEST(Tail, KeepsUpWithASenderThatDoesNotPauseForRotations) {
  constexpr std::size_t kAhead = 1 << 20;  // how many bytes the sender may be ahead of its reader
  const TempDir dir;
  const Daemon daemon(dir);
  ASSERT_TRUE(daemon.IsUp());
  const Ctl tail(dir, "tail -c conf", "tail");
  EXPECT_TRUE(tail.Waits(dir / "log/tmp.tavok"));
  std::string sent;
  const auto isAhead = [&] {
    return sent.size() > std::filesystem::file_size(dir / "tail.out") + kAhead;
  };
  {
    const std::jthread sending([&](const std::stop_token& stop) {
      const Sender sender(dir / "socket");
      for (int i = 0; !stop.stop_requested(); ++i) {
        const std::string line = std::to_string(i) + "\n";
        sender.Send(line);
        sent += line;
        while (isAhead() && !stop.stop_requested()) ::usleep(1000);
      }
    });
    for (std::size_t files = 2; files <= 4; ++files) {
      AwaitNextSecond();
      daemon.Signal(SIGHUP);
      EXPECT_TRUE(Eventually([&] { return LogFiles(dir).size() == files; }));
    }
  }
  Eventually([&] { return tail.Out().size() >= sent.size(); });
  EXPECT_TRUE(tail.Out() == sent);  // millions of lines: too many to print
}
