#pragma once

#include <cstring>
#include <stdexcept>
#include <string>

/// Exit statuses.
inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;
inline constexpr int kWrongUse = 2;

/// Those of status alone, where kFailed means that none runs.
inline constexpr int kTextLost = 3;
inline constexpr int kNotTold = 4;

/// Ends a command with kFailed. The text is "operation object: reason".
struct CFailure : std::runtime_error {
  using std::runtime_error::runtime_error;

  /// The reason is that of an errno value.
  CFailure(const std::string& operationAndObject, int error)
      : std::runtime_error(operationAndObject + ": " + std::strerror(error)) {}
};

/// Ends a command with kWrongUse; the text says what is wrong.
struct CWrongUse : std::runtime_error {
  using std::runtime_error::runtime_error;
};
