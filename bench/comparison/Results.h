#pragma once

#include <string>
#include <vector>

#include "Load.h"

/// With so many digits behind the point; a dash for what is not a number, so was not measured.
std::string Number(double value, int digits);

/// Prints a table of Markdown with its heading above. The first row names the columns; the first
/// column is aligned to the left, the others to the right.
void PrintTable(const std::string& heading, const std::vector<std::vector<std::string>>& rows);

/// A load, and what sets it apart in its section.
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

/// A column of a table: what it tells of the rounds' values of one figure, or of their ratios to
/// those of another subject.
struct Column {
  enum class Of { kMedian, kMost, kSum, kRange };

  const char* title;
  const char* figure;
  int digits = 0;
  const char* to = "";  // whose; if empty, it tells of the values
  Of of = Of::kMedian;
};

/// Everything that one run has measured. A round's measurements of one point were made one after
/// the other, so a ratio is made within a round, and the median is taken of the ratios.
class Results {
 public:
  void Add(const Measurement& measurement) { m_all.push_back(measurement); }

  /// The median of a figure, or of its ratios to another subject's. Not a number, when it was not
  /// measured.
  double MedianOf(const Point& point, const std::string& subject, const std::string& figure,
                  const std::string& to = "") const;

  /// Prints what the subjects have made of one load, or of each load of one run, as a table. A star
  /// marks a subject that does not write the text unchanged.
  void Print(const std::vector<Point>& points, const std::vector<Subject>& subjects,
             const std::vector<Column>& columns) const;

  /// Writes rows.csv, one row a measurement, and medians.csv, one row a subject and load: medians,
  /// and medians of ratios to the bare loop.
  void Write(const std::string& directory, const std::vector<Point>& points,
             const std::vector<Subject>& subjects) const;

 private:
  std::vector<const Measurement*> Of(const Point& point, const std::string& subject) const;
  std::vector<double> Values(const Point& point, const std::string& subject,
                             const std::string& figure, const std::string& to) const;
  std::string Cell(const Point& point, const std::string& subject, const Column& column) const;

  std::vector<Measurement> m_all;
};
