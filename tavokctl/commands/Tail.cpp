#include <climits>

#include "Commands.h"
#include "base/Failure.h"
#include "base/Options.h"
#include "config/Config.h"
#include "state/Follower.h"

namespace {

constexpr const char* kUsage =
    "Usage: tavokctl tail [-c FILE] [-n LINES] [-f] [--no-follow]\n"
    "Prints the end of the text and follows it across rotations, until interrupted.\n"
    "  -c, --config FILE  the configuration that names the directory\n"
    "  -n, --lines LINES  start with the last LINES lines (default: 10), those of rotated files\n"
    "                     where the current one has fewer\n"
    "  -f, --follow       follow the text, which is the default\n"
    "      --no-follow    end after those lines\n";

}  // namespace

int Tail(int argc, char** argv) {
  std::string config = kDefaultConfig;
  unsigned lines = 10;
  bool isFollowed = true;
  ReadOptions(
      argc, argv, kUsage,
      {ConfigOption(config),
       {'n', "lines", true,
        [&lines](const std::string& count) { lines = ReadCount("-n", count, 0, INT_MAX); }},
       {'f', "follow", false, [&isFollowed](const std::string&) { isFollowed = true; }},
       {'\1', "no-follow", false, [&isFollowed](const std::string&) { isFollowed = false; }}});

  CFollower follower(ReadSettings(config)->m_strDirName);
  follower.WriteLastLines(lines);
  isFollowed ? follower.Follow() : follower.End();
  return kDone;
}
