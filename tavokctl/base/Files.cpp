#include "base/Files.h"

#include <fcntl.h>
#include <libgen.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>

#include "base/Failure.h"

namespace {

CFileState State(const struct stat& status) {
  return {{status.st_dev, status.st_ino},
          status.st_mode,
          status.st_uid,
          static_cast<std::uint64_t>(status.st_size),
          status.st_mtime,
          status.st_ctim};
}

void RequireRegular(const CFileState& state, const std::string& path, const char* verb = "read ") {
  if (S_ISDIR(state.mode)) throw CFailure(verb + path, EISDIR);
  if (!S_ISREG(state.mode)) throw CFailure(verb + path + ": it is not a regular file");
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

void ReplaceFile(const std::string& name, const std::string& text) {
  const auto old = TryToLook(name);
  if (old) RequireRegular(*old, name, "write ");
  std::error_code unknown;
  std::string path = std::filesystem::weakly_canonical(name, unknown);  // a link stays one
  if (path.empty()) path = name;
  std::string draft = path + ".XXXXXX";
  const CDescriptor file(::mkostemp(draft.data(), O_CLOEXEC));
  if (!file) throw CFailure("write " + path, errno);
  (void)::fchmod(file.Get(), old ? old->mode & 0777 : 0644);
  const ssize_t written = ::write(file.Get(), text.data(), text.size());
  const bool isWhole = written == static_cast<ssize_t>(text.size());
  if (isWhole && ::rename(draft.c_str(), path.c_str()) == 0) return;
  const int error = isWhole || written == -1 ? errno : ENOSPC;
  (void)::unlink(draft.c_str());
  throw CFailure("write " + path, error);
}

std::string PathIn(const std::string& directory, const std::string& name) {
  return directory.ends_with('/') ? directory + name : directory + '/' + name;
}

std::string FolderOf(const std::string& path) {
  std::string copy = path;
  return ::dirname(copy.data());
}

std::string LinkAt(const std::string& path) {
  char target[PATH_MAX];
  const ssize_t size = ::readlink(path.c_str(), target, sizeof target);
  return size == -1 ? std::string() : std::string(target, static_cast<std::size_t>(size));
}
