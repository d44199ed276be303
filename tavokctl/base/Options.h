#pragma once

#include <functional>
#include <string>
#include <vector>

/// One option of a command. `take` gets the argument, or an empty text for an option without one.
struct COption {
  char letter;  // a control character stands for none, each for one option
  const char* name;
  bool hasArgument;
  std::function<void(const std::string&)> take;
};

/// Reads a command's options, `argv[0]` being the command's name. -h and --help print `usage` and
/// end the process with kDone. Throws CWrongUse for a bad option and for any other word.
void ReadOptions(int argc, char** argv, const char* usage, std::vector<COption> options);

/// The same, but returns the words after "--", which are meant for another program.
std::vector<std::string> ReadOptionsAndWords(int argc, char** argv, const char* usage,
                                             std::vector<COption> options);

/// The option -c, --config.
COption ConfigOption(std::string& path);

/// The option -t, --timeout, in seconds from 1 to 3600.
COption TimeoutOption(unsigned& seconds);

/// An option without an argument, which sets a flag.
COption FlagOption(char letter, const char* name, bool& flag);

/// An option whose argument is a text.
COption TextOption(char letter, const char* name, std::string& text);

/// Reads a number from the command line; `what` is the option it belongs to. Throws CWrongUse
/// unless it is written in digits alone and lies between `least` and `most`.
unsigned ReadCount(const std::string& what, const std::string& text, unsigned least, unsigned most);
