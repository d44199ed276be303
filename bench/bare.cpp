// What a collector cannot do without: one receive and one write for a datagram, and nothing else.
//
// With "threads", the loop runs on the second of three threads, as a collector's does whose other
// threads rotate and delete: the kernel then counts every use of a descriptor, and locks the
// position of the file.
//
// Usage: bare unix PATH FILE [threads] | bare udp PORT FILE [threads]

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "Sockets.h"

namespace {

// Returns whether it is bound, with the receive buffer that tavok asks for.
template <class Address>
bool Bind(int fd, const Address& address) {
  const int size = 65536;
  return ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
         ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size) == 0;
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
  const bool udp = std::strcmp(argv[1], "udp") == 0;
  const int fd = ::socket(udp ? AF_INET : AF_UNIX, SOCK_DGRAM, 0);
  if (file != -1 && (udp ? Bind(fd, LoopbackAddress(argv[2])) : Bind(fd, UnixAddress(argv[2])))) {
    if (argc == 4) Collect(fd, file);
    const std::jthread idle([] { ::pause(); });
    std::jthread(Collect, fd, file).join();
  }
  std::perror("bare");
  return 1;
}
