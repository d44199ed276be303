#pragma once

#include <atomic>
#include <cstdint>

#include "QELTrace.h"

namespace qel {

/// A 32-bit word that one thread at a time holds: 0 free, 1 held. For sections of a few
/// instructions: a waiting thread burns its processor and never sleeps. Not recursive.
class QELSpinWord {
 public:
  /// Waits until the word is held. A word that is neither 0 nor 1 is corrupt: that is traced as a
  /// failed assertion at `file` and `line`, once, and the word is then taken as held; the release
  /// repairs it.
  void Acquire(const char* file, unsigned line) {
    std::uint32_t seen = kFree;
    while (!m_nWord.compare_exchange_strong(seen, kHeld)) {
      if (seen != kHeld) return _QelAssert("false", file, line);
      seen = kFree;
    }
  }

  /// Frees the word, which the calling thread holds.
  void Release() noexcept { m_nWord.store(kFree, std::memory_order_release); }

 private:
  static constexpr std::uint32_t kFree = 0;
  static constexpr std::uint32_t kHeld = 1;

  std::atomic<std::uint32_t> m_nWord{kFree};
};

/// Holds a spin word for a scope.
class [[nodiscard]] QELSpinGuard {
 public:
  QELSpinGuard(QELSpinWord& word, const char* file, unsigned line) : m_word(word) {
    m_word.Acquire(file, line);
  }
  QELSpinGuard(const QELSpinGuard&) = delete;
  QELSpinGuard& operator=(const QELSpinGuard&) = delete;
  ~QELSpinGuard() { m_word.Release(); }

 private:
  QELSpinWord& m_word;
};

}  // namespace qel
