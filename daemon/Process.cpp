#include "Process.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <initializer_list>

void SecureStandardStreams() {
  (void)::signal(SIGPIPE, SIG_IGN);
  // In ascending order, so that each open yields the very descriptor that is missing.
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(fd, F_GETFD) == -1 && errno == EBADF) (void)::open("/dev/null", O_RDWR);
  }
}

sigset_t BlockSignals() {
  sigset_t signals;
  sigset_t before;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGHUP);
  ::sigaddset(&signals, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &signals, &before);
  return before;
}

CSignalBlock::~CSignalBlock() { ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
