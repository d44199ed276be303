// Measures tavok beside a bare loop of recvfrom and write (the limit) and beside the peers that are
// installed, in one run: subjects take turns, each round starts each subject anew, and what counts
// are ratios within a round. bench/compare runs this; bench/README.md explains the figures.

#include <getopt.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "Limits.h"
#include "Load.h"
#include "Results.h"
#include "Running.h"
#include "SystemCalls.h"

namespace {

struct Options {
  int rounds = 9;
  long datagrams = 100'000;  // of a load over the Unix socket
  double seconds = 1;        // of a load over UDP
  long longDatagrams = 10'000'000;
  std::vector<std::string> subjects;  // empty: all that are installed
  std::vector<std::string> sections;  // empty: all
  std::string before;                 // another build of tavok
  std::string out = "bench-results";
  bool smoke = false;
};

constexpr int kLongRounds = 3;
constexpr int kLongChunks = 10;
constexpr long kTracedDatagrams = 20'000;  // strace takes its time

void Usage() {
  std::puts(
      "Usage: compare [--rounds N] [--datagrams N] [--seconds S] [--long N] [--subjects A,B]\n"
      "               [--sections A,B] [--before PROGRAM] [--out DIRECTORY] [--smoke]\n"
      "  --rounds     rounds of each load (9)\n"
      "  --datagrams  datagrams of a load over the Unix socket (100000)\n"
      "  --seconds    duration of a load over UDP (1)\n"
      "  --long       datagrams of the long run (10000000); 0: none\n"
      "  --subjects   only these, of bare, tavok, bare-threads, socklog, socat, syslog-ng, "
      "rsyslogd\n"
      "  --sections   only these, of unix-size, unix-senders, udp-rate, udp-size, long\n"
      "  --before     measures another build of tavok, too\n"
      "  --out        where rows.csv, medians.csv and machine.txt go (bench-results)\n"
      "  --smoke      everything once, as small as can be; measures nothing worth reading");
}

std::vector<std::string> Split(const std::string& list) {
  std::istringstream stream(list);
  std::vector<std::string> words;
  for (std::string word; std::getline(stream, word, ',');) words.push_back(word);
  return words;
}

Options ParseOptions(int argc, char** argv) {
  static const option kOptions[] = {{"rounds", required_argument, nullptr, 'r'},
                                    {"datagrams", required_argument, nullptr, 'd'},
                                    {"seconds", required_argument, nullptr, 's'},
                                    {"long", required_argument, nullptr, 'l'},
                                    {"subjects", required_argument, nullptr, 'u'},
                                    {"sections", required_argument, nullptr, 'e'},
                                    {"before", required_argument, nullptr, 'b'},
                                    {"out", required_argument, nullptr, 'o'},
                                    {"smoke", no_argument, nullptr, 'S'},
                                    {"help", no_argument, nullptr, 'h'},
                                    {nullptr, 0, nullptr, 0}};
  Options options;
  for (int option; (option = ::getopt_long(argc, argv, "", kOptions, nullptr)) != -1;) {
    switch (option) {
      case 'r':
        options.rounds = std::max(1, std::atoi(::optarg));
        break;
      case 'd':
        options.datagrams = std::max(64L, std::atol(::optarg));
        break;
      case 's':
        options.seconds = std::max(0.001, std::atof(::optarg));
        break;
      case 'l':
        options.longDatagrams = std::max(0L, std::atol(::optarg));
        break;
      case 'u':
        options.subjects = Split(::optarg);
        break;
      case 'e':
        options.sections = Split(::optarg);
        break;
      case 'b':
        options.before = ::optarg;
        break;
      case 'o':
        options.out = ::optarg;
        break;
      case 'S':
        options = {1, 640, 0.01, 1000, {"bare", "tavok"}, {}, "", options.out, true};
        break;
      default:
        Usage();
        std::exit(option == 'h' ? 0 : 2);
    }
  }
  return options;
}

Point UnixPoint(const Options& options, const char* section, unsigned x, unsigned size,
                unsigned senders) {
  const std::string title = "Unix socket, " + std::to_string(size) + " bytes, " +
                            std::to_string(senders) + (senders == 1 ? " sender" : " senders");
  return {section, static_cast<double>(x), title, {false, size, senders, 0, options.datagrams}};
}

Point UdpPoint(const Options& options, const char* section, unsigned x, unsigned size,
               unsigned rate) {
  const std::string title =
      "UDP, " + std::to_string(size) + " bytes, " + std::to_string(rate) + " a second";
  const long datagrams = std::lround(rate * options.seconds);
  return {section, static_cast<double>(x), title, {true, size, 1, rate, datagrams}};
}

// An empty list wants everything.
bool IsWanted(const std::vector<std::string>& wanted, const std::string& name) {
  return wanted.empty() || std::find(wanted.begin(), wanted.end(), name) != wanted.end();
}

std::vector<Point> Plan(const Options& options) {
  std::vector<Point> points;
  for (const unsigned size : {16u, 100u, 400u, 1024u}) {
    points.push_back(UnixPoint(options, "unix-size", size, size, 4));
  }
  for (const unsigned senders : {1u, 4u, 16u, 64u}) {
    points.push_back(UnixPoint(options, "unix-senders", senders, 100, senders));
  }
  for (const unsigned rate : {20'000u, 50'000u, 100'000u, 200'000u}) {
    points.push_back(UdpPoint(options, "udp-rate", rate, 100, rate));
  }
  for (const unsigned size : {16u, 400u, 1024u}) {
    points.push_back(UdpPoint(options, "udp-size", size, size, 50'000));
  }
  std::erase_if(points,
                [&](const Point& point) { return !IsWanted(options.sections, point.section); });
  return points;
}

// The long run's, in datagrams since its begin.
std::vector<Point> LongPlan(const Options& options) {
  std::vector<Point> points;
  if (!IsWanted(options.sections, "long")) return points;
  const long each = options.longDatagrams / kLongChunks;
  for (int chunk = 1; chunk <= kLongChunks && each > 0; ++chunk) {
    const auto after = static_cast<double>(each) * chunk;
    points.push_back(
        {"long", after, std::to_string(each * chunk) + " datagrams", {false, 100, 4, 0, each}});
  }
  return points;
}

class Comparison {
 public:
  explicit Comparison(const Options& options)
      : m_options(options), m_plan(Plan(options)), m_longPlan(LongPlan(options)) {
    for (const Subject& subject : InstalledSubjects()) {
      if (IsWanted(options.subjects, subject.name)) m_subjects.push_back(subject);
    }
    if (!options.before.empty()) m_subjects.push_back({"before", options.before});
  }

  // Returns whether everything that was sent over the Unix socket has arrived.
  bool Run() {
    if (m_subjects.empty() || (m_plan.empty() && m_longPlan.empty())) {
      throw std::runtime_error("nothing to measure: no such subject, or no such section");
    }
    std::filesystem::create_directories(m_options.out);
    DescribeMachine();
    for (std::size_t i = 0; i < m_plan.size(); ++i) MeasurePoint(i);
    MeasureLong();
    m_results.WriteRows(m_options.out + "/rows.csv");
    std::vector<Point> points = m_plan;
    points.insert(points.end(), m_longPlan.begin(), m_longPlan.end());
    m_results.WriteMedians(m_options.out + "/medians.csv", points, m_subjects);
    if (!m_options.smoke) PrintLimits(m_results, m_plan, m_longPlan, m_subjects);
    return m_complete;
  }

 private:
  void DescribeMachine() const;
  void Progress(const std::string& what) const;
  void MeasurePoint(std::size_t index);
  void Measure(const Point& point, const Subject& subject, int round);
  void CountCalls(const Point& point, const Subject& subject);
  void MeasureLong();
  void Keep(const Point& point, const Subject& subject, int round, const Running& running,
            const Written& each, const Outcome& outcome);

  const Options m_options;
  const std::vector<Point> m_plan;
  const std::vector<Point> m_longPlan;
  std::vector<Subject> m_subjects;
  Results m_results;
  bool m_complete = true;
};

void Comparison::DescribeMachine() const {
  std::string model = "unknown processor";
  std::ifstream cpus("/proc/cpuinfo");
  for (std::string line; std::getline(cpus, line);) {
    if (line.starts_with("model name")) model = line.substr(line.find(':') + 2);
  }
  utsname system;
  ::uname(&system);
  std::ostringstream text;
  text << model << ", " << std::thread::hardware_concurrency() << " processors, " << system.sysname
       << " " << system.release << "; " << m_options.rounds << " rounds; subjects:";
  for (const Subject& subject : m_subjects) text << ' ' << subject.name;
  std::printf("%s\n", text.str().c_str());
  std::ofstream(m_options.out + "/machine.txt") << text.str() << '\n';
}

// Over itself on a terminal, else line by line.
void Comparison::Progress(const std::string& what) const {
  std::fprintf(stderr, ::isatty(STDERR_FILENO) != 0 ? "\r\033[K%s" : "%s\n", what.c_str());
}

// Once to count the calls and warm up, then the rounds; who goes first changes.
void Comparison::MeasurePoint(std::size_t index) {
  const Point& point = m_plan[index];
  const std::string step =
      "[" + std::to_string(index + 1) + "/" + std::to_string(m_plan.size()) + "] " + point.title;
  for (int round = 0; round <= m_options.rounds; ++round) {
    for (std::size_t turn = 0; turn < m_subjects.size(); ++turn) {
      const Subject& subject =
          m_subjects[(turn + static_cast<std::size_t>(round)) % m_subjects.size()];
      Progress(step + ", round " + std::to_string(round) + " of " +
               std::to_string(m_options.rounds) + ": " + subject.name);
      round == 0 ? CountCalls(point, subject) : Measure(point, subject, round);
    }
  }
  Progress("");
  m_results.PrintTable(point, m_subjects);
}

void Comparison::Measure(const Point& point, const Subject& subject, int round) {
  const Running running(subject, point.load.udp);
  const Written each = WarmUp(point.load, running);
  Keep(point, subject, round, running, each, Send(point.load, running, each));
}

void Comparison::CountCalls(const Point& point, const Subject& subject) {
  using Means = SystemCalls::Means;
  const Means means = SystemCalls::Available();
  // strace would make a backlog of any rate.
  if (means == Means::kNone || (means == Means::kStrace && point.load.udp)) return;
  const Running running(subject, point.load.udp);
  const Written each = WarmUp(point.load, running);
  Load load = point.load;
  if (means == Means::kStrace) load.datagrams = std::min(load.datagrams, kTracedDatagrams);
  SystemCalls calls(running.Pid(), running.At().directory / "calls");
  const Outcome outcome = Send(load, running, each);
  const double total = static_cast<double>(calls.Stop());
  m_results.Add({point.section,
                 point.x,
                 subject.name,
                 0,
                 each.unchanged,
                 {{"calls", total / static_cast<double>(outcome.received)}}});
}

void Comparison::MeasureLong() {
  for (int round = 1; round <= kLongRounds && !m_longPlan.empty(); ++round) {
    for (const Subject& subject : m_subjects) {
      if (subject.name != "bare" && subject.name != "tavok") continue;
      const Running running(subject, false);
      const Written each = WarmUp(m_longPlan.front().load, running);
      for (const Point& point : m_longPlan) {
        Progress("long run, round " + std::to_string(round) + " of " + std::to_string(kLongRounds) +
                 ": " + subject.name + ", " + point.title);
        Keep(point, subject, round, running, each, Send(point.load, running, each));
      }
    }
  }
  Progress("");
  if (!m_longPlan.empty()) m_results.PrintCourse(m_longPlan);
}

void Comparison::Keep(const Point& point, const Subject& subject, int round, const Running& running,
                      const Written& each, const Outcome& outcome) {
  if (!point.load.udp && outcome.received != outcome.sent) {
    m_complete = false;
    std::fprintf(stderr, "\n%s has lost %ld datagrams of a Unix socket\n", subject.name.c_str(),
                 outcome.sent - outcome.received);
  }
  m_results.Add({point.section,
                 point.x,
                 subject.name,
                 round,
                 each.unchanged,
                 {{"sent", static_cast<double>(outcome.sent)},
                  {"received", static_cast<double>(outcome.received)},
                  {"lost_percent", outcome.LostPercent()},
                  {"per_second", outcome.PerSecond()},
                  {"cpu_us", outcome.CpuUs()},
                  {"peak_mb", running.PeakMb()},
                  {"start_ms", running.StartMs()}}});
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Comparison(ParseOptions(argc, argv)).Run() ? 0 : 1;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "compare: %s\n", e.what());
    return 1;
  }
}
