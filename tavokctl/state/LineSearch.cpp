#include "state/LineSearch.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/Failure.h"

namespace {

constexpr std::uint64_t kBlock = 65536;

}  // namespace

std::uint64_t CLineSearch::BeginIn(const CDescriptor& file, std::uint64_t size, bool& isFound) {
  isFound = m_lines == 0;
  if (isFound) return size;
  // The last byte of the text is skipped: a line end there starts no further line.
  std::uint64_t end = m_isAtEnd && size > 0 ? size - 1 : size;
  m_isAtEnd = m_isAtEnd && size == 0;
  char block[kBlock];
  while (end > 0) {
    const std::uint64_t begin = end - std::min(end, kBlock);
    const ssize_t count = ::pread(file.Get(), block, end - begin, static_cast<off_t>(begin));
    if (count == -1) throw CFailure("read a log file", errno);
    for (ssize_t i = count; i-- > 0;) {
      isFound = block[i] == '\n' && --m_lines == 0;
      if (isFound) return begin + static_cast<std::uint64_t>(i) + 1;
    }
    end = begin;
  }
  return 0;
}
