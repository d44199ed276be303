#include "Plan.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

#include "Trials.h"

namespace {

using enum Column::Of;

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

Point PointOf(const std::string& section, unsigned x, const Load& load) {
  const std::string by = load.udp            ? std::to_string(load.rate) + " a second"
                         : load.senders == 1 ? "1 sender"
                                             : std::to_string(load.senders) + " senders";
  const std::string title =
      (load.udp ? "UDP, " : "Unix socket, ") + std::to_string(load.size) + " bytes, " + by;
  return {section, static_cast<double>(x), title, load};
}

std::vector<Section> LoadSections(const Options& options) {
  constexpr auto kPart = Subject::Part::kLoads;
  const Section kind{"", kPart, options.rounds, kLoadColumns, MeasureLoad, true, false, false, {}};
  std::vector<Section> sections;
  const auto add = [&](const char* name, std::initializer_list<unsigned> xs, auto load) {
    sections.push_back(kind);
    sections.back().name = name;
    for (const unsigned x : xs) sections.back().points.push_back(PointOf(name, x, load(x)));
  };
  const auto udp = [&](unsigned size, unsigned rate) {
    return Load{true, size, 1, rate, std::lround(rate * options.seconds)};
  };
  add("unix-size", {16, 100, 400, 1024}, [&](unsigned size) {
    return Load{false, size, 4, 0, options.datagrams};
  });
  add("unix-senders", {1, 4, 16, 64}, [&](unsigned senders) {
    return Load{false, 100, senders, 0, options.datagrams};
  });
  add("udp-rate", {20'000, 50'000, 100'000, 200'000},
      [&](unsigned rate) { return udp(100, rate); });
  add("udp-size", {16, 400, 1024}, [&](unsigned size) { return udp(size, 50'000); });
  return sections;
}

// Every message is numbered, and is looked for in what the collector has stored.
std::vector<Section> CollectorSections(const Options& options) {
  constexpr auto kPart = Subject::Part::kCollectors;
  const Load load{false, 100, 4, 0, options.datagrams, true};
  const Load atOnce{false, 100, 1, 0, 2000, true};
  const Load apart{false, 100, 1, 1000, 300, true};
  const Load rotation{false, 100, 4, 0, 4'000'000, true, kRotationPeriod * (options.rotations + 1)};
  Section cost{"cost", kPart, options.rounds, kCostColumns, MeasureLoad, true, false, false, {}};
  cost.points = {{"cost", 4, "Cost of numbered messages from 4 senders", load}};
  Section kill{"kill", kPart, options.rounds, kKillColumns, SendAndKill, false, true, false, {}};
  kill.points = {{"kill", 2000, "Killed after the last of 2000 messages at once", atOnce},
                 {"kill", 300, "Killed after the last of 300 messages, 1 ms apart", apart}};
  Section rotate{"rotate", kPart, 1, kRotationColumns, MeasureRotation, false, false, true, {}};
  rotate.points = {{"rotate", 4, "Rotations 1.1 s apart under the load of 4 senders", rotation}};
  return {cost, kill, rotate};
}

}  // namespace

std::vector<Section> Plan(const Options& options) {
  std::vector<Section> sections = LoadSections(options);
  for (Section& section : CollectorSections(options)) sections.push_back(std::move(section));
  std::erase_if(sections,
                [&](const Section& section) { return !options.WantsSection(section.name); });
  return sections;
}

std::vector<Point> LongPlan(const Options& options) {
  std::vector<Point> points;
  if (!options.WantsSection("long")) return points;
  const long each = options.longDatagrams / kLongChunks;
  for (int chunk = 1; chunk <= kLongChunks && each > 0; ++chunk) {
    const auto after = static_cast<double>(each) * chunk;
    points.push_back(
        {"long", after, std::to_string(each * chunk) + " datagrams", {false, 100, 4, 0, each}});
  }
  return points;
}

std::vector<Subject> TakingPart(const std::vector<Subject>& subjects, const Section& section,
                                const Options& options) {
  std::vector<Subject> found;
  for (const Subject& subject : subjects) {
    const bool can = (subject.TakesUdp() || !section.points.front().load.udp) &&
                     (!subject.IsJournal() || section.part == Subject::Part::kCollectors) &&
                     (!section.rotates || subject.rotation != Subject::Rotation::kNever);
    if (can && options.WantsSubject(subject, section.part)) found.push_back(subject);
  }
  return found;
}
