// Preloaded into tavok: makes one call of one function fail, or stop for a while, and shifts the
// clock. The program is otherwise untouched.
//
// TAVOK_FAULT=FUNCTION,PATH,N,ERRNO  The N-th call of FUNCTION (* for any) with a path that
//     contains PATH (- for any call) fails with ERRNO. With ERRNO 0 it first makes the file
//     "paused" in the working directory and waits until somebody removes it.
// TAVOK_CLOCK=FILE  Seconds by which time() and gettimeofday() are off: a long in that file, read
//     at each call.

#define _GNU_SOURCE
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/select.h>
#include <sys/sem.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

static char g_function[32], g_path[64];
static int g_call, g_error;
static atomic_int g_calls;
static int g_clock = -1;

__attribute__((constructor)) static void Load(void) {
  if (strcmp(program_invocation_short_name, "tavok") != 0) return;  // the shell that starts it
  const char* const fault = getenv("TAVOK_FAULT");
  if (fault != NULL) sscanf(fault, "%31[^,],%63[^,],%d,%d", g_function, g_path, &g_call, &g_error);
  const char* const clock = getenv("TAVOK_CLOCK");
  if (clock != NULL) g_clock = open(clock, O_RDONLY | O_CLOEXEC);
}

// By raw calls, so that signal handlers may run meanwhile and nothing here is counted. It ends
// after 30 s in any case.
static void Pause(void) {
  const struct timespec step = {0, 1000000};
  close(open("paused", O_WRONLY | O_CREAT, 0600));
  for (int i = 0; i < 30000 && access("paused", F_OK) == 0; ++i)
    syscall(SYS_nanosleep, &step, NULL);
}

// Returns the errno with which this call is to fail, or 0.
static int Fault(const char* function, const char* path) {
  if (strcmp(g_function, "*") != 0 && strcmp(g_function, function) != 0) return 0;
  if (*g_path != '-' && (path == NULL || strstr(path, g_path) == NULL)) return 0;
  if (atomic_fetch_add(&g_calls, 1) + 1 != g_call) return 0;
  if (g_error == 0) Pause();
  return g_error;
}

// Types and lists of parameters take no parentheses. NOLINTBEGIN(bugprone-macro-parentheses)
#define WRAP(type, name, path, failure, parameters, arguments)            \
  type name parameters {                                                  \
    static type(*real) parameters;                                        \
    if (real == NULL) real = (type(*) parameters)dlsym(RTLD_NEXT, #name); \
    const int error = Fault(#name, path);                                 \
    if (error == 0) return real arguments;                                \
    errno = error;                                                        \
    return failure;                                                       \
  }
// NOLINTEND(bugprone-macro-parentheses)

WRAP(FILE*, fopen, path, NULL, (const char* path, const char* mode), (path, mode))
WRAP(size_t, fwrite, NULL, 0, (const void* p, size_t n, size_t count, FILE* f), (p, n, count, f))
WRAP(int, fflush, NULL, EOF, (FILE * f), (f))
WRAP(int, fclose, NULL, EOF, (FILE * f), (f))
WRAP(int, rename, from, -1, (const char* from, const char* to), (from, to))
WRAP(int, remove, path, -1, (const char* path), (path))
WRAP(int, unlink, path, -1, (const char* path), (path))
WRAP(int, stat, path, -1, (const char* path, struct stat* out), (path, out))
WRAP(DIR*, opendir, path, NULL, (const char* path), (path))
WRAP(int, mkdir, path, -1, (const char* path, mode_t mode), (path, mode))
WRAP(int, socket, NULL, -1, (int family, int type, int protocol), (family, type, protocol))
WRAP(int, bind, NULL, -1, (int fd, const struct sockaddr* to, socklen_t size), (fd, to, size))
WRAP(int, setsockopt, NULL, -1, (int fd, int level, int name, const void* value, socklen_t size),
     (fd, level, name, value, size))
WRAP(ssize_t, recvfrom, NULL, -1,
     (int fd, void* p, size_t n, int flags, struct sockaddr* from, socklen_t* size),
     (fd, p, n, flags, from, size))
WRAP(ssize_t, recv, NULL, -1, (int fd, void* p, size_t n, int flags), (fd, p, n, flags))
WRAP(int, shutdown, NULL, -1, (int fd, int how), (fd, how))
WRAP(int, select, NULL, -1, (int n, fd_set* r, fd_set* w, fd_set* e, struct timeval* limit),
     (n, r, w, e, limit))
WRAP(ssize_t, sendto, NULL, -1,
     (int fd, const void* p, size_t n, int flags, const struct sockaddr* to, socklen_t size),
     (fd, p, n, flags, to, size))
WRAP(sighandler_t, signal, NULL, SIG_ERR, (int number, sighandler_t handler), (number, handler))
WRAP(int, kill, NULL, -1, (pid_t pid, int number), (pid, number))
WRAP(int, usleep, NULL, -1, (useconds_t time), (time))
WRAP(int, semop, NULL, -1, (int id, struct sembuf* operations, size_t n), (id, operations, n))
WRAP(int, pthread_create, NULL, error,
     (pthread_t * id, const pthread_attr_t* how, void* (*body)(void*), void* argument),
     (id, how, body, argument))
WRAP(int, pthread_setname_np, name, error, (pthread_t id, const char* name), (id, name))

int gettimeofday(struct timeval* restrict out, void* restrict zone) {
  (void)zone;
  struct timespec now;
  long shift = 0;
  if (g_clock != -1 && pread(g_clock, &shift, sizeof shift, 0) == -1) shift = 0;
  clock_gettime(CLOCK_REALTIME, &now);
  out->tv_sec = now.tv_sec + shift;
  out->tv_usec = now.tv_nsec / 1000;
  return 0;
}

time_t time(time_t* out) {
  struct timeval now;
  gettimeofday(&now, NULL);
  if (out != NULL) *out = now.tv_sec;
  return now.tv_sec;
}
