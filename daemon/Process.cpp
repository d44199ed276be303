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

}  // namespace

void SecureStandardStreams() {
  (void)::signal(SIGPIPE, SIG_IGN);
  // In ascending order, so that each open yields the very descriptor that is missing.
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(fd, F_GETFD) == -1 && errno == EBADF) (void)::open("/dev/null", O_RDWR);
  }
}

void BlockSignals() { ChangeMask(SIG_BLOCK); }

void UnblockSignals() { ChangeMask(SIG_UNBLOCK); }
