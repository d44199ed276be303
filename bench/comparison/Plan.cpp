#include "Plan.h"

#include <algorithm>
#include <cmath>

#include "Trials.h"

namespace {

using enum Column::Of;

constexpr int kLongRounds = 3;
constexpr int kLongChunks = 10;

const std::vector<Column> kLoadColumns = {{"CPU us", "cpu_us", 3},
                                          {"to bare", "cpu_us", 3, kRatio, "bare"},
                                          {"from, to", "cpu_us", 2, kRange, "bare"},
                                          {"per second", "per_second"},
                                          {"to bare", "per_second", 3, kRatio, "bare"},
                                          {"lost %", "lost_percent", 3},
                                          {"peak MB", "peak_mb", 2},
                                          {"start ms", "start_ms", 1},
                                          {"calls", "calls", 3}};
const std::vector<Column> kCostColumns = {{"CPU us", "cpu_us", 2},
                                          {"to tavok", "cpu_us", 2, kRatio, "tavok"},
                                          {"from, to", "cpu_us", 2, kRange, "tavok"},
                                          {"peak MB", "peak_mb", 1},
                                          {"own MB", "own_mb", 1},
                                          {"start ms", "start_ms", 1},
                                          {"bytes", "stored_bytes", 1},
                                          {"writes", "writes", 3},
                                          {"lost", "lost", 0, kSum}};
const std::vector<Column> kKillColumns = {
    {"lost", "lost"}, {"at most", "lost", 0, kMost}, {"rounds with a fault", "faults", 0, kSum}};
const std::vector<Column> kRotationColumns = {
    {"sent", "sent"}, {"files", "files"}, {"lost", "lost", 0, kSum}, {"faults", "faults", 0, kSum}};

void AddPoint(Section& section, double x, const Load& load) {
  const std::string by = load.udp            ? std::to_string(load.rate) + " a second"
                         : load.senders == 1 ? "1 sender"
                                             : std::to_string(load.senders) + " senders";
  const std::string title =
      (load.udp ? "UDP, " : "Unix socket, ") + std::to_string(load.size) + " bytes, " + by;
  section.points.push_back({section.name, x, title, load});
}

std::vector<Section> LoadSections(const Options& options) {
  const auto section = [&](const char* name, bool udp) {
    return Section{.name = name,
                   .rounds = options.rounds,
                   .columns = kLoadColumns,
                   .measure = MeasureLoad,
                   .counts = !udp};
  };
  const auto udp = [&](unsigned size, unsigned rate) {
    return Load{true, size, 1, rate, std::lround(rate * options.seconds)};
  };
  std::vector<Section> all = {section("unix-size", false), section("unix-senders", false),
                              section("udp-rate", true), section("udp-size", true),
                              section("long", false)};
  for (const unsigned size : {16, 100, 400, 1024}) {
    AddPoint(all[0], size, {.size = size, .datagrams = options.datagrams});
  }
  for (const unsigned senders : {1, 4, 16, 64}) {
    AddPoint(all[1], senders, {.senders = senders, .datagrams = options.datagrams});
  }
  for (const unsigned rate : {20'000, 50'000, 100'000, 200'000}) {
    AddPoint(all[2], rate, udp(100, rate));
  }
  for (const unsigned size : {16, 400, 1024}) AddPoint(all[3], size, udp(size, 50'000));

  Section& longRun = all[4];
  longRun.rounds = std::min(options.rounds, kLongRounds);
  longRun.counts = false;
  longRun.inOneRun = true;
  const long each = options.longDatagrams / kLongChunks;
  for (int chunk = 1; chunk <= kLongChunks && each > 0; ++chunk) {
    const long after = each * chunk;
    longRun.points.push_back({"long",
                              static_cast<double>(after),
                              std::to_string(after) + " datagrams",
                              {.datagrams = each}});
  }
  if (each == 0) all.pop_back();
  return all;
}

// Every message is numbered, and is looked for in what the collector has stored.
std::vector<Section> CollectorSections(const Options& options) {
  constexpr auto kPart = Subject::Part::kCollectors;
  const Load load{.datagrams = options.datagrams, .numbered = true};
  const Load atOnce{.senders = 1, .datagrams = 2000, .numbered = true};
  const Load apart{.senders = 1, .rate = 1000, .datagrams = 300, .numbered = true};
  const Load rotation{.datagrams = 4'000'000,
                      .numbered = true,
                      .seconds = kRotationPeriod * (options.rotations + 1)};
  return {
      {.name = "cost",
       .part = kPart,
       .rounds = options.rounds,
       .columns = kCostColumns,
       .measure = MeasureLoad,
       .counts = true,
       .points = {{"cost", 4, "Cost of numbered messages from 4 senders", load}}},
      {.name = "kill",
       .part = kPart,
       .rounds = options.rounds,
       .columns = kKillColumns,
       .measure = SendAndKill,
       .mayLose = true,
       .points = {{"kill", 2000, "Killed after the last of 2000 messages at once", atOnce},
                  {"kill", 300, "Killed after the last of 300 messages, 1 ms apart", apart}}},
      {.name = "rotate",
       .part = kPart,
       .columns = kRotationColumns,
       .measure = MeasureRotation,
       .rotates = true,
       .points = {{"rotate", 4, "Rotations 1.1 s apart under the load of 4 senders", rotation}}},
      {.name = "text", .part = kPart}};
}

bool Names(const std::vector<std::string>& list, const std::string& name) {
  return std::ranges::count(list, name) != 0;
}

// Without names, a subject takes part in what its `part` tells; `before` always does.
bool IsWanted(const Subject& subject, Subject::Part part, const Options& options) {
  if (subject.name == "before") return true;
  if (!options.subjects.empty()) return Names(options.subjects, subject.name);
  return subject.part == part || subject.part == Subject::Part::kAll;
}

bool Can(const Subject& subject, const Section& section) {
  if (section.inOneRun) return subject.name == "bare" || subject.name == "tavok";
  const bool udp = !section.points.empty() && section.points.front().load.udp;
  return (subject.TakesUdp() || !udp) &&
         (!subject.IsJournal() || section.part == Subject::Part::kCollectors) &&
         (!section.rotates || subject.rotation != 0);
}

}  // namespace

std::vector<Section> Plan(const Options& options) {
  std::vector<Section> sections = LoadSections(options);
  for (Section& section : CollectorSections(options)) sections.push_back(std::move(section));
  std::erase_if(sections, [&](const Section& section) {
    return !options.sections.empty() && !Names(options.sections, section.name);
  });
  return sections;
}

std::vector<Subject> TakingPart(const std::vector<Subject>& subjects, const Section& section,
                                const Options& options) {
  std::vector<Subject> found = subjects;
  std::erase_if(found, [&](const Subject& subject) {
    return !IsWanted(subject, section.part, options) || !Can(subject, section);
  });
  return found;
}
