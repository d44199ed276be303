#include "Results.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>
#include <numeric>

namespace {

const std::vector<std::string> kFigures = {
    "sent",  "received", "lost_percent", "per_second", "cpu_us", "peak_mb", "start_ms",
    "calls", "own_mb",   "stored_bytes", "writes",     "lost",   "faults",  "files"};

}  // namespace

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

std::vector<const Measurement*> Results::Of(const Point& point, const std::string& subject) const {
  std::vector<const Measurement*> found;
  for (const Measurement& one : m_all) {
    if (one.section == point.section && one.x == point.x && one.subject == subject) {
      found.push_back(&one);
    }
  }
  return found;
}

std::vector<double> Results::Values(const Point& point, const std::string& subject,
                                    const std::string& figure, const std::string& to) const {
  std::vector<double> values;
  for (const Measurement* const one : Of(point, subject)) {
    if (!one->figures.contains(figure)) continue;
    if (to.empty()) values.push_back(one->figures.at(figure));
    for (const Measurement* const base : Of(point, to)) {
      if (base->round != one->round || !base->figures.contains(figure)) continue;
      values.push_back(one->figures.at(figure) / base->figures.at(figure));
    }
  }
  std::sort(values.begin(), values.end());
  return values;
}

double Results::MedianOf(const Point& point, const std::string& subject, const std::string& figure,
                         const std::string& to) const {
  const std::vector<double> values = Values(point, subject, figure, to);
  if (values.empty()) return std::numeric_limits<double>::quiet_NaN();
  return (values[values.size() / 2] + values[(values.size() - 1) / 2]) / 2;
}

std::string Results::Cell(const Point& point, const std::string& subject,
                          const Column& column) const {
  const std::vector<double> values = Values(point, subject, column.figure, column.to);
  const auto text = [&](double value) { return Number(value, column.digits); };
  if (values.empty()) return "-";
  switch (column.of) {
    case Column::Of::kMost:
      return text(values.back());
    case Column::Of::kSum:
      return text(std::accumulate(values.begin(), values.end(), 0.0));
    case Column::Of::kRange:
      return text(values.front()) + " to " + text(values.back());
    case Column::Of::kMedian:
      break;
  }
  return text(MedianOf(point, subject, column.figure, column.to));
}

void Results::Print(const std::vector<Point>& points, const std::vector<Subject>& subjects,
                    const std::vector<Column>& columns) const {
  std::vector<std::vector<std::string>> rows = {{"subject"}};
  for (const Column& column : columns) rows.front().emplace_back(column.title);
  for (const Point& point : points) {
    for (const Subject& subject : subjects) {
      const auto all = Of(point, subject.name);
      if (all.empty()) continue;
      const std::string load = points.size() > 1 ? point.title + ", " : "";
      rows.push_back({load + subject.name + (all.front()->unchanged ? "" : " *")});
      for (const Column& column : columns) {
        rows.back().push_back(Cell(point, subject.name, column));
      }
    }
  }
  PrintTable(points.size() > 1 ? "One run, piece by piece" : points.front().title, rows);
}

void Results::Write(const std::string& directory, const std::vector<Point>& points,
                    const std::vector<Subject>& subjects) const {
  std::ofstream rows(directory + "/rows.csv");
  std::ofstream medians(directory + "/medians.csv");
  rows << "section,x,subject,round,unchanged";
  medians << "section,x,subject";
  for (const std::string& figure : kFigures) {
    rows << ',' << figure;
    medians << ',' << figure << ',' << figure << "_ratio";
  }
  for (const Measurement& one : m_all) {
    rows << '\n'
         << one.section << ',' << one.x << ',' << one.subject << ',' << one.round << ','
         << one.unchanged;
    for (const std::string& figure : kFigures) {
      rows << ',' << (one.figures.contains(figure) ? Number(one.figures.at(figure), 4) : "");
    }
  }
  for (const Point& point : points) {
    for (const Subject& subject : subjects) {
      if (Of(point, subject.name).empty()) continue;
      medians << '\n' << point.section << ',' << point.x << ',' << subject.name;
      for (const std::string& figure : kFigures) {
        medians << ',' << Number(MedianOf(point, subject.name, figure), 4) << ','
                << Number(MedianOf(point, subject.name, figure, "bare"), 4);
      }
    }
  }
  rows << '\n';
  medians << '\n';
}
