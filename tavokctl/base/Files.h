#pragma once

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

#include "base/Descriptor.h"

/// Opens, close-on-exec; a file that it makes gets the mode. Throws CFailure, "open <path>: ...".
CDescriptor OpenFile(const std::string& path, int flags, mode_t mode = 0);

/// Reads once, up to `size` bytes; 0 at the end. Throws CFailure, "read <path>: ...".
std::size_t ReadSome(const CDescriptor& file, const std::string& path, char* buffer,
                     std::size_t size);

/// The whole text of a regular file, of at most so many bytes. Throws CFailure, "open/read <path>:
/// ...", for anything else too, without waiting: a FIFO or a device is not read.
std::string ReadText(const std::string& path, std::size_t limit = std::size_t{1} << 20);

/// Identifies a file whatever its name.
struct CFileId {
  std::uint64_t device;
  std::uint64_t inode;
  bool operator==(const CFileId&) const = default;
};

/// The state of a file at one moment.
struct CFileState {
  CFileId id;
  mode_t mode;
  uid_t owner;
  std::uint64_t size;
  std::time_t written;  // last change of its content
  timespec changed;     // last change of its inode: for a rotated file, the rotation
};

/// Empty if there is no such file. Throws CFailure, "look at <path>: ...", if it cannot be
/// examined.
std::optional<CFileState> Look(const std::string& path);
CFileState Look(const CDescriptor& file, const std::string& path);

/// Empty, too, if it cannot be examined.
std::optional<CFileState> TryToLook(const std::string& path);

/// The same of a name in an open directory.
std::optional<CFileState> TryToLook(int directory, const char* name);

/// Replaces a regular file, keeping its mode, or makes it with mode 0644, so that a reader finds
/// the old text or the new, whole. The new one has another name in that directory first. Throws
/// CFailure, "write <path>: ...", and then leaves all as it was.
void ReplaceFile(const std::string& name, const std::string& text);

/// The path of a name in a directory.
std::string PathIn(const std::string& directory, const std::string& name);

/// The directory that a path is in, "." for a name alone.
std::string FolderOf(const std::string& path);

/// What a symbolic link holds; empty, with errno, if it cannot be read.
std::string LinkAt(const std::string& path);
