#include <climits>

#include "Commands.h"
#include "base/Failure.h"
#include "base/Options.h"
#include "config/Config.h"
#include "state/Follower.h"

namespace {

constexpr const char* kUsage =
    "Usage: tavokctl tail [-c FILE] [-n LINES]\n"
    "Prints the end of the current file and follows it across rotations, until interrupted.\n"
    "  -c, --config FILE  the configuration that names the directory\n"
    "  -n, --lines LINES  start with the last LINES lines of the current file (default: 10)\n";

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
