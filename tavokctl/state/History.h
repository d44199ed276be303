#pragma once

#include <ctime>
#include <string>
#include <vector>

#include "base/Files.h"
#include "base/Output.h"

/// A file of the log directory.
struct CPastFile {
  std::string name;
  std::time_t end;   // its rotation; of the current file, the far future
  CDescriptor file;  // none before it is opened
  CFileState state;  // when the list was made
};

/// The files of a log directory in the order in which they were written: the rotated ones by the
/// time of their rotation, then the current one, if there is one, open. Of a file whose name is
/// that of a rotation, the name tells its time, else, or if that is earlier, the last change of its
/// inode. A rotation meanwhile is seen as if it came before or after, unless files are rotated away
/// and replaced each of twenty times. Throws CFailure.
std::vector<CPastFile> PastFiles(const std::string& directory);

/// Only those that may hold text from a time to another, both included: tavok keeps no time for
/// each line, so a file counts whole, from the rotation before it to its own.
std::vector<CPastFile> Within(std::vector<CPastFile> files, std::time_t since, std::time_t until);

/// Raises the limit on open files of this process as far as it may, and returns how many of them a
/// command should hold.
std::size_t RaiseFileLimit();

/// Opens them, so that they can be read when they have been deleted: as many as this process may,
/// oldest first. What cannot be opened is left for EnsureOpen to tell.
void HoldOpen(const std::string& directory, std::vector<CPastFile>& files);

/// Opens it, unless it is open. Returns false, after saying so on standard error, if it has been
/// removed or cannot be opened. Throws CFailure.
bool EnsureOpen(const std::string& directory, CPastFile& file);

/// Writes the text of an open file, from an offset to the end that it has by now, and closes it.
/// Throws CFailure.
void WriteAndClose(CPastFile& file, std::uint64_t from, CTextOutput& output);
