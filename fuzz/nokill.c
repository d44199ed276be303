// Loaded into a fuzzed daemon before the C library. Whatever its configuration says, it signals
// nobody, listens to this machine alone, and tells the system log nothing.
#define _GNU_SOURCE
#include <arpa/inet.h>
#include <errno.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

// Away from the terminal, whose Ctrl-C is for the fuzzer.
__attribute__((constructor)) static void leave_session(void) { (void)setsid(); }

int kill(pid_t pid, int signal) {
  (void)pid, (void)signal;
  errno = EPERM;
  return -1;
}

// Only the system log is sent to by this function.
ssize_t sendmsg(int fd, const struct msghdr* message, int flags) {
  (void)fd, (void)message, (void)flags;
  errno = EPERM;
  return -1;
}

// On any free port, since one that is named could be in use.
int bind(int fd, const struct sockaddr* address, socklen_t length) {
  const struct sockaddr_in local = {.sin_family = AF_INET,
                                    .sin_addr.s_addr = htonl(INADDR_LOOPBACK)};
  if (address->sa_family != AF_INET) return (int)syscall(SYS_bind, fd, address, length);
  return (int)syscall(SYS_bind, fd, &local, sizeof local);
}

// The first long sleep is free: that of a take-over, if there is one. Those of a running daemon are
// not, or it would do nothing but look at its flag.
int usleep(useconds_t time) {
  static int long_sleeps;
  if (time >= 4000000 && long_sleeps++ == 0) return 0;
  const struct timespec rest = {time / 1000000, (long)(time % 1000000) * 1000};
  return nanosleep(&rest, NULL);
}
