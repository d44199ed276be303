#pragma once

#include <cstdint>

#include "base/Descriptor.h"

/// Looks for the beginning of the last lines of a text that is in several files.
class CLineSearch {
 public:
  /// 0 lines begin at the end of the text.
  explicit CLineSearch(unsigned lines) : m_lines(lines) {}

  /// To be called for the last file first. Returns the offset at which the lines begin in the first
  /// `size` bytes of a file, 0 if they begin in the file before it; `isFound` tells these apart.
  /// Throws CFailure.
  std::uint64_t BeginIn(const CDescriptor& file, std::uint64_t size, bool& isFound);

 private:
  unsigned m_lines;
  bool m_isAtEnd = true;
};
