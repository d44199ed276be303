#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

#include "state/LogDirectory.h"
#include "state/SocketQueue.h"

/// The process of a running tavok.
struct CProcessState {
  int pid;
  std::time_t since;
  std::uint64_t memory;      // resident bytes
  std::uint64_t peakMemory;  // its maximum so far
  unsigned threads;
  unsigned threadsExpected;  // fewer: one has ended for good, most likely reception
};

/// All that `tavokctl status` shows. A part that could not be examined is empty; `trouble` says
/// why.
struct CStatusReport {
  std::string config;
  std::string whyNotRunning;  // also empty if that is unknown
  std::optional<CProcessState> process;

  std::string listensOn;
  bool isUdp;
  std::optional<CSocketQueue> queue;

  std::string currentPath;
  std::optional<CFileState> current;
  bool isCurrentMissing;
  std::uint64_t maxFileSize;

  std::optional<std::uint64_t> rotatedFiles;
  std::uint64_t rotatedBytes;
  std::uint64_t maxSize;
  std::optional<CRotatedFile> oldest;
  std::optional<std::time_t> oldestExpires;  // empty with external rotation

  std::optional<std::uint64_t> freeBytes;  // for tavok, unless it runs as root
  std::uint64_t diskBytes;

  std::string trouble;
};

/// Examines everything once. Throws CFailure if the configuration cannot be read.
CStatusReport MakeStatusReport(const std::string& config);
