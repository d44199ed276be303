#include "Ctl.h"

TEST(Options, WrongUseHasStatus2AndSaysWhatIsWrong) {
  const TempDir dir;
  const std::pair<std::string, std::string> cases[] = {
      {"", "Usage: tavokctl COMMAND"},
      {"stats", "tavokctl: unknown command stats; did you mean status?\nTry tavokctl --help.\n"},
      {"help resart", "did you mean restart?"},
      {"help status now", "unexpected argument \"now\""},
      {"-c x trace", "trace: unknown option -c"},
      {"stop -- now", "unexpected argument \"now\""},
      {"start -- -x -- -y", "-- among the options for tavok"},
      {"prepare", "--owner takes UID:GID, not \"\""},
      {"prepare -o 1:tavok", "--owner takes a number from 0 to"},
      {"start -m 666", "--socket-mode without --foreground"},
      {"start -f -m 0o6", "--socket-mode takes three octal digits"},
      {"stop -x", "unknown option -x"},
      {"status --jason", "unknown option --jason"},
      {"trace -c conf", "unknown option -c"},
      {"check -c", "-c requires an argument"},
      {"rotate now", "unexpected argument \"now\""},
      {"start --timeout 0", "--timeout takes a number from 1 to 3600, not \"0\""},
      {"stop --timeout 1s", "not \"1s\""},
      {"tail -n -1", "-n takes a number from 0 to"},
      {"tail -n 99999999999", "-n takes a number"},
  };
  for (const auto& [words, text] : cases) Expect(dir, words, 2, text);
}

TEST(Options, EachCommandHasAHelpTextAndNamesAMissingConfiguration) {
  const TempDir dir;
  for (const std::string command : {"check", "start", "stop", "rotate", "status", "cat", "tail"}) {
    Expect(dir, command + " --help", 0, "Usage: tavokctl " + command);
    Expect(dir, "help " + command, 0, "Usage: tavokctl " + command);
    const int status = command == "status" ? 4 : 1;
    for (const std::string& words : {command + " -c missing", "-c missing " + command,
                                     "--config=missing " + command, "-cmissing " + command}) {
      Expect(dir, words, status, "missing: No such file or directory");
    }
  }
  Expect(dir, "trace --help", 0, "Usage: tavokctl trace");
  Expect(dir, "help", 0, "Usage: tavokctl COMMAND");
  Expect(dir, "-c missing help cat", 0, "Usage: tavokctl cat");
}

TEST(Options, OutputThatCannotBeWrittenIsAFailure) {
  const TempDir dir;
  WriteFile(dir / "conf", "[LogServer]\nDirName=log\n");
  std::filesystem::create_directory(dir / "log");
  WriteFile(dir / "log/tmp.tavok", "text\n");
  // With more text than stdio keeps.
  const std::string conf = std::string(4000, '/') + dir / "conf";
  for (const std::string& words : std::initializer_list<std::string>{
           "--help", "check -c conf", "status -j -c conf", "status -c " + conf, "cat -c conf",
           "tail --no-follow -c conf"}) {
    const int expected = words.starts_with("status") ? 4 : 1;  // 1 would say that none runs
    for (const auto& [output, reason] : std::initializer_list<std::pair<std::string, std::string>>{
             {" >/dev/full", "No space left on device"}, {" >&-", "Bad file descriptor"}}) {
      Ctl ctl(dir, words + output);
      EXPECT_EQ(expected, ctl.Status()) << words << output;
      EXPECT_TRUE(ctl.Says("write standard output: " + reason)) << words << output;
    }
  }
}
