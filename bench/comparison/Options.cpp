#include "Options.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <sstream>

namespace {

constexpr char kUsage[] =
    R"(Usage: compare [--rounds N] [--datagrams N] [--seconds S] [--long N] [--subjects A,B]
               [--sections A,B] [--before PROGRAM] [--out DIRECTORY] [--smoke]
  --rounds     measures each load N times (9)
  --datagrams  sends N datagrams in a load over the Unix socket (100000)
  --seconds    sends over UDP for so long (1)
  --long       sends N datagrams in the long run (10000000); 0 leaves it out
  --subjects   measures only these that are installed; bench/README.md lists them
  --sections   measures only these. Of single programs: unix-size, unix-senders, udp-rate,
               udp-size, long. Of collectors: cost, kill, restart, held,
               rotate, text
  --before     measures another build of tavok, too
  --out        writes rows.csv, medians.csv, machine.txt and plots there (bench-results)
  --smoke      does everything once, as small as can be, and measures nothing worth reading
)";

std::vector<std::string> Split(const std::string& list) {
  std::istringstream stream(list);
  std::vector<std::string> words;
  for (std::string word; std::getline(stream, word, ',');) words.push_back(word);
  return words;
}

}  // namespace

Options ParseOptions(int argc, char** argv) {
  Options options;
  const auto number = [](const std::string& text) { return std::atof(text.c_str()); };
  const auto whole = [&](const std::string& text) { return std::lround(number(text)); };
  const std::map<std::string, std::function<void(const std::string&)>> setters = {
      {"--rounds", [&](auto& text) { options.rounds = static_cast<int>(whole(text)); }},
      {"--datagrams", [&](auto& text) { options.datagrams = std::max(64L, whole(text)); }},
      {"--seconds", [&](auto& text) { options.seconds = std::max(0.001, number(text)); }},
      {"--long", [&](auto& text) { options.longDatagrams = whole(text); }},
      {"--subjects", [&](auto& text) { options.subjects = Split(text); }},
      {"--sections", [&](auto& text) { options.sections = Split(text); }},
      {"--before", [&](auto& text) { options.before = text; }},
      {"--out", [&](auto& text) { options.out = text; }}};
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const std::size_t equals = word.find('=');
    const auto setter = setters.find(word.substr(0, equals));
    if (word == "--smoke") {
      options = {1, 640, 0.01, 1000, 1, {"bare", "tavok"}, options.sections, "", options.out, true};
    } else if (setter != setters.end() && (equals != std::string::npos || ++i < argc)) {
      setter->second(equals == std::string::npos ? argv[i] : word.substr(equals + 1));
    } else {
      (void)std::fputs(kUsage, stdout);
      std::exit(word == "--help" ? 0 : 2);
    }
  }
  return options;
}
