#include <getopt.h>
#include <gtest/gtest.h>

#include "CommandLine.h"
#include "Globals.h"

namespace {

// Parses in a program of the name tavok that has parsed nothing so far.
void Parse(std::vector<std::string> words) {
  words.insert(words.begin(), "tavok");
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  ::optind = 0;
  g_sConfFile = "LogServer.conf";
  g_nSemId = 0;
  ParseCommandLine(int(words.size()), argv.data());
}

}  // namespace

TEST(CommandLine, TakesTwoOptionsAndIgnoresTheRest) {
  const std::string conf = "LogServer.conf";
  const struct {
    std::vector<std::string> words;
    std::string confFile;
    int semaphore;
    std::string diagnostics;
  } cases[] = {
      {{}, conf, 0, ""},
      {{"-c", "one"}, "one", 0, ""},
      {{"-cone", "--config=two"}, "two", 0, ""},
      {{"--config", "one", "-ctwo"}, "two", 0, ""},
      {{"--conf", "one"}, "one", 0, ""},
      {{"-c"}, conf, 0, "tavok: option requires an argument -- 'c'\n"},
      {{"-s", "1", "-s12x"}, conf, 12, ""},
      {{"-s1", "-s", "abc"}, conf, 0, ""},
      {{"-s", "-5"}, conf, -5, ""},
      {{"-s", "4294967299"}, conf, 3, ""},
      {{"-p", "-s1", "-l", "-s2", "-imbv", "word", "-s3"}, conf, 3, ""},
      {{"-x", "-s4"}, conf, 4, "tavok: invalid option -- 'x'\n"},
      {{"--semaphore=5"}, conf, 0, "tavok: unrecognized option '--semaphore=5'\n"},
  };
  for (const auto& it : cases) {
    testing::internal::CaptureStderr();
    Parse(it.words);
    EXPECT_EQ(it.diagnostics, testing::internal::GetCapturedStderr());
    EXPECT_EQ(it.confFile, g_sConfFile) << testing::PrintToString(it.words);
    EXPECT_EQ(it.semaphore, g_nSemId) << testing::PrintToString(it.words);
  }
}

TEST(CommandLine, HelpShowsTheConfigurationFileSoFarAndExits) {
  for (const char* help : {"-h", "--help", "--he"}) {
    const auto parse = [help] {
      ::dup2(STDERR_FILENO, STDOUT_FILENO);  // what an exit test looks at
      Parse({"-cmy.conf", help, "-cother", "-x"});
    };
    EXPECT_EXIT(parse(), testing::ExitedWithCode(0),
                "^Usage : tavok \\[OPTIONS\\]\n"
                " -c, --config          config file name \\(default: my\\.conf\\)\n"
                " -h, --help            print this help message\\.\n$");
  }
}
