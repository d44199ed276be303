#pragma once

#include <sstream>
#include <string>
#include <vector>

// The numbered message of a sender: 100 bytes.
inline std::string Numbered(std::size_t sender, int number) {
  const std::string text = std::to_string(sender) + " " + std::to_string(number) + " ";
  return text + std::string(99 - text.size(), 'x') + "\n";
}

// Empty when `logged` holds, of each sender, all of 0 to counts[sender] - 1, once and in order, and
// nothing else; otherwise tells the first fault.
inline std::string NumberedFault(const std::string& logged, const std::vector<int>& counts) {
  std::vector<int> next(counts.size());
  std::istringstream lines(logged);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t sender = std::strtoul(line.c_str(), nullptr, 10);
    if (sender >= next.size() || line + "\n" != Numbered(sender, next[sender]++)) return line;
  }
  return next == counts ? "" : "something is missing at the end";
}
