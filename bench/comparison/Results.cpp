#include "Results.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <numeric>

#include "Table.h"

namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
const std::vector<std::string> kFigures = {
    "sent",  "received", "lost_percent", "per_second", "cpu_us", "peak_mb", "start_ms",
    "calls", "own_mb",   "stored_bytes", "writes",     "lost",   "faults",  "files"};

constexpr auto kRatio = Column::Of::kRatio;
const std::vector<Column> kMedians = {{"cpu_us", "cpu_us", 4},
                                      {"cpu_ratio", "cpu_us", 4, kRatio, "bare"},
                                      {"per_second", "per_second", 4},
                                      {"per_second_ratio", "per_second", 4, kRatio, "bare"},
                                      {"lost_percent", "lost_percent", 4},
                                      {"peak_mb", "peak_mb", 4},
                                      {"start_ms", "start_ms", 4},
                                      {"calls", "calls", 4}};

}  // namespace

double Median(std::vector<double> values) {
  if (values.empty()) return kNone;
  std::sort(values.begin(), values.end());
  const std::size_t half = values.size() / 2;
  return values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2;
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
                                    const std::string& figure) const {
  std::vector<double> values;
  for (const Measurement* const one : Of(point, subject)) {
    if (one->figures.contains(figure)) values.push_back(one->figures.at(figure));
  }
  return values;
}

double Results::MedianOf(const Point& point, const std::string& subject,
                         const std::string& figure) const {
  return Median(Values(point, subject, figure));
}

std::vector<double> Results::Ratios(const Point& point, const std::string& subject,
                                    const std::string& other, const std::string& figure) const {
  std::vector<double> ratios;
  for (const Measurement* const one : Of(point, subject)) {
    for (const Measurement* const base : Of(point, other)) {
      if (one->round != base->round || !one->figures.contains(figure)) continue;
      if (base->figures.contains(figure)) {
        ratios.push_back(one->figures.at(figure) / base->figures.at(figure));
      }
    }
  }
  std::sort(ratios.begin(), ratios.end());
  return ratios;
}

std::string Results::Cell(const Point& point, const std::string& subject,
                          const Column& column) const {
  const std::vector<double> values = Values(point, subject, column.figure);
  const std::vector<double> ratios = Ratios(point, subject, column.to, column.figure);
  const auto range = [&] {
    return Number(ratios.front(), column.digits) + " to " + Number(ratios.back(), column.digits);
  };
  switch (column.of) {
    case Column::Of::kMost:
      return Number(values.empty() ? kNone : *std::ranges::max_element(values), column.digits);
    case Column::Of::kSum:
      return Number(std::accumulate(values.begin(), values.end(), 0.0), column.digits);
    case Column::Of::kRatio:
      return Number(Median(ratios), column.digits);
    case Column::Of::kRange:
      return ratios.empty() ? "-" : range();
    case Column::Of::kMedian:
      break;
  }
  return Number(Median(values), column.digits);
}

void Results::Print(const Point& point, const std::vector<Subject>& subjects,
                    const std::vector<Column>& columns) const {
  std::vector<std::vector<std::string>> rows = {{"subject"}};
  for (const Column& column : columns) rows.front().emplace_back(column.title);
  for (const Subject& subject : subjects) {
    const auto all = Of(point, subject.name);
    if (all.empty()) continue;
    rows.push_back({subject.name + (all.front()->unchanged ? "" : " *")});
    for (const Column& column : columns) {
      rows.back().push_back(Cell(point, subject.name, column));
    }
  }
  PrintTable(point.title, rows);
}

void Results::PrintCourse(const std::vector<Point>& points) const {
  std::vector<std::vector<std::string>> rows = {
      {"", "bare us", "tavok us", "to bare", "tavok peak MB"}};
  for (const Point& point : points) {
    rows.push_back({point.title, Number(MedianOf(point, "bare", "cpu_us"), 3),
                    Number(MedianOf(point, "tavok", "cpu_us"), 3),
                    Number(Median(Ratios(point, "tavok", "bare", "cpu_us")), 3),
                    Number(MedianOf(point, "tavok", "peak_mb"), 2)});
  }
  PrintTable("One run, piece by piece", rows);
}

void Results::WriteRows(const std::string& path) const {
  std::ofstream file(path);
  file << "section,x,subject,round,unchanged";
  for (const std::string& figure : kFigures) file << ',' << figure;
  file << '\n';
  for (const Measurement& one : m_all) {
    file << one.section << ',' << one.x << ',' << one.subject << ',' << one.round << ','
         << one.unchanged;
    for (const std::string& figure : kFigures) {
      file << ',';
      if (one.figures.contains(figure)) file << Number(one.figures.at(figure), 4);
    }
    file << '\n';
  }
}

void Results::WriteMedians(const std::string& path, const std::vector<Point>& points,
                           const std::vector<Subject>& subjects) const {
  std::ofstream file(path);
  file << "section,x,subject";
  for (const Column& column : kMedians) file << ',' << column.title;
  for (const Point& point : points) {
    for (const Subject& subject : subjects) {
      if (Of(point, subject.name).empty()) continue;
      file << '\n' << point.section << ',' << point.x << ',' << subject.name;
      for (const Column& column : kMedians) file << ',' << Cell(point, subject.name, column);
    }
  }
  file << '\n';
}
