#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "Commands.h"
#include "base/Failure.h"
#include "base/Figures.h"
#include "base/Options.h"
#include "commands/StatusJson.h"
#include "config/Config.h"

namespace {

constexpr const char* kUsage =
    "Usage: tavokctl status [-c FILE] [--json]\n"
    "Shows the state of the running tavok and of its files; exits with status 1 if none runs.\n"
    "  -c, --config FILE  the configuration it was started with\n"
    "  -j, --json         print one JSON object: sizes in bytes, times as seconds since the "
    "epoch\n";

constexpr const char* kGood = "\033[32m";
constexpr const char* kBad = "\033[1;31m";

// Prints lines of a name and a text, coloured if standard output is a terminal.
class CSheet {
 public:
  CSheet() : m_isColoured(::isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr) {}

  void Head(bool isGood, const std::string& text) const {
    std::printf("%s\n", Coloured(isGood ? kGood : kBad, text).c_str());
  }
  void Line(const char* name, const std::string& text) const {
    std::printf("  %-15s%s\n", name, text.c_str());
  }
  void Alarm(const char* name, const std::string& text) const { Line(name, Coloured(kBad, text)); }

 private:
  std::string Coloured(const char* colour, const std::string& text) const {
    return m_isColoured ? colour + text + "\033[0m" : text;
  }

  const bool m_isColoured;
};

std::string OfLimit(std::uint64_t size, std::uint64_t limit) {
  const std::string percent = Percent(size, limit);
  return Size(size) + " of " + Size(limit) + (percent.empty() ? "" : " (" + percent + ")");
}

void PrintProcess(const CStatusReport& report, const CSheet& sheet) {
  if (!report.process) {
    return sheet.Head(false, report.whyNotRunning.empty()
                                 ? "cannot tell whether tavok is running"
                                 : "tavok is not running: " + report.whyNotRunning);
  }
  const CProcessState& process = *report.process;
  sheet.Head(true, "tavok is running: pid " + std::to_string(process.pid) + ", since " +
                       Time(process.since) + ", " + Duration(std::time(nullptr) - process.since));
  if (process.threads < process.threadsExpected) {
    sheet.Alarm("threads", std::to_string(process.threads) + " of " +
                               std::to_string(process.threadsExpected) +
                               ": reception has ended; restart tavok");
  }
  sheet.Line("memory", Size(process.memory) + ", at most " + Size(process.peakMemory));
}

void PrintSocket(const CStatusReport& report, const CSheet& sheet) {
  sheet.Line("listens on", report.listensOn);
  if (!report.process) return;
  if (!report.queue && !report.trouble.empty()) return;
  if (!report.queue) {
    sheet.Alarm("queue", "there is no such socket");
  } else if (report.isUdp) {
    sheet.Line("queue", OfLimit(report.queue->used, report.queue->limit));
    const std::string dropped = std::to_string(report.queue->dropped) + " datagrams";
    report.queue->dropped == 0 ? sheet.Line("dropped", dropped) : sheet.Alarm("dropped", dropped);
  } else {
    sheet.Line("queue", report.queue->used == 0 ? "empty" : "not empty");
    sheet.Line("dropped", "none: senders wait");
  }
}

void PrintFiles(const CStatusReport& report, const CSheet& sheet) {
  if (report.current) {
    sheet.Line("current file",
               report.currentPath + ", " + OfLimit(report.current->size, report.maxFileSize));
  } else if (report.isCurrentMissing) {
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

void Print(const CStatusReport& report) {
  const CSheet sheet;
  PrintProcess(report, sheet);
  sheet.Line("configuration", report.config);
  PrintSocket(report, sheet);
  PrintFiles(report, sheet);
  if (!report.trouble.empty()) sheet.Alarm("not known", report.trouble);
}

}  // namespace

int Status(int argc, char** argv) {
  std::string config = kDefaultConfig;
  bool isJson = false;
  ReadOptions(argc, argv, kUsage,
              {ConfigOption(config),
               {'j', "json", false, [&isJson](const std::string&) { isJson = true; }}});

  const CStatusReport report = MakeStatusReport(config);
  if (isJson) {
    std::puts(JsonOf(report).c_str());
  } else {
    Print(report);
  }
  return report.process ? kDone : kFailed;
}
