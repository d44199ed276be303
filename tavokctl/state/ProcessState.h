#pragma once

#include <optional>
#include <string>

#include "base/Files.h"

/// The process of a running tavok, as every user may see it.
struct CProcessState {
  int pid;
  uid_t owner;
  timespec since;
  std::uint64_t memory;      // resident bytes
  std::uint64_t peakMemory;  // its maximum so far
  unsigned threads;
  std::optional<bool> isReceiving;  // its receive thread lives; empty if that cannot be told
  std::optional<bool> isLosing;     // what it received last could not be stored; empty as above
  bool isSuspended;
  std::optional<std::string> unit;  // of systemd, as from UnitOf
};

/// Throws CFailure if it has ended.
CProcessState LookAtProcess(int pid);

/// Whether a file was last changed, renamed to its name included, after the start of the process;
/// false if there is none. Throws CFailure, "look at <path>: ...".
bool IsYounger(const std::string& path, const CProcessState& process);
