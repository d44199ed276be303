#pragma once

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

// Throws std::runtime_error with `what` and the text of errno, unless `ok`.
inline void Check(bool ok, const std::string& what) {
  if (!ok) throw std::runtime_error(what + ": " + std::strerror(errno));
}
