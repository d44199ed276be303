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

double Median(std::vector<double> values) {
  if (values.empty()) return kNone;
  std::sort(values.begin(), values.end());
  const std::size_t half = values.size() / 2;
  return values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2;
}

}  // namespace

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

std::vector<double> Results::Ratios(const Point& point, const std::string& subject,
                                    const std::string& other, const std::string& figure) const {
  std::vector<double> ratios;
  for (const Measurement* const one : Of(point, subject)) {
    for (const Measurement* const base : Of(point, other)) {
      if (one->round == base->round && one->figures.contains(figure) &&
          base->figures.contains(figure)) {
        ratios.push_back(one->figures.at(figure) / base->figures.at(figure));
      }
    }
  }
  return ratios;
}

double Results::MedianOf(const Point& point, const std::string& subject,
                         const std::string& figure) const {
  return Median(Values(point, subject, figure));
}

double Results::MedianRatio(const Point& point, const std::string& subject,
                            const std::string& other, const std::string& figure) const {
  return Median(Ratios(point, subject, other, figure));
}

std::string Results::Cell(const Point& point, const std::string& subject,
                          const Column& column) const {
  const bool toOther = column.of == Column::Of::kRatio || column.of == Column::Of::kRange;
  const std::vector<double> values = toOther ? Ratios(point, subject, column.to, column.figure)
                                             : Values(point, subject, column.figure);
  if (values.empty()) return "-";
  const auto [least, most] = std::ranges::minmax(values);
  switch (column.of) {
    case Column::Of::kMost:
      return Number(most, column.digits);
    case Column::Of::kSum:
      return Number(std::accumulate(values.begin(), values.end(), 0.0), column.digits);
    case Column::Of::kRange:
      return Number(least, column.digits) + " to " + Number(most, column.digits);
    case Column::Of::kRatio:
    case Column::Of::kMedian:
      break;
  }
  return Number(Median(values), column.digits);
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
  for (const std::string& figure : kFigures) file << ',' << figure << ',' << figure << "_ratio";
  for (const Point& point : points) {
    for (const Subject& subject : subjects) {
      if (Of(point, subject.name).empty()) continue;
      file << '\n' << point.section << ',' << point.x << ',' << subject.name;
      for (const std::string& figure : kFigures) {
        file << ',' << Number(MedianOf(point, subject.name, figure), 4) << ','
             << Number(MedianRatio(point, subject.name, "bare", figure), 4);
      }
    }
  }
  file << '\n';
}
