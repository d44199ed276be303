#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <vector>

#include "Place.h"
#include "Subject.h"

/// The processors of this machine, shared out for loads over UDP: the sender reads the clock all
/// the time, and a subject that is woken on its processor would wait for the scheduler's next tick
/// and lose meanwhile. With one processor only, both have that.
enum class Processors { kSender, kSubject };

/// Restricts the calling process to its share.
void UseProcessors(Processors share);

/// A started subject in a new directory, both gone with this object. One thread at a time.
class Running {
 public:
  /// Starts and waits until the subject takes datagrams. Throws std::runtime_error, with what the
  /// subject has said, when it does not come up in 10 seconds.
  Running(const Subject& subject, bool udp);
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;
  ~Running();

  pid_t Pid() const { return m_pid; }
  const Place& At() const { return m_place; }

  /// From the start of its program until it took datagrams, which tavok tells by raising a
  /// semaphore; of the others it is tried every millisecond.
  double StartMs() const { return m_startMs; }

  std::vector<std::filesystem::path> LogFiles() const;
  std::uintmax_t LoggedBytes() const;

  /// User and system time of all its threads so far.
  double CpuSeconds() const;

  /// The most memory that was resident so far, with the pages it shares with other processes.
  double PeakMb() const;

 private:
  void Start(const Subject& subject);
  void AwaitSemaphore();
  void AwaitSocket();
  void RequireAlive();
  void End();

  Place m_place;
  pid_t m_pid = -1;
  int m_semaphore = -1;
  double m_startMs = 0;
};
