#include "base/Options.h"

#include <getopt.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/Failure.h"
#include "base/Output.h"

void ReadOptions(int argc, char** argv, const char* usage, std::vector<COption> options) {
  const auto words = ReadOptionsAndWords(argc, argv, usage, std::move(options));
  if (!words.empty()) throw CWrongUse("unexpected argument \"" + words.front() + "\"");
}

std::vector<std::string> ReadOptionsAndWords(int argc, char** argv, const char* usage,
                                             std::vector<COption> options) {
  options.push_back({'h', "help", false, [usage](const std::string&) {
                       Print(usage);
                       FlushOutput();
                       std::exit(kDone);
                     }});
  std::string letters = "+:";  // stop at the first word that is no option; print no errors
  std::vector<option> table;
  for (const COption& one : options) {
    if (one.letter > ' ') letters += one.letter;
    if (one.hasArgument) letters += ':';
    table.push_back({one.name, one.hasArgument ? 1 : 0, nullptr, one.letter});
  }
  table.push_back({});

  for (int letter;
       (letter = ::getopt_long(argc, argv, letters.c_str(), table.data(), nullptr)) != -1;) {
    const auto found = std::find_if(options.begin(), options.end(),
                                    [letter](const COption& one) { return one.letter == letter; });
    const std::string word = argv[::optind - 1];
    if (letter == ':') throw CWrongUse(word + " requires an argument");
    if (found == options.end()) {
      const std::string letterOf{'-', static_cast<char>(::optopt)};
      throw CWrongUse("unknown option " + (word.starts_with("--") ? word : letterOf));
    }
    found->take(found->hasArgument ? ::optarg : "");
  }
  if (::optind < argc && std::strcmp(argv[::optind - 1], "--") != 0) {
    throw CWrongUse(std::string("unexpected argument \"") + argv[::optind] + "\"");
  }
  return {argv + ::optind, argv + argc};
}

COption ConfigOption(std::string& path) { return TextOption('c', "config", path); }

COption TimeoutOption(unsigned& seconds) {
  return {'t', "timeout", true, [&seconds](const std::string& argument) {
            seconds = ReadCount("--timeout", argument, 1, 3600);
          }};
}

COption FlagOption(char letter, const char* name, bool& flag) {
  return {letter, name, false, [&flag](const std::string&) { flag = true; }};
}

COption TextOption(char letter, const char* name, std::string& text) {
  return {letter, name, true, [&text](const std::string& argument) { text = argument; }};
}

unsigned ReadCount(const std::string& what, const std::string& text, unsigned least,
                   unsigned most) {
  const bool isNumber = !text.empty() && text.size() < 11 &&
                        text.find_first_not_of("0123456789") == std::string::npos;
  const unsigned long long count = isNumber ? std::stoull(text) : 0;
  if (isNumber && count >= least && count <= most) return static_cast<unsigned>(count);
  throw CWrongUse(what + " takes a number from " + std::to_string(least) + " to " +
                  std::to_string(most) + ", not \"" + text + "\"");
}
