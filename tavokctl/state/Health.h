#pragma once

#include <array>
#include <optional>
#include <vector>

struct CStatusReport;

/// What an operator has to do something about.
struct CProblem {
  const char* id;
  const char* meaning;  // what it means, and what to do
  bool isFailure;       // text is being lost, or is about to be
  bool endsByRestart;   // so that a probe may restart tavok for it
  // Of a tavok that runs; empty if that cannot be told.
  std::optional<bool> (*applies)(const CStatusReport&);
};

/// All of them, in the order in which they are told.
extern const std::array<CProblem, 11> kProblems;

/// Those of a tavok that runs, as far as the report tells.
std::vector<const CProblem*> FindProblems(const CStatusReport& report);

enum class EHealth { kOk, kFailing, kStopped, kUnknown };

/// "ok", "failing", "stopped" or "unknown".
const char* NameOf(EHealth health);
