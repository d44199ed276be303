#pragma once

#include <algorithm>
#include <charconv>
#include <string>
#include <string_view>
#include <vector>

// The oracle of whatever is sent: each sender numbers its messages, so that the log tells whether
// all of them arrived, whole, once and in order.

// The message of a sender with that number: 100 bytes, the last one a line end.
inline std::string Numbered(std::size_t sender, int number) {
  std::string text = std::to_string(sender) + " " + std::to_string(number) + " ";
  text.resize(99, 'x');
  return text += '\n';
}

// Reads a log of numbered messages.
class NumberedReader {
 public:
  // The senders are 0 to senders - 1.
  explicit NumberedReader(std::size_t senders) : m_seen(senders) {}

  // Reads a piece of the log, of whole lines. Returns its first fault, of those that are counted
  // below; empty if there is none.
  std::string Read(std::string_view piece) {
    std::string first;
    while (!piece.empty()) {
      const std::string_view line =
          piece.substr(0, std::min(piece.find('\n'), piece.size() - 1) + 1);
      const char* const fault = Take(line);
      if (fault != nullptr && first.empty()) first = fault + std::string(line);
      piece.remove_prefix(line.size());
    }
    return first;
  }

  // How many messages have been read, each counted once.
  long Whole() const { return m_whole; }
  // How many came once more.
  long Repeated() const { return m_repeated; }
  // How many came, for the first time, after one with a higher number of the same sender.
  long OutOfOrder() const { return m_outOfOrder; }
  // How many lines are no whole message of these senders.
  long Torn() const { return m_torn; }
  // How many of 0 to counts[sender] - 1 have not been read; negative when one beyond has.
  long Missing(const std::vector<int>& counts) const {
    long missing = -m_whole;
    for (std::size_t i = 0; i < counts.size(); ++i) {
      if (m_seen[i].size() > static_cast<std::size_t>(counts[i])) return -1;
      missing += counts[i];
    }
    return missing;
  }
  // The same in words; empty when 0 to `mayMiss` are missing.
  std::string Lacks(const std::vector<int>& counts, long mayMiss = 0) const {
    const long missing = Missing(counts);
    if (missing < 0) return "there are more than were sent";
    return missing <= mayMiss ? "" : std::to_string(missing) + " missing";
  }

 private:
  // Returns the fault of a line, or nullptr.
  const char* Take(std::string_view line) {
    std::size_t sender = 0, number = 0;
    const char* const end = line.data() + line.size();
    const char* const blank = std::from_chars(line.data(), end, sender).ptr;
    if (blank != end) std::from_chars(blank + 1, end, number);
    // The line, written anew, tells whether it was read as what it is.
    if (sender >= m_seen.size() || line != Numbered(sender, static_cast<int>(number))) {
      m_torn += 1;
      return "torn: ";
    }
    std::vector<bool>& seen = m_seen[sender];
    const bool isLast = number >= seen.size();
    if (isLast) seen.resize(number + 1);
    if (seen[number]) {
      m_repeated += 1;
      return "repeated: ";
    }
    seen[number] = true;
    m_whole += 1;
    if (isLast) return nullptr;
    m_outOfOrder += 1;
    return "out of order: ";
  }

  std::vector<std::vector<bool>> m_seen;  // of each sender, up to its highest number
  long m_whole = 0, m_repeated = 0, m_outOfOrder = 0, m_torn = 0;
};

// Empty when `logged` holds, of each sender, all of 0 to counts[sender] - 1, once and in order, and
// nothing else; up to `mayMiss` of them may be missing.
inline std::string NumberedFault(const std::string& logged, const std::vector<int>& counts,
                                 long mayMiss = 0) {
  NumberedReader reader(counts.size());
  const std::string fault = reader.Read(logged);
  return fault.empty() ? reader.Lacks(counts, mayMiss) : fault;
}
