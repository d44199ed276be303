#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include "Commands.h"
#include "base/Failure.h"
#include "base/Figures.h"
#include "base/Files.h"
#include "base/Options.h"
#include "base/Output.h"
#include "commands/StatusFormats.h"
#include "config/Config.h"

namespace {

constexpr const char* kUsage =
    "Usage: tavokctl status [-c FILE] [--json | --prometheus] [-l] [-o FILE]\n"
    "Shows the state of the running tavok and of its files, and what is wrong with it. Exits with\n"
    "status 0 if it runs and nothing is amiss, 1 if it does not run, 3 if text is being lost or "
    "is\n"
    "about to be, and 4 if that cannot be told, as to a user who may not see all.\n"
    "  -c, --config FILE  the configuration it was started with\n"
    "  -l, --live         exit with status 3 only for what a restart mends, and not with 4\n"
    "  -j, --json         print one JSON object: sizes in bytes, times as seconds since the epoch\n"
    "  -p, --prometheus   print metrics in the text format of Prometheus\n"
    "  -o, --output FILE  write to this file, in one step, instead of standard output\n";

constexpr const char* kGood = "\033[32m";
constexpr const char* kBad = "\033[1;31m";
constexpr const char* kUncertain = "\033[33m";

// Colours are for terminals that have them.
bool IsColoured() {
  const char* const terminal = std::getenv("TERM");
  return ::isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr &&
         !(terminal != nullptr && std::string(terminal) == "dumb");
}

// Makes lines of a name and a text.
class CSheet {
 public:
  explicit CSheet(bool isForOutput) : m_isForOutput(isForOutput) {}

  void Head(const char* colour, const std::string& text) {
    m_text += Coloured(colour, text) + "\n";
  }
  void Line(const char* name, const std::string& text) { Add(name, Fit(text)); }
  void Alarm(const char* name, const std::string& text) { Add(name, Coloured(kBad, text)); }

  const std::string& Text() const { return m_text; }

 private:
  void Add(std::string name, const std::string& text) {
    name.resize(15, ' ');
    m_text += "  " + name + text + "\n";
  }
  // A file is given what a pipe would be.
  std::string Fit(const std::string& text) const { return m_isForOutput ? ForOutput(text) : text; }
  std::string Coloured(const char* colour, const std::string& text) const {
    return m_isColoured ? colour + Fit(text) + "\033[0m" : Fit(text);
  }

  const bool m_isForOutput;
  const bool m_isColoured = m_isForOutput && IsColoured();
  std::string m_text;
};

std::string OfLimit(std::uint64_t size, std::uint64_t limit) {
  const std::string percent = Percent(size, limit);
  return Size(size) + " of " + Size(limit) + (percent.empty() ? "" : " (" + percent + ")");
}

void AddHead(const CStatusReport& report, CSheet& sheet) {
  if (report.running == false) return sheet.Head(kBad, "tavok is not running: " + report.reason);
  if (!report.process) {
    return sheet.Head(kBad, "cannot tell whether tavok is running: " + report.reason);
  }
  const EHealth health = report.Health();
  const std::time_t since = report.process->since.tv_sec;
  sheet.Head(health == EHealth::kOk        ? kGood
             : health == EHealth::kFailing ? kBad
                                           : kUncertain,
             "tavok is running: pid " + std::to_string(report.process->pid) + ", since " +
                 Time(since) + ", " + Duration(std::time(nullptr) - since));
}

void AddProblems(const CStatusReport& report, CSheet& sheet) {
  for (const CProblem* const problem : report.problems) {
    const std::string text = problem->id + (": " + std::string(problem->meaning));
    problem->isFailure ? sheet.Alarm("problem", text) : sheet.Line("note", text);
  }
  if (!report.pidFileTrouble.empty()) {
    sheet.Line("note", report.pidFileTrouble + "; it was found by the files that it has open");
  }
  if (report.process && report.Health() == EHealth::kUnknown) {
    sheet.Line("health", "cannot be told in full: see \"not known\" below");
  }
}

void AddProcess(const CStatusReport& report, CSheet& sheet) {
  if (!report.process) return;
  const CProcessState& process = *report.process;
  sheet.Line("held by", !process.unit           ? "cannot be told to this user"
                        : process.unit->empty() ? "no service manager"
                                                : "systemd, " + *process.unit);
  sheet.Line("memory", Size(process.memory) + ", at most " + Size(process.peakMemory));
}

void AddSocket(const CStatusReport& report, CSheet& sheet) {
  if (!report.listensOn.empty()) sheet.Line("listens on", report.listensOn);
  if (!report.process || !report.socket) return;
  if (report.isUdp) {
    sheet.Line("queue", OfLimit(report.socket->used, report.socket->limit));
    const std::string dropped = std::to_string(report.socket->dropped) + " datagrams";
    report.socket->dropped == 0 ? sheet.Line("dropped", dropped) : sheet.Alarm("dropped", dropped);
  } else {
    sheet.Line("queue", report.socket->used == 0 ? "empty" : "not empty");
    sheet.Line("dropped", "none: senders wait");
  }
}

void AddFiles(const CStatusReport& report, CSheet& sheet) {
  if (report.current) {
    sheet.Line("current file",
               report.currentPath + ", " + OfLimit(report.current->size, report.maxFileSize));
    sheet.Line("last write", Time(report.current->written));
  } else if (report.isCurrentMissing == true) {
    sheet.Alarm("current file", "there is no " + report.currentPath);
  }
  if (report.rotatedFiles) {
    sheet.Line("rotated files", std::to_string(*report.rotatedFiles) + ", " +
                                    OfLimit(report.rotatedBytes, report.maxSize));
  }
  if (report.oldest) {
    sheet.Line("oldest", report.oldest->name + (report.oldestExpires
                                                    ? ", expires " + Time(*report.oldestExpires)
                                                    : ", never expires"));
  }
  if (report.freeBytes) sheet.Line("free space", OfLimit(*report.freeBytes, report.diskBytes));
}

std::string SheetOf(const CStatusReport& report, bool isForOutput) {
  CSheet sheet(isForOutput);
  AddHead(report, sheet);
  AddProblems(report, sheet);
  AddProcess(report, sheet);
  sheet.Line("configuration", report.config);
  if (report.isConfigRead) {
    AddSocket(report, sheet);
    AddFiles(report, sheet);
  }
  if (!report.notKnown.empty()) sheet.Alarm("not known", report.notKnown);
  return sheet.Text();
}

void Deliver(const std::string& text, const std::string& file) {
  if (!file.empty()) return ReplaceFile(file, text);
  Print(text);
  FlushOutput();
}

int StatusOf(EHealth health) {
  switch (health) {
    case EHealth::kOk:
      return kDone;
    case EHealth::kStopped:
      return kFailed;
    case EHealth::kFailing:
      return kTextLost;
    default:
      return kNotTold;
  }
}

// For a probe whose failure restarts tavok.
int LivenessOf(const CStatusReport& report) {
  if (report.Health() == EHealth::kStopped) return kFailed;
  const bool isMendable =
      std::any_of(report.problems.begin(), report.problems.end(),
                  [](const CProblem* problem) { return problem->endsByRestart; });
  return isMendable ? kTextLost : kDone;
}

}  // namespace

int Status(int argc, char** argv) {
  std::string config = kDefaultConfig, file;
  bool isJson = false, isPrometheus = false, isLive = false;
  ReadOptions(argc, argv, kUsage,
              {ConfigOption(config), FlagOption('j', "json", isJson),
               FlagOption('p', "prometheus", isPrometheus), FlagOption('l', "live", isLive),
               TextOption('o', "output", file)});
  if (isJson && isPrometheus) throw CWrongUse("--json and --prometheus exclude each other");

  const CStatusReport report = MakeStatusReport(config);
  try {
    Deliver(isJson         ? JsonOf(report) + "\n"
            : isPrometheus ? MetricsOf(report)
                           : SheetOf(report, file.empty()),
            file);
  } catch (const CFailure& e) {
    // kFailed would say that tavok does not run.
    Complain(std::string("tavokctl status: ") + e.what());
    return kNotTold;
  }
  return isLive ? LivenessOf(report) : StatusOf(report.Health());
}
