#pragma once

#include <string>
#include <vector>

#include "base/Files.h"

/// A file in the log directory whose name marks it as rotated.
struct CRotatedFile {
  std::string name;
  CFileState state;
};

/// All rotated files, earliest change first. Throws CFailure, "read directory <path>: ...".
std::vector<CRotatedFile> RotatedFiles(const std::string& directory);
