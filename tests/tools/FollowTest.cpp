#include "Ctl.h"

TEST(Tail, BeginsWithTheLastLines) {
  const TempDir dir;
  std::filesystem::create_directory(dir / "log");
  WriteFile(dir / "conf", "[LogServer]\nDirName=log\n");
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
    WriteFile(dir / "log/tmp.tavok", text);
    const Ctl tail(dir, "tail -c conf " + words);
    EXPECT_TRUE(tail.Waits(dir / "log/tmp.tavok"));
    std::ofstream(dir / "log/tmp.tavok", std::ios::app) << "more";
    EXPECT_TRUE(Eventually([&] { return tail.Out().ends_with("more"); }));
    EXPECT_EQ(end + "more", tail.Out());
  }
}

TEST(Tail, FollowsEveryRotationAndLosesNothing) {
  const TempDir dir;
  Daemon daemon(dir);
  ASSERT_TRUE(daemon.IsUp());
  std::string sent;
  const Sender sender(dir / "socket");
  const auto feed = [&](int round) {
    for (int i = 0; i < 500; ++i) {
      const std::string line = std::to_string(1000 * round + i) + "\n";
      sender.Send(line);
      sent += line;
    }
    EXPECT_TRUE(Eventually([&] { return Logged(dir) == sent; }));
  };
  const Ctl tail(dir, "tail -c conf -n 1000", "tail");
  Ctl stopped(dir, "tail -c conf -n 1000", "stopped");
  for (int round = 0; round < 4; ++round) {
    feed(round);
    // The other one has seen no rotation when it is stopped; it sleeps through all of them.
    EXPECT_TRUE(
        Eventually([&] { return round != 0 || (stopped.Out() == sent && tail.Out() == sent); }));
    stopped.Pause();
    Expect(dir, "rotate -c conf", 0, "rotated");
    EXPECT_TRUE(Eventually([&] { return tail.Out() == sent; }));
  }
  feed(9);
  stopped.Signal(SIGCONT);
  EXPECT_TRUE(Eventually([&] { return stopped.Out() == sent; }));
  EXPECT_EQ(sent, stopped.Out());
  EXPECT_EQ(sent, tail.Out());
  EXPECT_EQ("", tail.Err() + stopped.Err());
}

TEST(Tail, KeepsUpWithSendersThatDoNotPause) {
  const TempDir dir;
  Daemon daemon(dir);
  ASSERT_TRUE(daemon.IsUp());
  const Ctl tail(dir, "tail -c conf");
  EXPECT_TRUE(tail.Waits(dir / "log/tmp.tavok"));
  {
    const std::jthread sending([&dir](const std::stop_token& stop) {
      const Sender sender(dir / "socket");
      for (int i = 0; !stop.stop_requested(); ++i) sender.Send(std::to_string(i) + "\n");
    });
    for (int i = 0; i < 3; ++i) AwaitNextSecond(), daemon.Signal(SIGHUP);
  }
  EXPECT_TRUE(Eventually([&] { return LogFiles(dir).size() == 4 && tail.Out() == Logged(dir); }));
}

TEST(Tail, SaysWhatItCannotFollow) {
  const TempDir dir;
  WriteFile(dir / "conf", "[LogServer]\nDirName=log\n");
  Expect(dir, "tail -c conf", 1, "watch log: No such file or directory");
  const auto file = [&](const std::string& name) { return dir / ("log/" + name); };
  std::filesystem::create_directory(dir / "log");
  Ctl tail(dir, "tail -c conf");
  WriteFile(file("tmp.tavok"), "1");  // it may come later
  EXPECT_TRUE(tail.Says("1"));
  tail.Pause();
  for (const char* const name : {"tavok_a", "tavok_b", "tavok_c"}) {
    std::filesystem::rename(file("tmp.tavok"), file(name));
    WriteFile(file("tmp.tavok"), name + 6);
  }
  std::filesystem::rename(file("tavok_c"),
                          file("tavok_b"));  // as a second rotation in a second does
  tail.Signal(SIGCONT);
  EXPECT_TRUE(tail.Says("tavok_c was removed before it could be read"));
  EXPECT_TRUE(Eventually([&] { return tail.Out() == "1bc"; })) << tail.Out();
  WriteFile(file("tmp.tavok"), "");
  EXPECT_TRUE(tail.Says("the file was cut"));
  WriteFile(file("tmp.tavok"), "again");
  EXPECT_TRUE(Eventually([&] { return tail.Out() == "1bcagain"; })) << tail.Out();
  std::filesystem::remove(file("tmp.tavok"));
  WriteFile(file("tmp.tavok"), "!");
  EXPECT_TRUE(Eventually([&] { return tail.Out() == "1bcagain!"; })) << tail.Out();
  // Rotated and deleted before there is a new one, which may then get its inode.
  std::filesystem::rename(file("tmp.tavok"), file("tavok_d"));
  AwaitNextSecond();
  std::filesystem::remove(file("tavok_d"));
  WriteFile(file("tmp.tavok"), "?");
  EXPECT_TRUE(Eventually([&] { return tail.Out() == "1bcagain!?"; })) << tail.Out();
  std::filesystem::remove_all(dir / "log");
  EXPECT_EQ(1, tail.Status());
  EXPECT_NE(std::string::npos, tail.Err().find("it has been removed"));
}

TEST(Tail, TracedPrintsWhatTheLibrarySays) {
  const TempDir dir;
  const std::string path = "/tmp/ZABKTraceCon";
  WriteFile(path, "");  // somebody's, and no collector's
  Expect(dir, "trace", 1, "collect at " + path + ": Address already in use");
  std::filesystem::remove(path);
  {
    const Collector killed(path.c_str());
    std::filesystem::rename(path, path + "_");
  }
  std::filesystem::rename(path + "_", path);

  Ctl trace(dir, "trace"), diag(dir, "trace --diag", "diag");
  EXPECT_TRUE(trace.Says("collecting at " + path + ", until interrupted"));
  EXPECT_TRUE(diag.Says("collecting at /tmp/ZABKDiagCon"));
  {
    Ctl second(dir, "trace", "second");
    EXPECT_TRUE(second.Says("another collector is alive"));
    EXPECT_EQ(1, second.End(SIGTERM));
  }
  const Sender sender(path);
  sender.Send(
      std::string("\1\x15\xCD\x5B\7\xFF\xFF\xFF\xFF"
                  "a\033[2Jb\n\0",
                  17));
  EXPECT_TRUE(trace.Says("Z pid 123456789 thread 4294967295 a?[2Jb\n"));
  sender.Send("short");
  EXPECT_TRUE(trace.Says(" a message of another kind, 5 bytes\n"));
  {
    Daemon daemon(dir);
    const std::string line = "Z pid " + daemon.Pid() + " thread ";
    EXPECT_TRUE(daemon.IsUp());
    EXPECT_EQ(0, daemon.Stop());
    EXPECT_TRUE(trace.Says(line));
  }
  EXPECT_EQ(0, trace.End(SIGINT));
  EXPECT_EQ(0, diag.End(SIGTERM));
  for (const std::string& left : {path, path + "_Active", std::string("/tmp/ZABKDiagCon")}) {
    EXPECT_FALSE(std::filesystem::exists(left)) << left;
  }
}
