#pragma once

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>

#include <cstdlib>
#include <sstream>
#include <thread>

#include "Sockets.h"

// Whether this machine lets this user make a network.
inline bool MayMakeANetwork() { return std::system("unshare -n true 2>/dev/null") == 0; }

// Runs the body in a thread that has a network of its own, as have all threads and processes that
// it starts: only its loopback address, and no other's datagrams.
template <class Body>
void InOwnNetwork(Body body) {
  std::jthread([&] {
    Check(::unshare(CLONE_NEWNET) == 0, "unshare");
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq loopback{.ifr_ifrn = {"lo"}, .ifr_ifru = {}};
    loopback.ifr_flags = IFF_UP;
    Check(::ioctl(fd, SIOCSIFFLAGS, &loopback) == 0, "lo");
    ::close(fd);
    body();
  }).join();
}

// How many UDP datagrams the kernel has dropped in the network of this thread, as nobody listened
// or for want of room.
inline long DroppedUdp() {
  const std::string table = ReadFile("/proc/thread-self/net/snmp"), title = "Udp: ";
  std::istringstream values(table.substr(table.find(title, table.find(title) + 1) + title.size()));
  long received = 0, nobody = 0, noRoom = 0;
  values >> received >> nobody >> noRoom;
  return nobody + noRoom;
}
