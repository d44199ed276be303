#pragma once

#include <functional>
#include <string>
#include <vector>

#include "base/Files.h"
#include "process/ProcFiles.h"

/// A file in the log directory whose name marks it as rotated.
struct CRotatedFile {
  std::string name;
  CFileState state;
};

/// Calls `use` with each of them, in no order. What cannot be examined, such as a dangling link, is
/// skipped, as tavok does. Throws CFailure, "read directory <path>: ...".
void ForEachRotated(const std::string& directory,
                    const std::function<void(const char* name, const CFileState&)>& use);

/// All of them, in no order. Throws as above.
std::vector<CRotatedFile> RotatedFiles(const std::string& directory);

/// The directory of the current file that a tavok has open, whatever its configuration says by now;
/// `configured` if it has none.
std::string DirectoryInUse(const COpenFiles& open, const std::string& configured);
