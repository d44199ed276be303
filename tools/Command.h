#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

/// What every command of tavokctl is built from: its result, its failures, its options.

/// Exit statuses.
inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;
inline constexpr int kWrongUse = 2;

/// Ends a command with kFailed. The text is "operation object: reason".
struct CFailure : std::runtime_error {
  using std::runtime_error::runtime_error;

  /// The reason is that of an errno value.
  CFailure(const std::string& operationAndObject, int error);
};

/// Ends a command with kWrongUse; the text says what is wrong.
struct CWrongUse : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// One option of a command. `take` gets the argument, an empty text for an option without one.
struct COption {
  char letter;
  const char* name;
  bool hasArgument;
  std::function<void(const std::string&)> take;
};

/// Reads a command's options, `argv[0]` being the command's name. -h and --help print `usage` and
/// end the process with kDone; a bad option throws CWrongUse. Returns the words behind "--", which
/// are another program's; any other word throws CWrongUse.
std::vector<std::string> ReadOptions(int argc, char** argv, const char* usage,
                                     std::vector<COption> options);

/// The option -c, --config of the commands that have it.
COption ConfigOption(std::string& path);

/// The option --timeout, in seconds from 1 to 3600.
COption TimeoutOption(unsigned& seconds);

/// A count from the command line. Throws CWrongUse for anything but digits, and for numbers that
/// are not between the two.
unsigned ReadCount(const std::string& what, const std::string& text, unsigned least, unsigned most);

/// The configuration file that is used when no other is named.
extern const char* const kDefaultConfig;

/// The commands. Each gets its own words, argv[0] being its name, and returns the exit status.
int Check(int argc, char** argv);
int Start(int argc, char** argv);
int Stop(int argc, char** argv);
int Rotate(int argc, char** argv);
int Status(int argc, char** argv);
int Tail(int argc, char** argv);
int Trace(int argc, char** argv);
