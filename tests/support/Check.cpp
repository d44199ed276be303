#include "Check.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

void Check(bool ok, const std::string& what) {
  if (!ok) throw std::runtime_error(what + ": " + std::strerror(errno));
}
