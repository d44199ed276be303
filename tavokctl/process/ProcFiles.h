#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "base/Files.h"

/// What /proc tells about processes.

/// The path of a file about a process, "/proc/PID/NAME".
std::string ProcPath(pid_t pid, const std::string& name);

/// A path as a process means it, relative to its working directory if that can be seen.
std::string PathSeenBy(pid_t pid, const std::string& path);

/// The processes and threads listed in a directory of /proc. Throws CFailure, "look at <path>:
/// ...".
std::vector<pid_t> ProcEntries(const std::string& directory);

/// The name of a process or of one of its threads, as in its file "comm"; empty if it has ended or
/// is hidden.
std::string CommAt(const std::string& directory);

/// What the descriptors of a process lead to.
struct COpenFiles {
  struct CFile {
    CFileState state;
    std::string path;  // as /proc shows it: with " (deleted)" behind it, if that is so
  };

  std::vector<CFile> written;          // regular files that it has opened for writing itself
  std::vector<std::uint64_t> sockets;  // their inodes

  bool HasWritten(const CFileId& id) const;
  bool HasSocket(std::uint64_t inode) const;
};

/// Throws CFailure, "look at /proc/<pid>/fd: ...", if the caller may not see them, as of another
/// user's process, or if it has ended.
COpenFiles OpenFilesOf(pid_t pid);
