#include "Table.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

std::string Number(double value, int digits) {
  if (std::isnan(value)) return "-";
  char text[64];
  (void)std::snprintf(text, sizeof text, "%.*f", digits, value);
  return text;
}

void PrintTable(const std::string& heading, const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths(rows.front().size(), 2);
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  const auto print = [&](const std::vector<std::string>& row) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      const int width = static_cast<int>(widths[i]) * (i == 0 ? -1 : 1);
      std::printf("| %*s ", width, row[i].c_str());
    }
    std::printf("|\n");
  };
  std::printf("\n### %s\n\n", heading.c_str());
  print(rows.front());
  for (std::size_t i = 0; i < widths.size(); ++i) {
    const std::string line(widths[i], '-');
    std::printf(i == 0 ? "|:%s-" : "|-%s:", line.c_str());
  }
  std::printf("|\n");
  std::for_each(rows.begin() + 1, rows.end(), print);
  (void)std::fflush(stdout);
}
