#include "Plan.h"

#include <algorithm>
#include <cmath>
#include <csignal>

#include "Trials.h"

namespace {

using enum Column::Of;
using enum Subject::Part;

constexpr int kLongRounds = 3;
constexpr int kLongChunks = 10;

const std::vector<Column> kLoadColumns = {{"CPU us", "cpu_us", 3},
                                          {"to bare", "cpu_us", 3, "bare"},
                                          {"from, to", "cpu_us", 2, "bare", kRange},
                                          {"per second", "per_second"},
                                          {"to bare", "per_second", 3, "bare"},
                                          {"lost %", "lost_percent", 3},
                                          {"peak MB", "peak_mb", 2},
                                          {"start ms", "start_ms", 1},
                                          {"calls", "calls", 3}};
const std::vector<Column> kCostColumns = {{"CPU us", "cpu_us", 2},
                                          {"to tavok", "cpu_us", 2, "tavok"},
                                          {"from, to", "cpu_us", 2, "tavok", kRange},
                                          {"peak MB", "peak_mb", 1},
                                          {"own MB", "own_mb", 1},
                                          {"start ms", "start_ms", 1},
                                          {"bytes", "stored_bytes", 1},
                                          {"writes", "writes", 3},
                                          {"lost", "lost", 0, "", kSum}};
const std::vector<Column> kKillColumns = {{"lost", "lost"},
                                          {"at most", "lost", 0, "", kMost},
                                          {"rounds with a fault", "faults", 0, "", kSum}};
const std::vector<Column> kRestartColumns = {{"sent", "sent"},
                                             {"lost", "lost"},
                                             {"at most", "lost", 0, "", kMost},
                                             {"rounds with a fault", "faults", 0, "", kSum}};
const std::vector<Column> kRotationColumns = {{"sent", "sent"},
                                              {"files", "files"},
                                              {"lost", "lost", 0, "", kSum},
                                              {"faults", "faults", 0, "", kSum}};

std::string TitleOf(const Load& load) {
  const std::string by = load.udp ? std::to_string(load.rate) + " a second"
                                  : std::to_string(load.senders) + " sender(s)";
  return (load.udp ? "UDP, " : "Unix socket, ") + std::to_string(load.size) + " bytes, " + by;
}

std::vector<Section> LoadSections(const Options& options) {
  using Loads = std::vector<unsigned>;
  std::vector<Section> all;
  const auto add = [&](const char* name, unsigned traits, const Loads& xs, auto load) {
    all.push_back({name, kLoads, options.rounds, kLoadColumns, MeasureLoad, traits, {}});
    for (const unsigned x : xs) {
      all.back().points.push_back({name, static_cast<double>(x), TitleOf(load(x)), load(x)});
    }
  };
  const auto local = [&](unsigned size, unsigned senders) {
    return Load{false, size, senders, 0, options.datagrams};
  };
  const auto udp = [&](unsigned size, unsigned rate) {
    return Load{true, size, 1, rate, std::lround(rate * options.seconds)};
  };
  add("unix-size", Section::kCounts, {16, 100, 400, 1024}, [&](auto x) { return local(x, 4); });
  add("unix-senders", Section::kCounts, {1, 4, 16, 64}, [&](auto x) { return local(100, x); });
  add("udp-rate", 0, {20'000, 50'000, 100'000, 200'000}, [&](auto x) { return udp(100, x); });
  add("udp-size", 0, {16, 400, 1024}, [&](auto x) { return udp(x, 50'000); });
  return all;
}

// In the points of the long run, x is how many datagrams the process has taken at their end.
Section LongRun(const Options& options) {
  Section run{"long",
              kLoads,
              std::min(options.rounds, kLongRounds),
              kLoadColumns,
              MeasureLoad,
              Section::kInOneRun,
              {}};
  const Load load{false, 100, 4, 0, options.longDatagrams / kLongChunks};
  for (int chunk = 1; chunk <= kLongChunks; ++chunk) {
    const long after = load.datagrams * chunk;
    const std::string title = std::to_string(after) + " datagrams";
    run.points.push_back({run.name, static_cast<double>(after), title, load});
  }
  return run;
}

// Every message is numbered, and is looked for in what the collector has stored.
std::vector<Section> CollectorSections(const Options& options) {
  const Load load{false, 100, 4, 0, options.datagrams, true};
  const Load atOnce{false, 100, 1, 0, 2000, true};
  const Load apart{false, 100, 1, 1000, 300, true};
  const Load rotation{false, 100, 4, 0, 4'000'000, true, kRotationPeriod * (options.rotations + 1)};
  const auto restart = [](int signal, bool held) {
    return Load{.senders = 4, .numbered = true, .held = held, .signal = signal};
  };
  return {{"cost",
           kCollectors,
           options.rounds,
           kCostColumns,
           MeasureLoad,
           Section::kCounts,
           {{"cost", 4, "Cost of numbered messages from 4 senders", load}}},
          {"kill",
           kCollectors,
           options.rounds,
           kKillColumns,
           SendAndKill,
           Section::kMayLose,
           {{"kill", 2000, "Killed after the last of 2000 messages at once", atOnce},
            {"kill", 300, "Killed after the last of 300 messages, 1 ms apart", apart}}},
          {"rotate",
           kCollectors,
           1,
           kRotationColumns,
           MeasureRotation,
           Section::kRotates,
           {{"rotate", 4, "Rotations 1.1 s apart under the load of 4 senders", rotation}}},
          {"restart",
           kCollectors,
           options.rounds,
           kRestartColumns,
           SendAndRestart,
           Section::kMayLose,
           {{"restart", 1, "Restarted five times under the load of 4 senders",
             restart(SIGTERM, false)}}},
          {"held",
           kCollectors,
           options.rounds,
           kRestartColumns,
           SendAndRestart,
           Section::kMayLose | Section::kHeld,
           {{"held", 1, "The same with a held socket", restart(SIGTERM, true)},
            {"held", 2, "Killed five times with a held socket", restart(SIGKILL, true)}}},
          {"text", kCollectors, 0, {}, {}, 0, {}}};
}

bool Names(const std::vector<std::string>& list, const std::string& name) {
  return std::ranges::count(list, name) != 0;
}

// Without names, a subject takes part in what its `part` tells; `before` always does.
bool IsWanted(const Subject& subject, Subject::Part part, const Options& options) {
  if (subject.name == "before") return true;
  if (!options.subjects.empty()) return Names(options.subjects, subject.name);
  return subject.part == part || subject.part == kAll;
}

bool Can(const Subject& subject, const Section& section) {
  if ((section.traits & Section::kInOneRun) != 0)
    return subject.name == "bare" || subject.name == "tavok";
  const bool udp = !section.points.empty() && section.points.front().load.udp;
  return (subject.TakesUdp() || !udp) && (!subject.IsJournal() || section.part == kCollectors) &&
         ((section.traits & Section::kRotates) == 0 || subject.rotation != 0) &&
         ((section.traits & Section::kHeld) == 0 || subject.CanBeHeld()) &&
         (section.name != "restart" || !(subject.IsFed() || subject.IsJournal()));
}

}  // namespace

std::vector<Section> Plan(const Options& options) {
  std::vector<Section> sections = LoadSections(options);
  if (options.longDatagrams >= kLongChunks) sections.push_back(LongRun(options));
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
