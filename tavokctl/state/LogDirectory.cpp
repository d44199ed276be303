#include "state/LogDirectory.h"

#include <dirent.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "LogFileNames.h"
#include "base/Failure.h"

void ForEachRotated(const std::string& directory,
                    const std::function<void(const char* name, const CFileState&)>& use) {
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(::opendir(directory.c_str()), &::closedir);
  if (!stream) throw CFailure("read directory " + directory, errno);
  while (const dirent* const entry = ::readdir(stream.get())) {
    if (std::strstr(entry->d_name, kRotatedMark) == nullptr) continue;
    if (const auto state = TryToLook(::dirfd(stream.get()), entry->d_name)) {
      use(entry->d_name, *state);
    }
  }
}

std::vector<CRotatedFile> RotatedFiles(const std::string& directory) {
  std::vector<CRotatedFile> files;
  ForEachRotated(directory, [&files](const char* name, const CFileState& state) {
    files.push_back({name, state});
  });
  return files;
}

std::string DirectoryInUse(const COpenFiles& open, const std::string& configured) {
  for (const auto& file : open.written) {
    const std::size_t slash = file.path.rfind('/');
    // There may be " (deleted)" behind the name.
    if (file.path.substr(slash + 1).starts_with(kCurrentName)) return file.path.substr(0, slash);
  }
  return configured;
}
