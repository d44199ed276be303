// Measures tavok beside a bare loop of recvfrom and write (the limit) and beside the peers that are
// installed, in one run: subjects take turns, each round starts each subject anew, and what counts
// are ratios within a round. bench/compare runs this; bench/README.md explains the figures.

#include <sys/utsname.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "Limits.h"
#include "Options.h"
#include "Plan.h"
#include "Results.h"
#include "Trials.h"

namespace {

constexpr int kLongRounds = 3;

class Comparison {
 public:
  explicit Comparison(const Options& options)
      : m_options(options),
        m_plan(Plan(options)),
        m_longPlan(LongPlan(options)),
        m_subjects(InstalledSubjects(options.before)) {}

  // Returns whether everything that was sent over a Unix socket has arrived, but for kills.
  bool Run() {
    std::filesystem::create_directories(m_options.out);
    DescribeMachine();
    for (const Section& section : m_plan) {
      for (const Point& point : section.points) MeasurePoint(section, point);
    }
    MeasureLong();
    if (m_options.WantsSection("text")) PrintTexts(Wanted(Subject::Part::kCollectors));
    Write();
    return m_complete;
  }

 private:
  std::vector<Subject> Wanted(Subject::Part part) const;
  void DescribeMachine() const;
  void Progress(const std::string& what) const;
  void MeasurePoint(const Section& section, const Point& point);
  void Measure(const Section& section, const Point& point, const Subject& subject, int round);
  void MeasureLong();
  void RequireAll(const Subject& subject, const Figures& figures);
  void Write() const;

  const Options m_options;
  const std::vector<Section> m_plan;
  const std::vector<Point> m_longPlan;
  const std::vector<Subject> m_subjects;
  Results m_results;
  bool m_complete = true;
};

std::vector<Subject> Comparison::Wanted(Subject::Part part) const {
  std::vector<Subject> wanted = m_subjects;
  std::erase_if(wanted,
                [&](const Subject& subject) { return !m_options.WantsSubject(subject, part); });
  return wanted;
}

void Comparison::DescribeMachine() const {
  const std::string cpus = ReadFile("/proc/cpuinfo");
  std::smatch model;
  std::regex_search(cpus, model, std::regex("model name\\s*: (.*)"));
  utsname system;
  ::uname(&system);
  std::ostringstream text;
  text << model.str(1) << ", " << std::thread::hardware_concurrency() << " processors, "
       << system.sysname << " " << system.release << ", " << m_options.rounds
       << " rounds, a socket's queue of "
       << std::stoi(ReadFile("/proc/sys/net/unix/max_dgram_qlen"));
  std::printf("%s\n", text.str().c_str());
  std::ofstream(m_options.out + "/machine.txt") << text.str() << '\n';
}

// Over itself on a terminal, else line by line.
void Comparison::Progress(const std::string& what) const {
  (void)std::fprintf(stderr, ::isatty(STDERR_FILENO) != 0 ? "\r\033[K%s" : "%s\n", what.c_str());
}

// First once to count the calls, if cost is looked at; then the rounds. Who goes first changes.
void Comparison::MeasurePoint(const Section& section, const Point& point) {
  const std::vector<Subject> subjects = TakingPart(m_subjects, section, m_options);
  for (int round = section.counts ? 0 : 1; round <= section.rounds; ++round) {
    for (std::size_t turn = 0; turn < subjects.size(); ++turn) {
      const Subject& subject = subjects[(turn + static_cast<std::size_t>(round)) % subjects.size()];
      Progress(section.name + ": " + point.title + ", round " + std::to_string(round) + " of " +
               std::to_string(section.rounds) + ": " + subject.name);
      Measure(section, point, subject, round);
    }
  }
  Progress("");
  m_results.Print(point, subjects, section.columns);
}

void Comparison::Measure(const Section& section, const Point& point, const Subject& subject,
                         int round) {
  Running running(subject, point.load.udp);
  const Written each = WarmUp(point.load, running);
  const Figures figures = round == 0 ? CountCalls(point.load, running, each)
                                     : section.measure(point.load, running, each);
  if (!section.mayLose && !point.load.udp && round > 0) RequireAll(subject, figures);
  m_results.Add({point.section, point.x, subject.name, round, each.unchanged, figures});
}

void Comparison::RequireAll(const Subject& subject, const Figures& figures) {
  if (figures.at("lost") == 0 && (!figures.contains("faults") || figures.at("faults") == 0)) return;
  m_complete = false;
  (void)std::fprintf(stderr,
                     "\n%s has lost, repeated, moved or torn what came over a Unix socket\n",
                     subject.name.c_str());
}

void Comparison::MeasureLong() {
  for (int round = 1; round <= kLongRounds && !m_longPlan.empty(); ++round) {
    for (const Subject& subject : Wanted(Subject::Part::kLoads)) {
      if (subject.name != "bare" && subject.name != "tavok") continue;
      Running running(subject, false);
      const Written each = WarmUp(m_longPlan.front().load, running);
      for (const Point& point : m_longPlan) {
        Progress("long run, round " + std::to_string(round) + " of " + std::to_string(kLongRounds) +
                 ": " + subject.name + ", " + point.title);
        const Figures figures = MeasureLoad(point.load, running, each);
        RequireAll(subject, figures);
        m_results.Add({point.section, point.x, subject.name, round, each.unchanged, figures});
      }
    }
  }
  Progress("");
  if (!m_longPlan.empty()) m_results.PrintCourse(m_longPlan);
}

void Comparison::Write() const {
  m_results.WriteRows(m_options.out + "/rows.csv");
  std::vector<Point> loads;
  for (const Section& section : m_plan) {
    if (section.part != Subject::Part::kLoads) continue;
    loads.insert(loads.end(), section.points.begin(), section.points.end());
  }
  std::vector<Point> points = loads;
  points.insert(points.end(), m_longPlan.begin(), m_longPlan.end());
  m_results.WriteMedians(m_options.out + "/medians.csv", points, m_subjects);
  if (!m_options.smoke && !points.empty()) {
    PrintLimits(m_results, loads, m_longPlan, m_subjects);
  }
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
