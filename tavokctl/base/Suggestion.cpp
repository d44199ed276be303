#include "base/Suggestion.h"

#include <strings.h>

#include <algorithm>
#include <numeric>
#include <utility>

namespace {

// The edit distance: how many letters to insert, delete or replace, whatever their case.
std::size_t Distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), 0U);
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i);
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const bool differs = ::strncasecmp(&a[i - 1], &b[j - 1], 1) != 0;
      const std::size_t replaced = diagonal + (differs ? 1 : 0);
      diagonal = std::exchange(row[j], std::min({replaced, row[j] + 1, row[j - 1] + 1}));
    }
  }
  return row[b.size()];
}

}  // namespace

std::string Suggestion(const std::string& word, const std::vector<std::string>& known) {
  const auto nearest = std::min_element(
      known.begin(), known.end(),
      [&](const auto& a, const auto& b) { return Distance(word, a) < Distance(word, b); });
  if (Distance(word, *nearest) > nearest->size() / 2) return {};
  return "; did you mean " + *nearest + "?";
}
