#include "Ctl.h"

TEST(Options, WrongUseHasStatus2AndSaysWhatIsWrong) {
  const TempDir dir;
  const std::pair<std::string, std::string> cases[] = {
      {"", "Usage: tavokctl COMMAND"},
      {"halt", "unknown command halt"},
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
  for (const std::string command : {"check", "start", "stop", "rotate", "status", "tail"}) {
    Expect(dir, command + " --help", 0, "Usage: tavokctl " + command);
    Expect(dir, command + " -c missing", 1, "missing: No such file or directory");
  }
  Expect(dir, "trace --help", 0, "Usage: tavokctl trace");
}

TEST(Options, OutputThatCannotBeWrittenIsAFailure) {
  const TempDir dir;
  WriteFile(dir / "conf", "[LogServer]\n");
  for (const std::string words : {"--help", "check -c conf", "status -j -c conf"}) {
    EXPECT_EQ(1, Ctl(dir, words + " >/dev/full").Status()) << words;
  }
}
