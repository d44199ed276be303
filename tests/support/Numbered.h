#pragma once

#include <climits>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

// The numbered message of a sender: 100 bytes.
inline std::string Numbered(std::size_t sender, int number) {
  const std::string text = std::to_string(sender) + " " + std::to_string(number) + " ";
  return text + std::string(99 - text.size(), 'x') + "\n";
}

// Reads a log of numbered messages, in pieces of whole lines: each whole, once, and of each sender
// in order.
class NumberedReader {
 public:
  explicit NumberedReader(std::size_t senders) : m_next(senders) {}

  // Empty, or the first line that should not be where it is.
  std::string Read(const std::string& piece) {
    std::istringstream lines(piece);
    for (std::string line; std::getline(lines, line);) {
      char* end = nullptr;
      const std::size_t sender = std::strtoul(line.c_str(), &end, 10);
      const long number = std::strtol(end, nullptr, 10);
      if (sender >= m_next.size() || number < m_next[sender] || number >= INT_MAX ||
          line + "\n" != Numbered(sender, static_cast<int>(number))) {
        return line;
      }
      m_read += 1, m_next[sender] = static_cast<int>(number) + 1;
    }
    return {};
  }
  // How many of 0 to counts[sender] - 1 have not been read; negative when one beyond has.
  long Missing(const std::vector<int>& counts) const {
    long missing = -m_read;
    for (std::size_t i = 0; i < counts.size(); ++i) {
      if (m_next[i] > counts[i]) return -1;
      missing += counts[i];
    }
    return missing;
  }

 private:
  std::vector<int> m_next;
  long m_read = 0;
};

// Empty when `logged` holds, of each sender, all of 0 to counts[sender] - 1, once and in order, and
// nothing else; up to `mayMiss` of them may be missing.
inline std::string NumberedFault(const std::string& logged, const std::vector<int>& counts,
                                 long mayMiss = 0) {
  NumberedReader reader(counts.size());
  if (std::string fault = reader.Read(logged); !fault.empty()) return fault;
  const long missing = reader.Missing(counts);
  return 0 <= missing && missing <= mayMiss ? "" : std::to_string(missing) + " are missing";
}
