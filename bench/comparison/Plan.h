#pragma once

#include <functional>

#include "Options.h"
#include "Results.h"

/// Loads of one kind, and the table that each of them makes.
struct Section {
  std::string name;
  Subject::Part part = Subject::Part::kLoads;  // whom it is for
  int rounds = 9;
  std::vector<Column> columns;
  /// Measures one load once, with a subject that has just been started for it.
  std::function<Figures(const Load&, Running&, const Written&)> measure;
  bool counts = false;   // first, calls are counted in a round of their own
  bool mayLose = false;  // it is no failure that something is lost
  bool rotates = false;  // it is for those who can begin a new file
  std::vector<Point> points;
};

/// Of these options, what is measured in rounds.
std::vector<Section> Plan(const Options& options);

/// Of these options, the long run's points, in datagrams since its begin.
std::vector<Point> LongPlan(const Options& options);

/// Those who take part in a section: they are wanted there, and can.
std::vector<Subject> TakingPart(const std::vector<Subject>& subjects, const Section& section,
                                const Options& options);
