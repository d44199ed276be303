#pragma once

#include <string>
#include <vector>

/// What one run measures.
struct Options {
  int rounds = 9;
  long datagrams = 100'000;  // of a load over the Unix socket
  double seconds = 1;        // of a load over UDP
  long longDatagrams = 10'000'000;
  int rotations = 6;
  std::vector<std::string> subjects;  // empty: all that are installed
  std::vector<std::string> sections;  // empty: all
  std::string before;                 // another build of tavok
  std::string out = "bench-results";
  bool smoke = false;
};

/// Reads the command line. Ends the program after --help, and when it is used wrongly.
Options ParseOptions(int argc, char** argv);
