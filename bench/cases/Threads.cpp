#include <mutex>

#include "Piece.h"
#include "QELSync.h"

namespace {

// A look at a flag, as plainly as can be.
class LockedFlag {
 public:
  bool IsSet() {
    const std::lock_guard lock(m_mutex);
    return m_set;
  }

 private:
  std::mutex m_mutex;
  bool m_set = false;
};

}  // namespace

void AddThreadPieces() {
  static QELManualEvent event;
  static LockedFlag flag;
  Piece("EventPoll", [] { return [] { return event.Lock(0); }; });
  Piece("EventPoll_Mutex", [] { return [] { return flag.IsSet(); }; });
}
