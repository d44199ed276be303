#include "StartupSemaphore.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

namespace {

constexpr int kAttempts = 10000;
constexpr useconds_t kAttemptIntervalUs = 1000;

}  // namespace

// The kernel ignores the semaphore number with IPC_RMID.
CStartupSemaphore::~CStartupSemaphore() { (void)::semctl(m_nId, 1, IPC_RMID); }

void CStartupSemaphore::Raise() {
  sembuf raise{0, 1, IPC_NOWAIT | SEM_UNDO};
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const bool raised = ::semop(m_nId, &raise, 1) == 0;
    ::usleep(kAttemptIntervalUs);
    if (raised) return;
  }
}
