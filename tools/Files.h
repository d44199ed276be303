#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "Descriptor.h"

/// Files and the log directory, looked at from outside.

/// Opens, close-on-exec. Throws CFailure, "open <path>: ...".
CDescriptor OpenFile(const std::string& path, int flags);

/// Reads once, up to `size` bytes; 0 at the end. Throws CFailure, "read <path>: ...".
std::size_t ReadSome(const CDescriptor& file, const std::string& path, char* buffer,
                     std::size_t size);

/// Locks a file or directory against other tavokctl that do the same, until the descriptor is
/// closed. Throws CFailure, "lock <path>: ...", also when another one has it for all of these
/// seconds.
CDescriptor Locked(const std::string& path, unsigned seconds);

/// The text of a file, whole. Throws CFailure, "open/read <path>: ...".
std::string ReadText(const std::string& path);

/// What identifies a file, whatever its name.
struct CFileId {
  std::uint64_t device;
  std::uint64_t inode;
  bool operator==(const CFileId&) const = default;
};

/// A file as it was when looked at.
struct CFileState {
  CFileId id;
  std::uint64_t size;
  std::time_t changed;  // last change of its status: of a rotated file, the rotation
};

/// Empty when there is no such file. Throws CFailure, "look at <path>: ...", when that cannot be
/// told.
std::optional<CFileState> Look(const std::string& path);
CFileState Look(const CDescriptor& file, const std::string& path);

/// A name in a directory that counts as a rotated file's.
struct CRotatedFile {
  std::string name;
  CFileState state;
};

/// The path of a name in a directory.
std::string PathIn(const std::string& directory, const std::string& name);

/// All rotated files, earliest change first. Throws CFailure, "read directory <path>: ...".
std::vector<CRotatedFile> RotatedFiles(const std::string& directory);
