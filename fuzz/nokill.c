// Preloaded into a fuzzed daemon. Whatever its configuration says, the daemon then sends no
// signals, listens on the loopback address only, and writes nothing to the system log.
#define _GNU_SOURCE
#include <arpa/inet.h>
#include <errno.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

int kill(pid_t pid, int signal) {
  (void)pid, (void)signal;
  errno = EPERM;
  return -1;
}

// The daemon sends to the system log only with this function.
ssize_t sendmsg(int fd, const struct msghdr* message, int flags) {
  (void)fd, (void)message, (void)flags;
  errno = EPERM;
  return -1;
}

// Binds to any free port, since the configured one could be in use.
int bind(int fd, const struct sockaddr* address, socklen_t length) {
  const struct sockaddr_in local = {.sin_family = AF_INET,
                                    .sin_addr.s_addr = htonl(INADDR_LOOPBACK)};
  if (address->sa_family != AF_INET) return (int)syscall(SYS_bind, fd, address, length);
  return (int)syscall(SYS_bind, fd, &local, sizeof local);
}

// Skips the first long sleep, which is that of a take-over, if there is one. A running daemon must
// sleep between two tests of its flag.
int usleep(useconds_t time) {
  static int long_sleeps;
  if (time >= 4000000 && long_sleeps++ == 0) return 0;
  const struct timespec rest = {time / 1000000, (long)(time % 1000000) * 1000};
  return nanosleep(&rest, NULL);
}
