#pragma once

#include <string>
#include <string_view>
#include <vector>

// The oracle of whatever is sent: each sender numbers its messages, so that the log tells whether
// all of them arrived, whole, once and in order.

// The message of a sender with that number: 100 bytes, the last one a line end.
std::string Numbered(std::size_t sender, int number);

// Reads a log of numbered messages.
class NumberedReader {
 public:
  // Whether there may be other text between the messages, and messages of further senders.
  enum class Others { kAreFaults, kArePassedOver };

  // The senders are 0 to senders - 1.
  explicit NumberedReader(std::size_t senders, Others others = Others::kAreFaults);

  // Reads a piece of the log, of whole lines. Returns its first fault, of those that are counted
  // below; empty if there is none.
  std::string Read(std::string_view piece);

  // How many messages have been read, each counted once.
  long Whole() const { return m_whole; }
  // How many came once more.
  long Repeated() const { return m_repeated; }
  // How many came, for the first time, after one with a higher number of the same sender.
  long OutOfOrder() const { return m_outOfOrder; }
  // How many lines are no whole message.
  long Torn() const { return m_torn; }
  // How many of 0 to counts[sender] - 1 have not been read; negative when one beyond has.
  long Missing(const std::vector<int>& counts) const;
  // The first few of these.
  std::string FirstMissing(const std::vector<int>& counts) const;

 private:
  std::string Take(std::string_view line);

  Others m_others;
  std::vector<std::vector<bool>> m_seen;  // of each sender, up to its highest number
  long m_whole = 0, m_repeated = 0, m_outOfOrder = 0, m_torn = 0;
};

// Empty when `logged` holds, of each sender, all of 0 to counts[sender] - 1, once and in order, and
// nothing else; up to `mayMiss` of them may be missing.
std::string NumberedFault(const std::string& logged, const std::vector<int>& counts,
                          long mayMiss = 0);
