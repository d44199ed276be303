#pragma once

#include <string>
#include <vector>

#include "Place.h"

/// A program that takes datagrams and appends them to a file, each by a write of its own.
struct Subject {
  /// Tells by a semaphore when it is up.
  bool IsTavok() const { return name == "tavok" || name == "before"; }

  std::string name;
  std::string program;  // full path
};

/// The bare loop, tavok, the bare loop in a process of three threads, and each peer that is
/// installed here, in this order.
std::vector<Subject> InstalledSubjects();

/// The words that start a subject at a place, its program first; writes what configuration it
/// needs into the place's directory.
std::vector<std::string> CommandLine(const Subject& subject, const Place& place);

/// Whether what it prints is the log.
bool LogsToStandardOutput(const Subject& subject);
