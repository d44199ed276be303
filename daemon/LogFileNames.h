#pragma once

#include <string>

#include "QELDateTime.h"

/// Names in the log directory.

/// The current file.
inline constexpr const char* kCurrentName = "tmp.tavok";

/// A name that contains this, anywhere, counts as a rotated file, which recycling may delete.
inline constexpr const char* kRotatedMark = "tavok_";

/// The name of a file that is rotated now; the time is UTC.
inline std::string RotatedNameOfNow() {
  std::string name;
  return qel::CDateTime::GetCurrentGMTTime().Format("tavok_%Y%m%d_%H%M%S.log", name);
}
