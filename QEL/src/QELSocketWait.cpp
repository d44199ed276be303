#include <poll.h>
#include <sys/select.h>

#include <cerrno>

#include "QELElapsed.h"
#include "QELSocket.h"
#include "QELThread.h"

namespace qel {
namespace {

constexpr unsigned kSliceMs = 1000;

// A descriptor set that holds one socket, or none.
class FdSet {
 public:
  FdSet(int fd, bool holds) : m_fd(fd), m_bHolds(holds) {
    FD_ZERO(&m_set);
    if (holds) FD_SET(fd, &m_set);
  }

  fd_set* Get() { return m_bHolds ? &m_set : nullptr; }
  bool IsSet() const { return m_bHolds && FD_ISSET(m_fd, &m_set); }

 private:
  fd_set m_set;
  const int m_fd;
  const bool m_bHolds;
};

}  // namespace

bool QELSocket::Select(int what, unsigned timeoutMs) {
  if (m_bUsePollSocket) return Poll(what, timeoutMs);
  if (m_bFdSetValidation) ValidateFd();
  // Beyond the range of an fd_set, setting the descriptor's bit would write past it.
  if (m_hSocket >= FD_SETSIZE) return Poll(what, timeoutMs);
  return WaitInSlices(timeoutMs, [this, what] { return SelectSlice(what); });
}

bool QELSocket::Poll(int what, unsigned timeoutMs) {
  const auto events =
      static_cast<short>(((what & kWritable) ? POLLOUT : 0) | ((what & kReadable) ? POLLIN : 0) |
                         ((what & kExceptional) ? POLLERR : 0));
  return WaitInSlices(timeoutMs, [this, events] {
    pollfd entry{m_hSocket, events, 0};
    return ::poll(&entry, 1, kSliceMs);
  });
}

int QELSocket::SelectEx(int what, unsigned timeoutMs) {
  RequireDescriptor();
  ValidateFd();
  const QELElapsed elapsed;
  for (;;) {
    QELThread::RunCurrentAPCs();
    const int ready = SelectExSlice(what, timeoutMs >= kSliceMs);
    if (ready > 0) return ready;
    if (ready == 0 && timeoutMs < elapsed.Milliseconds()) return 0;
  }
}

// Waits until a slice tells readiness. `slice` makes one system call that blocks for a second at
// most, and returns its result.
template <class Slice>
bool QELSocket::WaitInSlices(unsigned timeoutMs, Slice slice) {
  RequireDescriptor();
  const QELElapsed elapsed;
  for (;;) {
    QELThread::RunCurrentAPCs();
    const int ready = slice();
    const int error = errno;
    // Before the result is looked at: readiness in the slice that passes the limit comes too late.
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

// Returns the bits found, 0 for none, -1 when a signal came.
int QELSocket::SelectExSlice(int what, bool wholeSecond) {
  FdSet readable(m_hSocket, (what & kReadable) != 0);
  FdSet writable(m_hSocket, (what & kWritable) != 0);
  FdSet exceptional(m_hSocket, (what & kExceptional) != 0);
  timeval slice{wholeSecond ? 1 : 0, 0};
  // With a descriptor count of 0 the kernel looks at no descriptor and leaves the sets as they are.
  if (::select(0, readable.Get(), writable.Get(), exceptional.Get(), &slice) == -1) {
    if (errno != EINTR) ThrowExcep(true);
    return -1;
  }
  return (readable.IsSet() ? kReadable : 0) | (writable.IsSet() ? kWritable : 0) |
         (exceptional.IsSet() ? kExceptional : 0);
}

}  // namespace qel
