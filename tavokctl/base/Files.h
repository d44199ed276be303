#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

#include "base/Descriptor.h"

/// Opens, close-on-exec. Throws CFailure, "open <path>: ...".
CDescriptor OpenFile(const std::string& path, int flags);

/// Reads once, up to `size` bytes; 0 at the end. Throws CFailure, "read <path>: ...".
std::size_t ReadSome(const CDescriptor& file, const std::string& path, char* buffer,
                     std::size_t size);

/// Locks a file or directory against other processes that call this, until the descriptor is
/// closed. Waits at most `seconds` for another holder. Throws CFailure, "lock <path>: ...".
CDescriptor Locked(const std::string& path, unsigned seconds);

/// The whole text of a file. Throws CFailure, "open/read <path>: ...".
std::string ReadText(const std::string& path);

/// Identifies a file whatever its name.
struct CFileId {
  std::uint64_t device;
  std::uint64_t inode;
  bool operator==(const CFileId&) const = default;
};

/// The state of a file at one moment.
struct CFileState {
  CFileId id;
  std::uint64_t size;
  std::time_t changed;  // last change of its inode: for a rotated file, the rotation
};

/// Empty if there is no such file. Throws CFailure, "look at <path>: ...", if it cannot be
/// examined.
std::optional<CFileState> Look(const std::string& path);
CFileState Look(const CDescriptor& file, const std::string& path);

/// The path of a name in a directory.
std::string PathIn(const std::string& directory, const std::string& name);
