#pragma once

#include <functional>

#include "Options.h"
#include "Results.h"

/// Loads of one kind, and the table that each of them makes.
struct Section {
  std::string name;
  Subject::Part part = Subject::Part::kLoads;  // whom it is for
  int rounds = 1;
  std::vector<Column> columns;
  /// Measures one load once.
  std::function<Figures(const Load&, Running&, const Written&)> measure;
  bool counts = false;    // first, calls are counted in a round of their own
  bool mayLose = false;   // it is no failure that something is lost
  bool rotates = false;   // it is for those who can begin a new file
  bool inOneRun = false;  // one process of bare, and of tavok, takes all its loads
  /// Unless it is in one run, each subject is started anew for each. Without any, the section is
  /// that of the texts.
  std::vector<Point> points;
};

/// What these options want to be measured.
std::vector<Section> Plan(const Options& options);

/// Those who take part in a section: they are wanted there, and can.
std::vector<Subject> TakingPart(const std::vector<Subject>& subjects, const Section& section,
                                const Options& options);
