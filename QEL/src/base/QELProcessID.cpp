#include "QELProcessID.h"

#include <unistd.h>

namespace qel {

const pid_t QELProcessID::s_pid = ::getpid();

}  // namespace qel
