#pragma once

#include <string>

#include "QELDateTime.h"

/// Names in the log directory.

/// The current file.
inline constexpr const char* kCurrentName = "tmp.tavok";

/// Whatever has this in its name, anywhere, counts as a rotated file and is deleted in its turn.
inline constexpr const char* kRotatedMark = "tavok_";

/// The name that a file rotated now gets; the time is UTC.
inline std::string RotatedNameOfNow() {
  std::string name;
  return qel::CDateTime::GetCurrentGMTTime().Format("tavok_%Y%m%d_%H%M%S.log", name);
}
