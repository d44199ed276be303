#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <list>
#include <optional>
#include <string>
#include <vector>

#include "Files.h"
#include "Subject.h"
#include "Tavok.h"

/// The processors of this machine, shared out for loads over UDP: the sender reads the clock all
/// the time, and a subject that is woken on its processor would wait for the scheduler's next tick
/// and lose meanwhile. Each restricts the calling process, or ends it with status 127 on failure;
/// takes no lock and allocates nothing.
void UseSenderProcessor();
void UseSubjectProcessors();

/// A started subject in a new directory, both gone with this object. One thread at a time.
class Running {
 public:
  /// Starts and waits until the subject takes datagrams. Throws std::runtime_error, with what the
  /// subject has said, when it does not come up in 40 seconds.
  /// `held`: its socket is bound here and passed to it, by the protocol of sd_listen_fds(3).
  Running(const Subject& subject, bool udp, bool held = false);
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;
  ~Running();

  const Subject& What() const { return m_subject; }
  const Place& At() const { return m_place; }

  /// Of its programs, in their order.
  const std::vector<pid_t>& Pids() const { return m_pids; }

  /// A descriptor to send to it by, which the caller closes: a datagram socket, or the pipe of a
  /// subject that is fed.
  int Connected() const;

  /// Has it begin a new file; at most once a second. The file of one that is told by SIGHUP, but
  /// for tavok, is renamed before.
  void Rotate();

  /// SIGKILL to all its programs at once. Does not wait; may be called in a child.
  void Kill() const;

  /// Waits until they have ended.
  void AwaitEnd() const;

  /// Ends its programs by a signal and starts them again in the same place; journald by systemd.
  void Again(int signal);

  /// From the start of its programs until it took datagrams, which tavok tells by raising a
  /// semaphore; of the others it is tried every 0.2 ms.
  double StartMs() const { return m_startMs; }

  /// The files with the messages, oldest first.
  std::vector<std::filesystem::path> LogFiles() const;

  /// The size of these files.
  std::uintmax_t StoredBytes() const;

  /// All messages that are stored, in their order.
  std::string Logged() const;

  /// User and system time of all threads of its programs so far.
  double CpuSeconds() const;

  /// A field of /proc/PID/status, summed over its programs: VmHWM for the most memory that was
  /// resident so far, with the pages they share with other processes; RssAnon for their own.
  double MemoryMb(const std::string& field) const;

 private:
  void Start();
  void StartTavok();
  void StartStages();
  void AwaitReceiver();
  std::string Said() const { return m_directory / "said"; }

  const Subject m_subject;
  const TempDir m_directory;
  const Place m_place;
  int m_held = -1;
  // Of these, one is used; both kill what still runs.
  std::optional<Tavok> m_tavok;
  std::list<Process> m_stages;
  std::vector<pid_t> m_pids;
  int m_feed = -1;      // an end of the pipe that is kept open, so that the subject lives
  std::string m_moved;  // the name of the last file that was renamed, a character longer each time
  double m_startMs = 0;
};
