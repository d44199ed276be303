#include "Options.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <sstream>

namespace {

void Usage() {
  (void)std::puts(
      "Usage: compare [--rounds N] [--datagrams N] [--seconds S] [--long N] [--subjects A,B]\n"
      "               [--sections A,B] [--before PROGRAM] [--out DIRECTORY] [--smoke]\n"
      "  --rounds     measures each load N times (9)\n"
      "  --datagrams  sends N datagrams in a load over the Unix socket (100000)\n"
      "  --seconds    sends over UDP for so long (1)\n"
      "  --long       sends N datagrams in the long run (10000000); 0 leaves it out\n"
      "  --subjects   measures only these that are installed. Of single programs: bare, tavok,\n"
      "               bare-threads, socklog, socat, rsyslogd, syslog-ng. Of collectors: bare, "
      "tavok,\n"
      "               rsyslogd, rsyslogd-default, syslog-ng, syslog-ng-default, socklog+svlogd,\n"
      "               s6-socklog+s6-log, svlogd, s6-log; and, only if it is named, journald, which "
      "is\n"
      "               the system's own and is emptied\n"
      "  --sections   measures only these. Of single programs: unix-size, unix-senders, udp-rate,\n"
      "               udp-size, long. Of collectors: cost, kill, rotate, text\n"
      "  --before     measures another build of tavok, too\n"
      "  --out        writes rows.csv, medians.csv and machine.txt there (bench-results)\n"
      "  --smoke      does everything once, as small as can be, and measures nothing worth "
      "reading");
}

std::vector<std::string> Split(const std::string& list) {
  std::istringstream stream(list);
  std::vector<std::string> words;
  for (std::string word; std::getline(stream, word, ',');) words.push_back(word);
  return words;
}

}  // namespace

bool Options::WantsSection(const std::string& section) const {
  return sections.empty() || std::ranges::count(sections, section) != 0;
}

bool Options::WantsSubject(const Subject& subject, Subject::Part part) const {
  if (subject.name == "before") return true;
  if (!subjects.empty()) return std::ranges::count(subjects, subject.name) != 0;
  return subject.part == part || subject.part == Subject::Part::kAll;
}

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
      Usage();
      std::exit(word == "--help" ? 0 : 2);
    }
  }
  return options;
}
