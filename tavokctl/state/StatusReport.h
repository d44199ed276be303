#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "base/KernelSockets.h"
#include "state/Health.h"
#include "state/LogDirectory.h"
#include "state/ProcessState.h"

/// All that `tavokctl status` shows, as far as the caller may see it. A part that could not be
/// examined is empty, and `notKnown` says why. What the open descriptors of tavok tell goes before
/// the configuration, which may have been edited.
struct CStatusReport {
  std::string config;
  std::string reason;          // unless it runs: why not, or why that cannot be told
  std::string pidFileTrouble;  // if it runs, but its pid file does not lead to it
  std::optional<CProcessState> process;

  std::string listensOn;
  std::optional<CKernelSocket> socket;

  std::string currentPath;
  std::optional<CFileState> current;
  std::uint64_t maxFileSize;

  std::optional<std::uint64_t> rotatedFiles;
  std::uint64_t rotatedBytes;
  std::uint64_t maxSize;
  std::optional<CRotatedFile> oldest;
  std::optional<std::time_t> oldestExpires;  // empty with external rotation

  std::optional<std::uint64_t> freeBytes;  // for tavok, unless it runs as root
  std::uint64_t diskBytes;

  std::vector<const CProblem*> problems;
  std::string notKnown;

  bool isConfigRead;  // otherwise there is no more than the reason
  bool isConfigChanged;
  bool isUdp;
  std::optional<bool> running;           // empty if that cannot be told
  std::optional<bool> isSocketAtPath;    // Unix-domain: whether its path leads to it
  std::optional<bool> isSocketUnheld;    // Unix-domain: of the service, but not of its manager
  std::optional<bool> isCurrentMissing;  // there is no file at the path of the current one
  std::optional<bool> hasOpenFile;       // tavok has a file to write to
  std::optional<bool> isCurrentOpen;     // that file is the current one
  std::optional<bool> isDiskFull;  // there is no room for an unprivileged writer, or another file

  EHealth Health() const;
};

/// Examines everything, again after a moment if that looks like a failure, or if none runs: a
/// rotation or a restart that happens meanwhile is neither. That takes some tenths of a second.
/// Does not throw.
CStatusReport MakeStatusReport(const std::string& config);
