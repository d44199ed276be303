#include "base/Files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

#include "base/Failure.h"
#include "base/Stopwatch.h"

namespace {

constexpr useconds_t kLockPollUs = 2000;

CFileState State(const struct stat& status) {
  return {
      {status.st_dev, status.st_ino}, static_cast<std::uint64_t>(status.st_size), status.st_ctime};
}

}  // namespace

CDescriptor OpenFile(const std::string& path, int flags) {
  CDescriptor file(::open(path.c_str(), flags | O_CLOEXEC));
  if (!file) throw CFailure("open " + path, errno);
  return file;
}

std::size_t ReadSome(const CDescriptor& file, const std::string& path, char* buffer,
                     std::size_t size) {
  const ssize_t count = ::read(file.Get(), buffer, size);
  if (count == -1) throw CFailure("read " + path, errno);
  return static_cast<std::size_t>(count);
}

CDescriptor Locked(const std::string& path, unsigned seconds) {
  CDescriptor lock = OpenFile(path, O_RDONLY);
  for (const CStopwatch watch; ::flock(lock.Get(), LOCK_EX | LOCK_NB) == -1;
       ::usleep(kLockPollUs)) {
    if (errno != EWOULDBLOCK && errno != EINTR) throw CFailure("lock " + path, errno);
    if (watch.Seconds() >= seconds) throw CFailure("lock " + path + ": another process holds it");
  }
  return lock;
}

std::string ReadText(const std::string& path) {
  const CDescriptor file = OpenFile(path, O_RDONLY);
  std::string text;
  char block[4096];
  while (const std::size_t count = ReadSome(file, path, block, sizeof block)) {
    text.append(block, count);
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

std::string PathIn(const std::string& directory, const std::string& name) {
  return directory.ends_with('/') ? directory + name : directory + '/' + name;
}
