#include "Process.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <initializer_list>

namespace {

void ChangeMask(int how) {
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGHUP);
  ::sigaddset(&signals, SIGTERM);
  (void)::pthread_sigmask(how, &signals, nullptr);
}

// A pipe whose other end is closed: reading from it meets the end of the file, and writing to it
// fails. `fd` is the lowest free descriptor, hence the first that pipe gives.
void OpenOnPipe(int fd) {
  int ends[2];
  if (::pipe(ends) == -1) return;
  if (fd != STDIN_FILENO) (void)::dup2(ends[1], fd);
  ::close(ends[1]);
}

}  // namespace

void SecureStandardStreams() {
  (void)::signal(SIGPIPE, SIG_IGN);
  // In ascending order, so that the lowest free descriptor is always the missing one.
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(fd, F_GETFD) != -1 || errno != EBADF) continue;
    if (::open("/dev/null", O_RDWR) == -1) OpenOnPipe(fd);
  }
}

void BlockSignals() { ChangeMask(SIG_BLOCK); }

void UnblockSignals() { ChangeMask(SIG_UNBLOCK); }
