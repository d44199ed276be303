#include "Numbered.h"

#include <algorithm>
#include <charconv>

namespace {

constexpr std::size_t kSize = 100;  // with the line end

struct Message {
  std::size_t sender = 0;
  int number = 0;
};

// Whether the line is a whole message.
bool Parse(std::string_view line, Message& message) {
  const char* const end = line.data() + line.size();
  const char* const blank = std::from_chars(line.data(), end, message.sender).ptr;
  if (blank == end || std::from_chars(blank + 1, end, message.number).ec != std::errc()) {
    return false;
  }
  return line == Numbered(message.sender, message.number);
}

std::string Fault(const char* kind, std::string_view line) {
  constexpr std::size_t kShown = 40;
  return std::string(kind) + ": " + std::string(line.substr(0, std::min(kShown, line.find('\n'))));
}

}  // namespace

std::string Numbered(std::size_t sender, int number) {
  std::string text = std::to_string(sender) + " " + std::to_string(number) + " ";
  text.resize(kSize - 1, 'x');
  return text += '\n';
}

NumberedReader::NumberedReader(std::size_t senders, Others others)
    : m_others(others), m_seen(senders) {}

std::string NumberedReader::Read(std::string_view piece) {
  std::string first;
  while (!piece.empty()) {
    const std::string_view line = piece.substr(0, piece.find('\n') + 1);
    const std::size_t size = line.empty() ? piece.size() : line.size();
    std::string fault = Take(piece.substr(0, size));
    if (first.empty()) first = std::move(fault);
    piece.remove_prefix(size);
  }
  return first;
}

// With others about, a message may follow on a text of theirs that has no line end.
std::string NumberedReader::Take(std::string_view line) {
  const bool passOver = m_others == Others::kArePassedOver;
  if (passOver && line.size() > kSize) line.remove_prefix(line.size() - kSize);
  Message message;
  const bool isWhole = Parse(line, message);
  if (passOver && (isWhole ? message.sender >= m_seen.size() : line.find("xx") == line.npos)) {
    return {};
  }
  if (!isWhole || message.sender >= m_seen.size()) {
    m_torn += 1;
    return Fault("torn", line);
  }
  std::vector<bool>& seen = m_seen[message.sender];
  const auto number = static_cast<std::size_t>(message.number);
  const bool isLast = number >= seen.size();
  if (isLast) seen.resize(number + 1);
  if (seen[number]) {
    m_repeated += 1;
    return Fault("repeated", line);
  }
  seen[number] = true;
  m_whole += 1;
  if (isLast) return {};
  m_outOfOrder += 1;
  return Fault("out of order", line);
}

long NumberedReader::Missing(const std::vector<int>& counts) const {
  long missing = -m_whole;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    if (m_seen[i].size() > static_cast<std::size_t>(counts[i])) return -1;
    missing += counts[i];
  }
  return missing;
}

std::string NumberedReader::FirstMissing(const std::vector<int>& counts) const {
  std::string names;
  int named = 0;
  for (std::size_t sender = 0; sender < counts.size(); ++sender) {
    const std::vector<bool>& seen = m_seen[sender];
    for (std::size_t i = 0; i < static_cast<std::size_t>(counts[sender]) && named < 5; ++i) {
      if (i < seen.size() && seen[i]) continue;
      names += (named == 0 ? "" : ", ") + std::to_string(sender) + " " + std::to_string(i);
      named += 1;
    }
  }
  return names;
}

std::string NumberedFault(const std::string& logged, const std::vector<int>& counts, long mayMiss) {
  NumberedReader reader(counts.size());
  if (std::string fault = reader.Read(logged); !fault.empty()) return fault;
  const long missing = reader.Missing(counts);
  if (missing < 0) return "there are more than were sent";
  return missing <= mayMiss
             ? ""
             : std::to_string(missing) + " missing, from " + reader.FirstMissing(counts);
}
