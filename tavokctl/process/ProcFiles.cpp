#include "process/ProcFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "base/Failure.h"

namespace {

constexpr std::string_view kSocket = "socket:[";

// Whether the process has opened it for writing itself: tavok's files are close-on-exec, and what
// it has inherited is not.
bool IsOwnForWriting(pid_t pid, int descriptor) {
  try {
    const std::string info = ReadText(ProcPath(pid, "fdinfo/" + std::to_string(descriptor)));
    const std::size_t at = info.find("flags:");
    const long flags = at == info.npos ? 0 : std::strtol(info.c_str() + at + 6, nullptr, 8);
    return (flags & O_CLOEXEC) != 0 && (flags & O_ACCMODE) != O_RDONLY;
  } catch (const CFailure&) {
    return false;  // it has just been closed
  }
}

// Throws CFailure if the link is hidden: the directory can be open to somebody for whom it is not.
void Add(COpenFiles& files, pid_t pid, int descriptor) {
  const std::string link = ProcPath(pid, "fd/" + std::to_string(descriptor));
  const std::string target = LinkAt(link);
  if (target.empty() && errno == EACCES) throw CFailure("look at " + link, EACCES);
  if (target.starts_with(kSocket)) {
    files.sockets.push_back(std::strtoull(target.c_str() + kSocket.size(), nullptr, 10));
  } else if (target.starts_with('/') && IsOwnForWriting(pid, descriptor)) {
    const auto state = TryToLook(link);
    if (state && S_ISREG(state->mode)) files.written.push_back({*state, target});
  }
}

}  // namespace

std::string ProcPath(pid_t pid, const std::string& name) {
  return "/proc/" + std::to_string(pid) + "/" + name;
}

std::string PathSeenBy(pid_t pid, const std::string& path) {
  const std::string base = path.starts_with('/') ? "" : LinkAt(ProcPath(pid, "cwd"));
  return base.empty() ? path : PathIn(base, path);
}

std::vector<pid_t> ProcEntries(const std::string& directory) {
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(::opendir(directory.c_str()), &::closedir);
  if (!stream) throw CFailure("look at " + directory, errno);
  std::vector<pid_t> ids;
  while (const dirent* const entry = ::readdir(stream.get())) {
    if (entry->d_name[0] >= '0' && entry->d_name[0] <= '9') ids.push_back(std::atoi(entry->d_name));
  }
  return ids;
}

std::string CommAt(const std::string& directory) {
  try {
    std::string name = ReadText(directory + "/comm");
    if (name.ends_with('\n')) name.pop_back();
    return name;
  } catch (const CFailure&) {
    return {};
  }
}

bool COpenFiles::HasWritten(const CFileId& id) const {
  return std::any_of(written.begin(), written.end(),
                     [&id](const CFile& file) { return file.state.id == id; });
}

bool COpenFiles::HasSocket(std::uint64_t inode) const {
  return std::find(sockets.begin(), sockets.end(), inode) != sockets.end();
}

COpenFiles OpenFilesOf(pid_t pid) {
  COpenFiles files;
  for (const pid_t descriptor : ProcEntries(ProcPath(pid, "fd"))) Add(files, pid, descriptor);
  return files;
}
