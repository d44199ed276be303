// What a collector cannot do without: one receive and one write for a datagram, and nothing else.
//
// With "threads", the loop runs on the second of three threads, as a collector's does whose other
// threads rotate and delete: the kernel then counts every use of a descriptor, and locks the
// position of the file.
//
// Usage: bare unix PATH FILE [threads] | bare udp PORT FILE [threads]

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace {

// Returns -1, with errno, on failure.
int BoundSocket(bool udp, const char* where) {
  sockaddr_in inet{};
  inet.sin_family = AF_INET;
  inet.sin_port = htons(static_cast<in_port_t>(std::atoi(where)));
  sockaddr_un local{};
  local.sun_family = AF_UNIX;
  std::strncpy(local.sun_path, where, sizeof local.sun_path - 1);

  const int fd = ::socket(udp ? AF_INET : AF_UNIX, SOCK_DGRAM, 0);
  const auto* const address =
      udp ? reinterpret_cast<const sockaddr*>(&inet) : reinterpret_cast<const sockaddr*>(&local);
  const int size = 65536;
  if (::bind(fd, address, udp ? sizeof inet : sizeof local) == 0 &&
      ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size) == 0) {
    return fd;
  }
  ::close(fd);
  return -1;
}

void Collect(int fd, int file) {
  char text[1024];
  sockaddr_storage from;
  for (;;) {
    socklen_t length = sizeof from;
    const ssize_t size =
        ::recvfrom(fd, text, sizeof text, 0, reinterpret_cast<sockaddr*>(&from), &length);
    if (size < 0 || ::write(file, text, static_cast<std::size_t>(size)) != size) return;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) return 2;
  const int file = ::open(argv[3], O_WRONLY | O_CREAT | O_APPEND, 0600);
  const int fd = BoundSocket(std::strcmp(argv[1], "udp") == 0, argv[2]);
  if (file != -1 && fd != -1) {
    if (argc == 4) {
      Collect(fd, file);
    } else {
      std::jthread idle([] { ::pause(); });
      std::jthread(Collect, fd, file).join();
    }
  }
  std::perror("bare");
  return 1;
}
