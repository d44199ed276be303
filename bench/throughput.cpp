// Sends numbered datagrams of 100 bytes from four senders over a Unix-domain socket, as fast as
// they are taken, to tavok (which is told to rotate every 1.1 seconds meanwhile) and to the bare
// loop, in turns. Proves that all arrived, once and in each sender's order, and compares the CPU
// time (user + system) that each subject has used for a datagram.
//
// Usage: throughput [DATAGRAMS [ROUNDS]]

#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "Check.h"
#include "Numbered.h"
#include "Running.h"
#include "Sockets.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kSenders = 4;
constexpr std::size_t kSize = 100;

std::string Logged(const Running& subject) {
  std::ostringstream text;
  for (const auto& file : subject.LogFiles()) {
    if (std::filesystem::file_size(file) > 0) {
      text << std::ifstream(file, std::ios::binary).rdbuf();
    }
  }
  return text.str();
}

void SendAll(const Place& place, std::size_t sender, int count) {
  const int fd = ConnectedSocket(place.Listening());
  for (int number = 0; number < count; ++number) {
    const std::string text = Numbered(sender, number);
    Check(::send(fd, text.data(), text.size(), 0) == ssize_t(kSize), "send");
  }
  ::close(fd);
}

// Signals the subject every 1.1 seconds until all is logged.
void AwaitAll(const Running& subject, std::uintmax_t bytes, bool rotate) {
  const auto limit = Clock::now() + std::chrono::minutes(5);
  auto next = Clock::now() + std::chrono::milliseconds(1100);
  while (subject.LoggedBytes() < bytes) {
    if (Clock::now() > limit) throw std::runtime_error("not everything arrives");
    ::usleep(5000);
    if (rotate && Clock::now() > next) {
      ::kill(subject.Pid(), SIGHUP);
      next += std::chrono::milliseconds(1100);
    }
  }
}

// Returns the subject's CPU time per datagram in microseconds.
double Measure(const Subject& subject, int datagrams) {
  const Running running(subject, false);
  const double cpu = running.CpuSeconds();
  const auto begin = Clock::now();
  const int count = datagrams / static_cast<int>(kSenders);
  const double total = static_cast<double>(count) * kSenders;
  {
    std::vector<std::jthread> senders;
    for (std::size_t i = 0; i < kSenders; ++i) {
      senders.emplace_back(SendAll, running.At(), i, count);
    }
    AwaitAll(running, static_cast<std::uintmax_t>(total) * kSize, subject.name == "tavok");
  }
  const std::chrono::duration<double> wall = Clock::now() - begin;
  const double each = (running.CpuSeconds() - cpu) / total * 1e6;
  const std::string fault = NumberedFault(Logged(running), std::vector<int>(kSenders, count));
  if (!fault.empty()) throw std::runtime_error("wrong or out of order: " + fault);
  std::printf("%-6s %9.0f datagrams/s  %6.3f us CPU each  %zu files, all once and in order\n",
              subject.name.c_str(), total / wall.count(), each, running.LogFiles().size());
  return each;
}

int Run(int datagrams, int rounds) {
  const std::vector<Subject> subjects = InstalledSubjects();
  std::vector<double> ratios;
  for (int round = 0; round < rounds; ++round) {
    const double bare = Measure(subjects[0], datagrams);
    ratios.push_back(Measure(subjects[1], datagrams) / bare);
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
