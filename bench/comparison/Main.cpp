// Measures tavok beside a bare loop of recvfrom and write (the limit) and beside the peers that are
// installed, in one run: subjects take turns, each round starts each subject anew, and what counts
// are ratios within a round. bench/compare runs this; bench/README.md explains the figures.

#include <unistd.h>

#include <cstdio>
#include <stdexcept>

#include "Limits.h"
#include "Plan.h"
#include "Trials.h"

namespace {

class Comparison {
 public:
  explicit Comparison(const Options& options)
      : m_options(options), m_subjects(InstalledSubjects(options.before)) {}

  // Returns whether everything that was sent over a Unix socket has arrived, but for kills.
  bool Run();

 private:
  void DescribeMachine() const;
  void MeasureSection(const Section& section, const std::vector<Point>& points);
  void Measure(const Section& section, const std::vector<Point>& points, const Subject& subject,
               int round);
  void RequireAll(const Subject& subject, const Figures& figures);
  void Write(const std::vector<Point>& points) const;

  const Options m_options;
  const std::vector<Subject> m_subjects;
  Results m_results;
  bool m_complete = true;
};

bool Comparison::Run() {
  std::filesystem::create_directories(m_options.out);
  DescribeMachine();
  std::vector<Point> points;
  for (const Section& section : Plan(m_options)) {
    if (section.points.empty()) {
      PrintTexts(TakingPart(m_subjects, section, m_options));
    } else if ((section.traits & Section::kInOneRun) != 0) {
      MeasureSection(section, section.points);
    } else {
      for (const Point& point : section.points) MeasureSection(section, {point});
    }
    points.insert(points.end(), section.points.begin(), section.points.end());
  }
  Write(points);
  return m_complete;
}

void Comparison::DescribeMachine() const {
  const std::string command =
      "{ uname -sr; lscpu | grep -E '^(CPU\\(s\\)|Model name)'; "
      "echo rounds: " +
      std::to_string(m_options.rounds) +
      "; "
      "grep . /proc/sys/net/unix/max_dgram_qlen /dev/null; } | tee ";
  Process(ShellWords(command + m_options.out + "/machine.txt")).Exit();
}

// Over itself on a terminal, else line by line.
void Progress(const std::string& what) {
  (void)std::fprintf(stderr, ::isatty(STDERR_FILENO) != 0 ? "\r\033[K%s" : "%s\n", what.c_str());
}

// First once to count the calls, if cost is looked at; then the rounds. Who goes first changes.
void Comparison::MeasureSection(const Section& section, const std::vector<Point>& points) {
  const std::vector<Subject> subjects = TakingPart(m_subjects, section, m_options);
  for (int round = (section.traits & Section::kCounts) != 0 ? 0 : 1; round <= section.rounds;
       ++round) {
    for (std::size_t turn = 0; turn < subjects.size(); ++turn) {
      const Subject& subject = subjects[(turn + static_cast<std::size_t>(round)) % subjects.size()];
      Progress(section.name + ": " + points.back().title + ", round " + std::to_string(round) +
               " of " + std::to_string(section.rounds) + ": " + subject.name);
      Measure(section, points, subject, round);
    }
  }
  Progress("");
  m_results.Print(points, subjects, section.columns);
}

void Comparison::Measure(const Section& section, const std::vector<Point>& points,
                         const Subject& subject, int round) {
  Running running(subject, points.front().load.udp, points.front().load.held);
  const Written each = WarmUp(points.front().load, running);
  for (const Point& point : points) {
    const Figures figures = round == 0 ? CountCalls(point.load, running, each)
                                       : section.measure(point.load, running, each);
    if ((section.traits & Section::kMayLose) == 0 && !point.load.udp && round > 0)
      RequireAll(subject, figures);
    m_results.Add({point.section, point.x, subject.name, round, each.unchanged, figures});
  }
}

void Comparison::RequireAll(const Subject& subject, const Figures& figures) {
  if (figures.at("lost") == 0 && (!figures.contains("faults") || figures.at("faults") == 0)) return;
  m_complete = false;
  Progress(subject.name + " has lost, repeated, moved or torn what came over a Unix socket\n");
}

void Comparison::Write(const std::vector<Point>& points) const {
  const std::string& out = m_options.out;
  m_results.Write(out, points, m_subjects);
  if (m_options.smoke) return;
  PrintLimits(m_results);
  const std::string plot = "gnuplot -e \"medians='" + out + "/medians.csv'; out='" + out + "'\" ";
  if (Process(ShellWords(plot + PLOT_SCRIPT)).Exit() != 0) Progress("There are no plots.");
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Comparison(ParseOptions(argc, argv)).Run() ? 0 : 1;
  } catch (const std::exception& e) {
    (void)std::fprintf(stderr, "compare: %s\n", e.what());
    return 1;
  }
}
