#pragma once

#include <functional>
#include <string>
#include <vector>

/// One option of a command. `take` gets the argument, or an empty text for an option without one.
struct COption {
  char letter;
  const char* name;
  bool hasArgument;
  std::function<void(const std::string&)> take;
};

/// Reads a command's options, `argv[0]` being the command's name. -h and --help print `usage` and
/// end the process with kDone. Returns the words after "--", which are meant for another program.
/// Throws CWrongUse for a bad option and for any other word.
std::vector<std::string> ReadOptions(int argc, char** argv, const char* usage,
                                     std::vector<COption> options);

/// The option -c, --config.
COption ConfigOption(std::string& path);

/// The option -t, --timeout, in seconds from 1 to 3600.
COption TimeoutOption(unsigned& seconds);

/// Reads a number from the command line; `what` is the option it belongs to. Throws CWrongUse
/// unless it is written in digits alone and lies between `least` and `most`.
unsigned ReadCount(const std::string& what, const std::string& text, unsigned least, unsigned most);
