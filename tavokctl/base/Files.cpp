#include "base/Files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>

#include "base/Failure.h"

namespace {

CFileState State(const struct stat& status) {
  return {{status.st_dev, status.st_ino},
          status.st_mode,
          static_cast<std::uint64_t>(status.st_size),
          status.st_mtime,
          status.st_ctim};
}

void RequireRegular(const CFileState& state, const std::string& path) {
  if (S_ISDIR(state.mode)) throw CFailure("read " + path, EISDIR);
  if (!S_ISREG(state.mode)) throw CFailure("read " + path + ": it is not a regular file");
}

}  // namespace

CDescriptor OpenFile(const std::string& path, int flags, mode_t mode) {
  CDescriptor file(::open(path.c_str(), flags | O_CLOEXEC, mode));
  if (!file) throw CFailure("open " + path, errno);
  return file;
}

std::size_t ReadSome(const CDescriptor& file, const std::string& path, char* buffer,
                     std::size_t size) {
  const ssize_t count = ::read(file.Get(), buffer, size);
  if (count == -1) throw CFailure("read " + path, errno);
  return static_cast<std::size_t>(count);
}

std::string ReadText(const std::string& path, std::size_t limit) {
  // Before it is opened, which has effects of its own for some devices.
  if (const auto state = TryToLook(path)) RequireRegular(*state, path);
  const CDescriptor file = OpenFile(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  RequireRegular(Look(file, path), path);
  std::string text;
  char block[4096];
  while (const std::size_t count = ReadSome(file, path, block, sizeof block)) {
    text.append(block, count);
    if (text.size() > limit) {
      throw CFailure("read " + path + ": it has more than " + std::to_string(limit) + " bytes");
    }
  }
  return text;
}

std::optional<CFileState> Look(const std::string& path) {
  struct stat status;
  if (::stat(path.c_str(), &status) == 0) return State(status);
  if (errno == ENOENT) return {};
  throw CFailure("look at " + path, errno);
}

CFileState Look(const CDescriptor& file, const std::string& path) {
  struct stat status;
  if (::fstat(file.Get(), &status) == -1) throw CFailure("look at " + path, errno);
  return State(status);
}

std::optional<CFileState> TryToLook(const std::string& path) {
  return TryToLook(AT_FDCWD, path.c_str());
}

std::optional<CFileState> TryToLook(int directory, const char* name) {
  struct stat status;
  if (::fstatat(directory, name, &status, 0) == -1) return {};
  return State(status);
}

void ReplaceFile(const std::string& path, const std::string& text) {
  const std::string draft = path + ".new";
  {
    const CDescriptor file = OpenFile(draft, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, 0644);
    const ssize_t written = ::write(file.Get(), text.data(), text.size());
    const int error = written == -1 ? errno : ENOSPC;
    if (written != static_cast<ssize_t>(text.size())) {
      (void)::unlink(draft.c_str());
      throw CFailure("write " + draft, error);
    }
  }
  if (::rename(draft.c_str(), path.c_str()) == -1) throw CFailure("rename " + draft, errno);
}

std::string PathIn(const std::string& directory, const std::string& name) {
  return directory.ends_with('/') ? directory + name : directory + '/' + name;
}

std::string LinkAt(const std::string& path) {
  char target[PATH_MAX];
  const ssize_t size = ::readlink(path.c_str(), target, sizeof target);
  return size == -1 ? std::string() : std::string(target, static_cast<std::size_t>(size));
}
