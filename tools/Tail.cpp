#include <climits>

#include "Command.h"
#include "Config.h"
#include "Follower.h"

namespace {

constexpr const char* kUsage =
    "Usage: tavokctl tail [-c FILE] [-n LINES]\n"
    "Prints the end of the current file and follows it across rotations, until interrupted.\n"
    "  -c, --config FILE  the configuration that names the directory\n"
    "  -n, --lines LINES  begin with so many lines of the current file (default: 10)\n";

}  // namespace

int Tail(int argc, char** argv) {
  std::string config = kDefaultConfig;
  unsigned lines = 10;
  ReadOptions(argc, argv, kUsage,
              {ConfigOption(config), {'n', "lines", true, [&lines](const std::string& count) {
                                        lines = ReadCount("-n", count, 0, INT_MAX);
                                      }}});

  CFollower(ReadSettings(config)->m_strDirName).Follow(lines);
  return kDone;
}
