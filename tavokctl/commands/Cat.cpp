#include <limits>

#include "Commands.h"
#include "base/Failure.h"
#include "base/Options.h"
#include "base/PointInTime.h"
#include "config/Config.h"
#include "state/History.h"

namespace {

constexpr const char* kUsage =
    "Usage: tavokctl cat [-c FILE] [--since T] [--until T]\n"
    "Prints all text that tavok has kept, byte for byte: the rotated files, oldest first, and "
    "then\n"
    "the current one.\n"
    "  -c, --config FILE  the configuration that names the directory\n"
    "  -S, --since T      only files that were written to at or after this time\n"
    "  -U, --until T      only files that were written to at or before this time\n"
    "T is YYYY-MM-DD[ HH:MM[:SS]] in UTC, @SECONDS since 1970, or an age: 90s, 10min, 2h, 3d. "
    "tavok\n"
    "keeps no time for each line, so whole files are printed: each from the rotation before it to\n"
    "its own.\n";

using Limits = std::numeric_limits<std::time_t>;

}  // namespace

int Cat(int argc, char** argv) {
  std::string config = kDefaultConfig;
  std::time_t since = Limits::min(), until = Limits::max();
  const std::time_t now = std::time(nullptr);
  const auto timeOption = [now](char letter, const char* name, std::time_t& time) -> COption {
    return {letter, name, true, [name, now, &time](const std::string& text) {
              time = ReadPointInTime("--" + std::string(name), text, now);
            }};
  };
  ReadOptions(
      argc, argv, kUsage,
      {ConfigOption(config), timeOption('S', "since", since), timeOption('U', "until", until)});
  if (since > until) throw CWrongUse("--since is after --until");

  const std::string directory = ReadSettings(config)->m_strDirName;
  std::vector<CPastFile> files = Within(PastFiles(directory), since, until);
  HoldOpen(directory, files);
  CTextOutput output;
  bool isWhole = true;
  for (CPastFile& file : files) {
    const bool isThere = EnsureOpen(directory, file);
    if (isThere) WriteAndClose(file, 0, output);
    isWhole = isWhole && isThere;
  }
  output.End();
  return isWhole ? kDone : kFailed;
}
