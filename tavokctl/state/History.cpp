#include "state/History.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <optional>
#include <tuple>

#include "LogFileNames.h"
#include "base/Failure.h"
#include "state/LogDirectory.h"

namespace {

constexpr std::time_t kFuture = std::numeric_limits<std::time_t>::max();
constexpr std::size_t kBlock = 65536;
constexpr int kAttempts = 20;

std::time_t EndOf(const CRotatedFile& file) {
  std::tm time{};
  const char* const end = ::strptime(file.name.c_str(), "tavok_%Y%m%d_%H%M%S.log", &time);
  const std::time_t changed = file.state.changed.tv_sec;
  // A name of the future is that of a clock that was wrong, or somebody's joke.
  return end != nullptr && *end == '\0' ? std::min(::timegm(&time), changed) : changed;
}

// None, with errno, if it cannot be opened.
CDescriptor TryToOpen(const std::string& path) {
  return CDescriptor(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
}

std::vector<CPastFile> Rotated(const std::string& directory) {
  std::vector<CPastFile> files;
  for (const CRotatedFile& file : RotatedFiles(directory)) {
    if (S_ISREG(file.state.mode))
      files.push_back({file.name, EndOf(file), CDescriptor(), file.state});
  }
  std::sort(files.begin(), files.end(), [](const CPastFile& a, const CPastFile& b) {
    return std::tie(a.end, a.name) < std::tie(b.end, b.name);
  });
  return files;
}

// Leaves out what was rotated after that file, just now: a clock that was set back has left files
// of times to come. It stays open. Returns false if it is not among them.
bool CutBehind(std::vector<CPastFile>& files, CDescriptor& file, const CFileId& id) {
  const auto it = std::find_if(files.begin(), files.end(),
                               [&](const CPastFile& one) { return one.state.id == id; });
  if (it == files.end()) return false;
  it->file = std::move(file);
  const std::time_t now = std::time(nullptr);
  files.erase(std::remove_if(std::next(it), files.end(),
                             [now](const CPastFile& one) { return one.end <= now; }),
              files.end());
  return true;
}

// None if a file was made, or rotated and then replaced or removed, meanwhile. The last attempt
// takes it as it is: each rotation within one second replaces the file of the one before.
std::optional<std::vector<CPastFile>> TryToList(const std::string& directory, bool isLast) {
  const std::string path = PathIn(directory, kCurrentName);
  CDescriptor current = TryToOpen(path);
  if (!current && errno != ENOENT) throw CFailure("open " + path, errno);
  std::vector<CPastFile> files = Rotated(directory);
  const auto now = TryToLook(path);
  if (!current) return now && !isLast ? std::nullopt : std::optional(std::move(files));
  const CFileState state = Look(current, path);
  if (!S_ISREG(state.mode)) throw CFailure("read " + path + ": it is not a regular file");
  if (!isLast && !(now && now->id == state.id)) {
    // Rotated meanwhile. Only a list that was made after that is sure to have it, and tells what
    // came before it.
    files = Rotated(directory);
    return CutBehind(files, current, state.id) ? std::optional(std::move(files)) : std::nullopt;
  }
  // A link to it may be called like a rotated file.
  std::erase_if(files, [&](const CPastFile& file) { return file.state.id == state.id; });
  files.push_back({kCurrentName, kFuture, std::move(current), state});
  return files;
}

}  // namespace

std::vector<CPastFile> PastFiles(const std::string& directory) {
  for (int attempt = 1;; ++attempt) {
    if (auto files = TryToList(directory, attempt == kAttempts)) return std::move(*files);
  }
}

std::vector<CPastFile> Within(std::vector<CPastFile> files, std::time_t since, std::time_t until) {
  std::vector<CPastFile> chosen;
  std::time_t begin = std::numeric_limits<std::time_t>::min();
  for (CPastFile& file : files) {
    const std::time_t end = file.end;
    if (end >= since && begin <= until) chosen.push_back(std::move(file));
    begin = end;
  }
  return chosen;
}

std::size_t RaiseFileLimit() {
  rlimit limit{};
  (void)::getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  (void)::setrlimit(RLIMIT_NOFILE, &limit);
  return limit.rlim_cur / 2;
}

void HoldOpen(const std::string& directory, std::vector<CPastFile>& files) {
  const std::size_t most = std::min(files.size(), RaiseFileLimit());
  for (std::size_t i = 0; i < most; ++i) {
    if (!files[i].file) files[i].file = TryToOpen(PathIn(directory, files[i].name));
  }
}

bool EnsureOpen(const std::string& directory, CPastFile& file) {
  const std::string path = PathIn(directory, file.name);
  if (!file.file) file.file = TryToOpen(path);
  if (!file.file && errno != ENOENT) {
    Complain("tavokctl: open " + path + ": " + std::strerror(errno));
    return false;
  }
  // A later rotation within the same second may have replaced it.
  if (file.file && Look(file.file, path).id == file.state.id) return true;
  file.file.Close();
  Complain("tavokctl: " + path + " was removed before it could be read");
  return false;
}

void WriteAndClose(CPastFile& file, std::uint64_t from, CTextOutput& output) {
  char block[kBlock];
  for (std::uint64_t end = Look(file.file, file.name).size; from < end;) {
    const std::size_t size = std::min<std::uint64_t>(end - from, sizeof block);
    const ssize_t count = ::pread(file.file.Get(), block, size, static_cast<off_t>(from));
    if (count == -1) throw CFailure("read " + file.name, errno);
    if (count == 0) break;  // somebody has truncated it
    output.Write(block, static_cast<std::size_t>(count));
    from += static_cast<std::uint64_t>(count);
  }
  file.file.Close();
}
