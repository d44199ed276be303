#include "base/Lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

#include "base/Failure.h"
#include "base/Files.h"
#include "base/Output.h"
#include "base/Stopwatch.h"

namespace {

constexpr useconds_t kPollUs = 2000;

// Whether nobody else may open it, but for the owner of its directory, who could remove it as well.
bool IsPrivate(const CDescriptor& file, const std::string& path) {
  struct stat status, folder;
  const std::string parent = FolderOf(path);
  if (::fstat(file.Get(), &status) == -1 || ::stat(parent.c_str(), &folder) == -1) return false;
  const bool isOurs =
      status.st_uid == ::geteuid() || status.st_uid == 0 || status.st_uid == folder.st_uid;
  return S_ISREG(status.st_mode) && isOurs && (status.st_mode & 077) == 0;
}

CDescriptor OpenPrivate(const std::string& path) {
  CDescriptor file = OpenFile(path, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK, 0600);
  if (!IsPrivate(file, path)) throw CFailure("lock " + path + ": others may lock it, too");
  return file;
}

// False if its holder has removed it meanwhile: then others lock another file.
bool IsAt(const std::string& path, const CDescriptor& file) {
  const auto now = TryToLook(path);
  return now && now->id == Look(file, path).id;
}

bool TryToLock(const CDescriptor& file, const std::string& path) {
  if (::flock(file.Get(), LOCK_EX | LOCK_NB) == 0) return true;
  if (errno != EWOULDBLOCK && errno != EINTR) throw CFailure("lock " + path, errno);
  return false;
}

}  // namespace

std::unique_ptr<CLock> CLock::Take(const std::string& path, unsigned seconds) {
  for (const CStopwatch watch; watch.Seconds() < seconds; ::usleep(kPollUs)) {
    try {
      CDescriptor file = OpenPrivate(path);
      if (!TryToLock(file, path) || !IsAt(path, file)) continue;
      return std::unique_ptr<CLock>(new CLock(path, std::move(file)));
    } catch (const CFailure& e) {
      Complain(std::string("tavokctl: continuing without a lock: ") + e.what());
      return nullptr;
    }
  }
  throw CFailure("lock " + path + ": another process holds it");
}

CLock::~CLock() { (void)::unlink(m_path.c_str()); }
