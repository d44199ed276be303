#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "Sockets.h"

/// Where a subject listens and what it writes.
struct Place {
  std::filesystem::path LogDirectory() const { return directory / "log"; }
  std::filesystem::path Log() const { return LogDirectory() / "tmp.tavok"; }

  std::filesystem::path directory;
  bool udp = false;
  Destination listening;  // a UDP port of this host, or the path of a socket or a named pipe
};

/// A collector: one or more programs in a row, each one's standard output the next one's input. The
/// first takes datagrams, the last appends them to a file.
struct Subject {
  /// What it takes part in unless it is named.
  enum class Part { kNamed, kLoads, kCollectors, kAll };
  struct Stage {
    std::string program;  // its full path
    /// The words after it, with marks such as @LOG@ for what the place tells. None of tavok, which
    /// the tests' own way starts.
    std::string arguments;
    std::string udpArguments;  // over UDP; if empty, the same
  };

  /// tavok tells by a semaphore when it is up.
  bool IsTavok() const { return name == "tavok" || name == "before"; }
  /// The system's own journald: it runs already, and is emptied when a trial is over.
  bool IsJournal() const { return name == "journald"; }
  /// It takes a datagram socket that a service manager has bound, at any path; syslog-ng takes the
  /// one at systemd's own path only.
  bool CanBeHeld() const { return IsTavok() || IsJournal() || name.starts_with("rsyslogd"); }
  /// No receiver is in front: senders write into the pipe that is its standard input.
  bool IsFed() const { return name == "svlogd" || name == "s6-log"; }
  /// What it prints is the log.
  bool LogsToStandardOutput() const { return name == "socklog"; }
  bool TakesUdp() const { return part == Part::kLoads || part == Part::kAll; }

  /// The words that start one of its programs; writes the configuration that it reads.
  std::vector<std::string> Command(const Stage& stage, const Place& place) const;

  std::string name;
  std::vector<Stage> stages;  // none: nothing is to be started
  Part part = Part::kAll;
  int rotation = 0;  // the signal that has its last program begin a new file; 0: none does
};

/// The bare loop, tavok, the bare loop in a process of three threads, another build of tavok
/// (unless `before` is empty), each peer that is installed here, and journald.
std::vector<Subject> InstalledSubjects(const std::string& before);
