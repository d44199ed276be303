#include <getopt.h>
#include <gtest/gtest.h>

#include "CommandLine.h"
#include "Globals.h"

TEST(CommandLine, TakesTwoOptionsAndIgnoresTheRest) {
  const std::string conf = "LogServer.conf";
  struct {
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
  for (auto& it : cases) {
    std::string program = "tavok";
    std::vector<char*> argv = {program.data()};
    for (std::string& word : it.words) argv.push_back(word.data());
    ::optind = 0;
    g_sConfFile = conf;
    g_nSemId = 0;
    testing::internal::CaptureStderr();
    ParseCommandLine(int(argv.size()), argv.data());
    EXPECT_EQ(it.diagnostics, testing::internal::GetCapturedStderr());
    EXPECT_EQ(it.confFile, g_sConfFile) << testing::PrintToString(it.words);
    EXPECT_EQ(it.semaphore, g_nSemId) << testing::PrintToString(it.words);
  }
}
