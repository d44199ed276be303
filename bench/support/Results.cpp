#include "Results.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>

namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
const std::vector<std::string> kFigures = {"sent",   "received", "lost_percent", "per_second",
                                           "cpu_us", "peak_mb",  "start_ms",     "calls"};

// A dash for what was not measured.
std::string Number(double value, int digits) {
  if (std::isnan(value)) return "-";
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", digits, value);
  return text;
}

std::string Range(const std::vector<double>& sorted) {
  if (sorted.empty()) return "-";
  return Number(sorted.front(), 2) + " to " + Number(sorted.back(), 2);
}

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

double Results::MedianOf(const Point& point, const std::string& subject,
                         const std::string& figure) const {
  std::vector<double> values;
  for (const Measurement* const one : Of(point, subject)) {
    if (const auto value = one->figures.find(figure); value != one->figures.end()) {
      values.push_back(value->second);
    }
  }
  return Median(values);
}

std::vector<double> Results::Ratios(const Point& point, const std::string& subject,
                                    const std::string& other, const std::string& figure) const {
  std::vector<double> ratios;
  for (const Measurement* const one : Of(point, subject)) {
    for (const Measurement* const base : Of(point, other)) {
      if (one->round != base->round || !one->figures.contains(figure)) continue;
      if (base->figures.contains(figure)) {
        ratios.push_back(one->Figure(figure) / base->Figure(figure));
      }
    }
  }
  std::sort(ratios.begin(), ratios.end());
  return ratios;
}

void Results::PrintTable(const Point& point, const std::vector<Subject>& subjects) const {
  std::printf("\n### %s\n\n", point.title.c_str());
  std::printf(
      "| %-12s | CPU us | to bare | %-12s | per second | to bare | lost %% | peak MB | "
      "start ms | calls |\n",
      "subject", "from, to");
  std::printf(
      "|--------------|-------:|--------:|:-------------|-----------:|--------:|-------:|"
      "--------:|---------:|------:|\n");
  for (const Subject& subject : subjects) {
    const auto all = Of(point, subject.name);
    if (all.empty()) continue;
    const auto median = [&](const char* figure, int digits) {
      return Number(MedianOf(point, subject.name, figure), digits);
    };
    const auto cpu = Ratios(point, subject.name, "bare", "cpu_us");
    const auto speed = Ratios(point, subject.name, "bare", "per_second");
    const std::string name = subject.name + (all.front()->unchanged ? "" : " *");
    std::printf("| %-12s | %6s | %7s | %-12s | %10s | %7s | %6s | %7s | %8s | %5s |\n",
                name.c_str(), median("cpu_us", 3).c_str(), Number(Median(cpu), 3).c_str(),
                Range(cpu).c_str(), median("per_second", 0).c_str(),
                Number(Median(speed), 3).c_str(), median("lost_percent", 3).c_str(),
                median("peak_mb", 2).c_str(), median("start_ms", 1).c_str(),
                median("calls", 3).c_str());
  }
  std::fflush(stdout);
}

void Results::PrintCourse(const std::vector<Point>& points) const {
  std::printf("\n### One run, piece by piece\n\n");
  std::printf("| %-22s | bare us | tavok us | to bare | tavok peak MB |\n", "");
  std::printf("|:-----------------------|--------:|---------:|--------:|--------------:|\n");
  for (const Point& point : points) {
    std::printf("| %-22s | %7s | %8s | %7s | %13s |\n", point.title.c_str(),
                Number(MedianOf(point, "bare", "cpu_us"), 3).c_str(),
                Number(MedianOf(point, "tavok", "cpu_us"), 3).c_str(),
                Number(Median(Ratios(point, "tavok", "bare", "cpu_us")), 3).c_str(),
                Number(MedianOf(point, "tavok", "peak_mb"), 2).c_str());
  }
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
      if (one.figures.contains(figure)) file << Number(one.Figure(figure), 4);
    }
    file << '\n';
  }
}

void Results::WriteMedians(const std::string& path, const std::vector<Point>& points,
                           const std::vector<Subject>& subjects) const {
  std::ofstream file(path);
  file << "section,x,subject,cpu_us,cpu_ratio,per_second,per_second_ratio,lost_percent,peak_mb,"
          "start_ms,calls\n";
  for (const Point& point : points) {
    for (const Subject& subject : subjects) {
      if (Of(point, subject.name).empty()) continue;
      file << point.section << ',' << point.x << ',' << subject.name;
      for (const char* const figure : {"cpu_us", "per_second"}) {
        file << ',' << Number(MedianOf(point, subject.name, figure), 4) << ','
             << Number(Median(Ratios(point, subject.name, "bare", figure)), 4);
      }
      for (const char* const figure : {"lost_percent", "peak_mb", "start_ms", "calls"}) {
        file << ',' << Number(MedianOf(point, subject.name, figure), 4);
      }
      file << '\n';
    }
  }
}
