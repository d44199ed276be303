#include "state/Follower.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

#include "LogFileNames.h"
#include "base/Failure.h"
#include "base/Stopwatch.h"
#include "state/History.h"
#include "state/LineSearch.h"

namespace {

constexpr std::size_t kBlock = 65536;
constexpr int kDirectoryCheckMs = 1000;
constexpr int kNameWaitMs = 10;  // between the two events of a rename
constexpr unsigned kWatched = IN_MODIFY | IN_CREATE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF |
                              IN_MOVE_SELF | IN_ONLYDIR;

// The rotated files that were written before the one with this identity.
std::vector<CPastFile> FilesBefore(const std::string& directory, const CFileId& id) {
  std::vector<CPastFile> files = PastFiles(directory);
  const auto end = std::find_if(files.begin(), files.end(), [&id](const CPastFile& file) {
    return file.state.id == id || file.name == kCurrentName;
  });
  files.erase(end, files.end());
  return files;
}

}  // namespace

CFollower::CFollower(const std::string& directory)
    : m_directory(directory), m_events(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  if (!m_events || ::inotify_add_watch(m_events.Get(), directory.c_str(), kWatched) == -1) {
    throw CFailure("watch " + directory, errno);
  }
  if (const auto watched = Look(directory)) m_directoryId = watched->id;
}

void CFollower::WriteLastLines(unsigned lines) {
  OpenNext();
  CLineSearch search(lines);
  bool isFound = false;
  std::uint64_t end = 0;
  if (m_file) {
    end = Look(m_file, kCurrentName).size;
    const std::uint64_t begin = search.BeginIn(m_file, end, isFound);
    (void)::lseek(m_file.Get(), static_cast<off_t>(begin), SEEK_SET);
  }
  if (!isFound && lines > 0) WriteRotated(search);
  CopyTo(end);
}

void CFollower::End() { m_output.End(); }

// Those of the last lines that are in rotated files.
void CFollower::WriteRotated(CLineSearch& search) {
  std::vector<CPastFile> files = FilesBefore(m_directory, m_id);
  const std::size_t most = RaiseFileLimit();
  std::size_t first = files.size();
  std::uint64_t begin = 0;
  for (bool isFound = false; !isFound && first > 0;) {
    CPastFile& file = files[--first];
    if (!EnsureOpen(m_directory, file)) {
      files.erase(files.begin() + static_cast<std::ptrdiff_t>(first));
      continue;
    }
    begin = search.BeginIn(file.file, Look(file.file, file.name).size, isFound);
    if (files.size() - first > most) file.file.Close();  // to be opened again
  }
  for (; first < files.size(); ++first) {
    if (EnsureOpen(m_directory, files[first])) WriteAndClose(files[first], begin, m_output);
    begin = 0;
  }
}

void CFollower::Follow() {
  for (;;) {
    ReadEvents();  // before the text: a file renamed by now is complete
    Drain();
    if (!MoveOn() && !AwaitEvent(kDirectoryCheckMs)) RequireDirectory();
  }
}

void CFollower::ReadEvents() {
  alignas(inotify_event) char buffer[kBlock];
  const CStopwatch watch;
  const auto mayWait = [&] { return IsNameAwaited() && watch.Seconds() * 1000 < kNameWaitMs; };
  do {
    const ssize_t size = ::read(m_events.Get(), buffer, sizeof buffer);
    for (ssize_t at = 0; at < size;) {
      const auto* const event = reinterpret_cast<const inotify_event*>(buffer + at);
      TakeEvent(*event);
      at += static_cast<ssize_t>(sizeof *event + event->len);
    }
  } while (AwaitEvent(mayWait() ? kNameWaitMs : 0));
  if (std::exchange(m_hasLostEvents, false)) Resume();
}

void CFollower::TakeEvent(const inotify_event& event) {
  if (event.mask & IN_Q_OVERFLOW) m_hasLostEvents = true;
  const bool isCurrent = event.len > 0 && std::strcmp(event.name, kCurrentName) == 0;
  if (isCurrent && event.mask & IN_MOVED_FROM) {
    m_rotated.emplace_back();
    m_cookie = event.cookie;
  } else if (isCurrent && event.mask & (IN_CREATE | IN_MOVED_TO)) {
    m_isCreated = true;
  } else if (event.mask & IN_MOVED_TO && event.cookie == m_cookie && IsNameAwaited()) {
    m_rotated.back() = event.name;
  }
}

bool CFollower::AwaitEvent(int timeoutMs) const {
  pollfd entries[] = {{m_events.Get(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
  (void)::poll(entries, 2, timeoutMs);
  // The reader has gone: end now, not at the next message.
  if (entries[1].revents & POLLERR) (void)::raise(SIGPIPE);
  return entries[0].revents != 0;
}

// inotify reports the removal of a directory only when no file that was in it is open.
void CFollower::RequireDirectory() const {
  const auto now = Look(m_directory);
  if (!now || now->id != m_directoryId) {
    throw CFailure("follow " + m_directory + ": it has been removed");
  }
}

// Moves on to the next file if the open one is finished; false if there is nothing to read.
bool CFollower::MoveOn() {
  if (m_file) {
    if (!IsFinished()) return false;
    m_last = std::exchange(m_file, CDescriptor());
    if (!m_rotated.empty()) m_rotated.pop_front();
  }
  OpenNext();
  return static_cast<bool>(m_file);
}

bool CFollower::IsFinished() {
  if (!m_rotated.empty()) return true;
  struct stat status;
  if (!m_isCreated || ::fstat(m_file.Get(), &status) == -1 || status.st_nlink > 0) return false;
  // Somebody removed it, and there is a new one. Or tavok rotated and then deleted it, all since
  // the last ReadEvents: then it may have got more text, and its rename is not in m_rotated yet.
  ReadEvents();
  Drain();
  return true;
}

// The successor of the finished file has the first name in m_rotated or, if that is empty, is the
// current file. It may be rotated before it is open, so the events are read once more after that.
void CFollower::OpenNext() {
  m_isCreated = false;
  for (;;) {
    for (; !m_rotated.empty(); m_rotated.pop_front()) {
      if (Open(m_rotated.front())) return;
      if (m_rotated.front().empty()) continue;
      Complain("tavokctl tail: " + m_rotated.front() + " was removed before it could be read");
    }
    const CFileId before = m_id;
    if (!Open(kCurrentName)) return;
    ReadEvents();
    if (m_rotated.empty()) return;
    m_id = before;
  }
}

// Returns false if there is no such file, or if it was the one opened last: when a rotation has
// replaced the file of an earlier one, both names in m_rotated lead to it.
bool CFollower::Open(const std::string& name) {
  const std::string path = PathIn(m_directory, name);
  CDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!file && errno != ENOENT) throw CFailure("open " + path, errno);
  if (!file || name.empty()) return false;
  const CFileState state = Look(file, path);
  if (!S_ISREG(state.mode)) throw CFailure("read " + path + ": it is not a regular file");
  if (state.id == std::exchange(m_id, state.id)) return false;
  m_file = std::move(file);
  m_last.Close();
  return true;
}

// Goes by the names that there are now instead of the events.
void CFollower::Resume() {
  std::vector<CPastFile> files = PastFiles(m_directory);
  const auto open = std::find_if(files.begin(), files.end(),
                                 [this](const CPastFile& file) { return file.state.id == m_id; });
  m_rotated.clear();
  const bool isThere = open != files.end();
  if (!isThere) m_rotated.emplace_back();  // it has been deleted
  const std::time_t now = std::time(nullptr);
  const std::time_t last = m_file ? Look(m_file, m_directory).written : 0;
  for (auto file = isThere ? open : files.begin(); file != files.end(); ++file) {
    const bool isLater = isThere || file->state.changed.tv_sec >= last;
    // Not the current one, nor those that a clock has left that was set back since.
    if (isLater && file->end <= now) m_rotated.push_back(file->name);
  }
  Complain(
      "tavokctl tail: events were lost, since the output was stalled for too long: what was "
      "rotated and deleted meanwhile is missing");
}

// Copies the rest of the open file to standard output.
void CFollower::Drain() {
  if (!m_file) return;
  do {
    CopyTo(std::numeric_limits<off_t>::max());
  } while (RestartIfTruncated());
}

// Up to an offset, or to the end of the file.
void CFollower::CopyTo(std::uint64_t end) {
  if (!m_file) return;
  char block[kBlock];
  std::uint64_t at = static_cast<std::uint64_t>(::lseek(m_file.Get(), 0, SEEK_CUR));
  while (at < end) {
    const std::size_t size = std::min<std::uint64_t>(end - at, sizeof block);
    const std::size_t count = ReadSome(m_file, m_directory, block, size);
    if (count == 0) return;
    m_output.Write(block, count);
    at += count;
  }
}

// tavok never truncates a file; somebody else may.
bool CFollower::RestartIfTruncated() {
  const off_t position = ::lseek(m_file.Get(), 0, SEEK_CUR);
  if (position <= static_cast<off_t>(Look(m_file, m_directory).size)) return false;
  Complain("tavokctl tail: the file was truncated; continuing at its beginning");
  (void)::lseek(m_file.Get(), 0, SEEK_SET);
  return true;
}
