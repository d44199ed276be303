#pragma once

#include <functional>

#include "Options.h"
#include "Results.h"

/// Loads of one kind, and the table that each of them makes.
struct Section {
  enum Trait {
    kCounts = 1,    // first, calls are counted in a round of their own
    kMayLose = 2,   // it is no failure that something is lost
    kRotates = 4,   // it is for those who can begin a new file
    kInOneRun = 8,  // one process of bare, and of tavok, takes all its loads; else each a new one
    kHeld = 16,     // it is for those who take a socket that a service manager has bound
  };

  std::string name;
  Subject::Part part;  // whom it is for
  int rounds;
  std::vector<Column> columns;
  std::function<Figures(const Load&, Running&, const Written&)> measure;  // one load, once
  unsigned traits;
  std::vector<Point> points;  // none: the section is that of the texts
};

/// What these options want to be measured.
std::vector<Section> Plan(const Options& options);

/// Those who take part in a section: they are wanted there, and can.
std::vector<Subject> TakingPart(const std::vector<Subject>& subjects, const Section& section,
                                const Options& options);
