#pragma once

#include <cerrno>

namespace qel {

// Whether a call on a non-blocking socket failed only because it would have had to wait.
inline bool WouldBlock(int error) { return error == EINPROGRESS || error == EAGAIN; }

}  // namespace qel
