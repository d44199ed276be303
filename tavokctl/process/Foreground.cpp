#include "process/Foreground.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "Process.h"
#include "base/Descriptor.h"
#include "base/Failure.h"
#include "base/Output.h"
#include "base/Stopwatch.h"
#include "process/Command.h"

namespace {

// JOURNAL_STREAM names the device and inode of the stream to the journal; see systemd.exec(5).
bool ErrorsGoToTheJournal() {
  const char* const stream = std::getenv("JOURNAL_STREAM");
  struct stat status;
  return stream != nullptr && ::fstat(STDERR_FILENO, &status) == 0 &&
         std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
}

constexpr useconds_t kPollUs = 1000;

// tavok, which this process's parent becomes, gives it what the umask leaves of 0777. A umask that
// leaves more would leave the log files open as well.
void SetModeWhenUp(const CSocketMode& socket, const CSemaphore& semaphore, pid_t tavok) {
  const CStopwatch watch;
  while (!semaphore.IsRaised()) {
    if (::getppid() != tavok) return;
    if (watch.Seconds() > 60) break;
    ::usleep(kPollUs);
  }
  if (::chmod(socket.path.c_str(), socket.mode) == -1) {
    const CFailure failure("set the mode of " + socket.path, errno);
    Complain(std::string("tavokctl start: ") + failure.what());
  }
}

void LeaveChild(const CSocketMode& socket, const CSemaphore& semaphore) {
  const pid_t tavok = ::getpid();
  const pid_t child = ::fork();
  if (child == -1) throw CFailure("make a process", errno);
  if (child != 0) return;
  SetModeWhenUp(socket, semaphore, tavok);
  ::_exit(0);  // without its destructor, the semaphore stays
}

}  // namespace

void PrepareForContainer() {
  if (::getpid() == 1) BlockSignals();  // tavok unblocks them
}

void BecomeTavok(const std::string& config, const std::vector<std::string>& options,
                 const CSocketMode& socket) {
  const std::string program = FindProgram();
  const CSemaphore semaphore;
  std::vector<std::string> words = CommandWords(config, options, semaphore);
  const CDescriptor errors(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  if (ErrorsGoToTheJournal()) {
    const CDescriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    (void)::dup2(nowhere.Get(), STDERR_FILENO);
  }
  PushOutput();
  (void)::signal(SIGCHLD, SIG_IGN);
  if (!socket.path.empty()) LeaveChild(socket, semaphore);
  (void)::execv(program.c_str(), Arguments(words).data());
  const int error = errno;
  (void)::dup2(errors.Get(), STDERR_FILENO);  // for the failure to be seen
  throw CFailure("run " + program, error);
}
