#include "state/LogDirectory.h"

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <tuple>

#include "LogFileNames.h"
#include "base/Failure.h"

std::vector<CRotatedFile> RotatedFiles(const std::string& directory) {
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(::opendir(directory.c_str()), &::closedir);
  if (!stream) throw CFailure("read directory " + directory, errno);
  std::vector<CRotatedFile> files;
  while (const dirent* const entry = ::readdir(stream.get())) {
    if (std::strstr(entry->d_name, kRotatedMark) == nullptr) continue;
    // What cannot be examined, such as a dangling link, is skipped by tavok, too.
    if (const auto state = TryToLook(PathIn(directory, entry->d_name))) {
      files.push_back({entry->d_name, *state});
    }
  }
  std::sort(files.begin(), files.end(), [](const CRotatedFile& a, const CRotatedFile& b) {
    return std::tie(a.state.changed.tv_sec, a.name) < std::tie(b.state.changed.tv_sec, b.name);
  });
  return files;
}
