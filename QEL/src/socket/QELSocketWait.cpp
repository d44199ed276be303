#include <poll.h>
#include <sys/select.h>

#include <cerrno>

#include "QELSocket.h"
#include "QELThread.h"
#include "base/QELElapsed.h"

namespace qel {
namespace {

constexpr unsigned kSliceMs = 1000;

// A descriptor set that holds one socket, or stands for none.
class FdSet {
 public:
  FdSet(int fd, bool holds) : m_bHolds(holds) {
    FD_ZERO(&m_set);
    if (holds) FD_SET(fd, &m_set);
  }

  fd_set* Get() { return m_bHolds ? &m_set : nullptr; }

 private:
  fd_set m_set;
  const bool m_bHolds;
};

}  // namespace

bool QELSocket::Select(int what, unsigned timeoutMs) {
  if (m_bUsePollSocket) return Poll(what, timeoutMs);
  if (m_bFdSetValidation) ValidateFd();
  return WaitInSlices(timeoutMs, [this, what] {
    // Beyond the range of an fd_set, setting the descriptor's bit would write past it.
    return m_hSocket < FD_SETSIZE ? SelectSlice(what) : PollSlice(what);
  });
}

bool QELSocket::Poll(int what, unsigned timeoutMs) {
  return WaitInSlices(timeoutMs, [this, what] { return PollSlice(what); });
}

int QELSocket::SelectEx(int what, unsigned timeoutMs) {
  const int asked = what & (kReadable | kWritable | kExceptional);
  const QELElapsed elapsed;
  for (;;) {
    QELThread::RunCurrentAPCs();
    // With a descriptor count of 0 the kernel looks at no set and leaves each as it was built, so
    // that every bit asked for is found set when the slice is over: no set needs building.
    timeval slice{timeoutMs >= kSliceMs ? 1 : 0, 0};
    if (::select(0, nullptr, nullptr, nullptr, &slice) == -1) {
      if (errno != EINTR) ThrowExcep(true);
    } else if (asked != 0 || timeoutMs < elapsed.Milliseconds()) {
      return asked;
    }
  }
}

// Waits until a slice tells readiness. `slice` makes one system call that blocks for a second at
// most, and returns its result.
template <class Slice>
bool QELSocket::WaitInSlices(unsigned timeoutMs, Slice slice) {
  const QELElapsed elapsed;
  for (;;) {
    QELThread::RunCurrentAPCs();
    RequireDescriptor();  // repeated, as a work item may have closed the socket
    const int ready = slice();
    const int error = errno;
    // Checked before the result: readiness in the slice that passes the limit comes too late.
    if (elapsed.Milliseconds() > timeoutMs) return false;
    if (ready > 0) {
      ThrowPendingError();
      return true;
    }
    if (ready == -1 && error != EINTR) {
      errno = error;
      ThrowExcep(true);
    }
  }
}

void QELSocket::RequireDescriptor() {
  if (m_hSocket >= 0) return;
  errno = EBADF;
  ThrowExcep(true);
}

void QELSocket::ThrowPendingError() {
  int error = 0;
  int len = sizeof error;
  GetSockOpt(SO_ERROR, &error, &len, SOL_SOCKET);
  if (error == 0) return;
  errno = error;
  ThrowExcep(true);
}

int QELSocket::SelectSlice(int what) {
  FdSet readable(m_hSocket, (what & kReadable) != 0);
  FdSet writable(m_hSocket, (what & kWritable) != 0);
  FdSet exceptional(m_hSocket, true);
  timeval slice{1, 0};
  return ::select(m_hSocket + 1, readable.Get(), writable.Get(), exceptional.Get(), &slice);
}

int QELSocket::PollSlice(int what) {
  const int events = ((what & kWritable) != 0 ? POLLOUT : 0) |
                     ((what & kReadable) != 0 ? POLLIN : 0) |
                     ((what & kExceptional) != 0 ? POLLERR : 0);
  pollfd entry{m_hSocket, static_cast<short>(events), 0};
  return ::poll(&entry, 1, kSliceMs);
}

}  // namespace qel
