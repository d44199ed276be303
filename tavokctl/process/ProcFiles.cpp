#include "process/ProcFiles.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "base/Failure.h"

namespace {

constexpr std::string_view kSocket = "socket:[";

// The link's own mode tells what the file is open for.
bool IsForWriting(const std::string& link) {
  struct stat status;
  return ::lstat(link.c_str(), &status) == 0 && (status.st_mode & S_IWUSR) != 0;
}

// Throws CFailure if the link is hidden: the directory can be open to somebody for whom it is not.
void Add(COpenFiles& files, const std::string& link, int descriptor) {
  const std::string target = LinkAt(link);
  if (target.empty() && errno == EACCES) throw CFailure("look at " + link, EACCES);
  if (target.starts_with(kSocket)) {
    files.sockets.push_back(std::strtoull(target.c_str() + kSocket.size(), nullptr, 10));
  } else if (descriptor > STDERR_FILENO && IsForWriting(link)) {
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
  const std::string directory = ProcPath(pid, "fd");
  COpenFiles files;
  for (const pid_t descriptor : ProcEntries(directory)) {
    Add(files, directory + "/" + std::to_string(descriptor), descriptor);
  }
  return files;
}
