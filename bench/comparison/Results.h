#pragma once

#include <string>
#include <vector>

#include "Load.h"

/// A load, and where it lies on the axis of its plot.
struct Point {
  std::string section;
  double x = 0;
  std::string title;
  Load load;
};

/// One subject under one load, once.
struct Measurement {
  std::string section;
  double x = 0;
  std::string subject;
  int round = 0;
  bool unchanged = true;  // the text in the file
  Figures figures;
};

/// A column of a table: what it tells of one figure.
struct Column {
  enum class Of {
    kMedian,
    kMost,
    kSum,
    kRatio,  // the median of the ratios to another subject
    kRange,  // the least and the greatest of them
  };

  const char* title;
  const char* figure;
  int digits = 0;
  Of of = Of::kMedian;
  const char* to = "";
};

/// Everything that one run has measured. A round's measurements of one point were made one after
/// the other, so a ratio is made within a round, and the median is taken of the ratios.
class Results {
 public:
  void Add(const Measurement& measurement) { m_all.push_back(measurement); }

  /// Not a number, when it was not measured.
  double MedianOf(const Point& point, const std::string& subject, const std::string& figure) const;

  /// The median of a figure's ratios to another subject's.
  double MedianRatio(const Point& point, const std::string& subject, const std::string& other,
                     const std::string& figure) const;

  /// Prints what the subjects have made of one load, or of each load of one run, as a table. A star
  /// marks a subject that does not write the text unchanged.
  void Print(const std::vector<Point>& points, const std::vector<Subject>& subjects,
             const std::vector<Column>& columns) const;

  /// One row a measurement.
  void WriteRows(const std::string& path) const;

  /// One row a subject and load: medians, and medians of ratios to the bare loop.
  void WriteMedians(const std::string& path, const std::vector<Point>& points,
                    const std::vector<Subject>& subjects) const;

 private:
  std::vector<const Measurement*> Of(const Point& point, const std::string& subject) const;
  std::vector<double> Values(const Point& point, const std::string& subject,
                             const std::string& figure) const;
  std::vector<double> Ratios(const Point& point, const std::string& subject,
                             const std::string& other, const std::string& figure) const;
  std::string Cell(const Point& point, const std::string& subject, const Column& column) const;

  std::vector<Measurement> m_all;
};
