// Sends numbered datagrams of 100 bytes from four senders over a Unix-domain socket, as fast as
// they are taken, to tavok (which is told to rotate every 1.1 seconds meanwhile) and to a bare loop
// of recvfrom and write, in turns. Proves that all arrived, once and in each sender's order, and
// compares the CPU time (user + system) that each subject has used for a datagram.
//
// Usage: throughput [DATAGRAMS [ROUNDS]]

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/sem.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Numbered.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kSenders = 4;
constexpr std::size_t kSize = 100;

void Check(bool ok, const char* what) {
  if (!ok) throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
}

int UnixSocket(const fs::path& path, decltype(::connect)* attach) {
  const int fd = ::socket(AF_UNIX, SOCK_DGRAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  Check(attach(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0, path.c_str());
  return fd;
}

// What a collector cannot do without. Ended by a signal.
[[noreturn]] void BareLoop(int socket, const fs::path& directory) {
  const int file = ::open((directory / "tmp.tavok").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  char text[1025];
  sockaddr_un from;
  for (;;) {
    socklen_t length = sizeof from;
    const ssize_t size =
        ::recvfrom(socket, text, 1024, 0, reinterpret_cast<sockaddr*>(&from), &length);
    if (size < 0 || ::write(file, text, static_cast<std::size_t>(size)) != size) ::_exit(1);
  }
}

// A child that does not outlive this process, however that ends.
template <class Body>
pid_t Fork(Body body) {
  const pid_t pid = ::fork();
  if (pid != 0) return pid;
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  body();
  ::_exit(127);
}

pid_t StartBare(const fs::path& work) {
  const int socket = UnixSocket(work / "socket", ::bind);
  const int size = 65536;
  Check(::setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &size, sizeof size) == 0, "SO_RCVBUF");
  fs::create_directory(work / "log");
  const pid_t pid = Fork([&] { BareLoop(socket, work / "log"); });
  ::close(socket);
  return pid;
}

pid_t StartTavok(const fs::path& work) {
  std::ofstream(work / "conf") << "[LogServer]\nDirName=" << (work / "log").string()
                               << "\nPort=" << (work / "socket").string()
                               << "\nPidFileName=" << (work / "pid").string() << "\n";
  const int semaphore = ::semget(IPC_PRIVATE, 1, 0600);
  const pid_t pid = Fork([&] {
    ::close(STDERR_FILENO);
    ::execl(TAVOK_BINARY, "tavok", "-c", (work / "conf").c_str(), "-s",
            std::to_string(semaphore).c_str(), nullptr);
  });
  for (int i = 0; i < 10000 && ::semctl(semaphore, 0, GETVAL) != 1; ++i) ::usleep(1000);
  Check(::semctl(semaphore, 0, GETVAL) == 1, "tavok does not come up");
  return pid;
}

std::set<fs::path> LogFiles(const fs::path& work) {
  const fs::directory_iterator files(work / "log");
  return {begin(files), end(files)};
}

std::size_t LoggedBytes(const fs::path& work) {
  std::size_t bytes = 0;
  for (const fs::path& file : LogFiles(work)) {
    std::error_code moved;
    const std::uintmax_t size = fs::file_size(file, moved);
    if (!moved) bytes += size;
  }
  return bytes;
}

std::string Logged(const fs::path& work) {
  std::ostringstream text;
  for (const fs::path& file : LogFiles(work)) {
    if (fs::file_size(file) > 0) text << std::ifstream(file, std::ios::binary).rdbuf();
  }
  return text.str();
}

void SendAll(const fs::path& work, std::size_t sender, int count) {
  const int fd = UnixSocket(work / "socket", ::connect);
  for (int number = 0; number < count; ++number) {
    const std::string text = Numbered(sender, number);
    Check(::send(fd, text.data(), text.size(), 0) == ssize_t(kSize), "send");
  }
  ::close(fd);
}

// Signals `pid` every 1.1 seconds until all is logged.
void AwaitAll(const fs::path& work, pid_t pid, std::size_t bytes, bool rotate) {
  const auto limit = Clock::now() + std::chrono::minutes(5);
  auto next = Clock::now() + std::chrono::milliseconds(1100);
  while (LoggedBytes(work) < bytes) {
    Check(Clock::now() < limit, "not everything arrives");
    ::usleep(5000);
    if (rotate && Clock::now() > next) {
      ::kill(pid, SIGHUP);
      next += std::chrono::milliseconds(1100);
    }
  }
}

double CpuOfEnded(pid_t pid) {
  rusage usage;
  ::kill(pid, SIGTERM);
  Check(::wait4(pid, nullptr, 0, &usage) == pid, "wait4");
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Returns the subject's CPU time per datagram in microseconds.
double Measure(const char* name, pid_t (*start)(const fs::path&), int datagrams, bool rotate) {
  char path[] = "/tmp/tavok-bench-XXXXXX";
  Check(::mkdtemp(path) != nullptr, "mkdtemp");
  const fs::path work = path;
  const pid_t pid = start(work);
  const auto begin = Clock::now();
  const int count = datagrams / static_cast<int>(kSenders);
  const double total = static_cast<double>(count) * kSenders;
  {
    std::vector<std::jthread> senders;
    for (std::size_t i = 0; i < kSenders; ++i) senders.emplace_back(SendAll, work, i, count);
    AwaitAll(work, pid, static_cast<std::size_t>(total) * kSize, rotate);
  }
  const std::chrono::duration<double> wall = Clock::now() - begin;
  const double cpu = CpuOfEnded(pid) / total * 1e6;
  const std::string fault = NumberedFault(Logged(work), std::vector<int>(kSenders, count));
  Check(fault.empty(), fault.c_str());
  std::printf("%-6s %9.0f datagrams/s  %6.3f us CPU each  %zu files, all once and in order\n", name,
              total / wall.count(), cpu, LogFiles(work).size());
  fs::remove_all(work);
  return cpu;
}

int Run(int datagrams, int rounds) {
  std::vector<double> ratios;
  for (int round = 0; round < rounds; ++round) {
    const double bare = Measure("bare", StartBare, datagrams, false);
    const double tavok = Measure("tavok", StartTavok, datagrams, true);
    ratios.push_back(tavok / bare);
  }
  std::sort(ratios.begin(), ratios.end());
  std::printf("CPU time per datagram, tavok to bare: median %.3f, from %.3f to %.3f\n",
              ratios[ratios.size() / 2], ratios.front(), ratios.back());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc > 1 ? std::atoi(argv[1]) : 1'000'000, argc > 2 ? std::atoi(argv[2]) : 5);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "throughput: %s\n", e.what());
    return 1;
  }
}
