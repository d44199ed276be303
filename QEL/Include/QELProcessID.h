#pragma once

#include <sys/types.h>

namespace qel {

/// The id of this process, taken once during static initialisation, so that diagnostics need no
/// system call for it. A child made by fork keeps its parent's value.
struct QELProcessID {
  static const pid_t s_pid;
};

}  // namespace qel
