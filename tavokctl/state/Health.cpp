#include "state/Health.h"

#include "state/StatusReport.h"

const std::array<CProblem, 9> kProblems = {{
    {"reception-ended",
     "nothing is received any more, after an empty datagram or an error: restart tavok", true,
     [](const CStatusReport& report) { return !report.process->isReceiving; }},
    {"no-open-file", "no file is open since a rotation failed, and all text is lost: restart tavok",
     true, [](const CStatusReport& report) { return report.hasOpenFile == false; }},
    {"current-file-missing",
     "the current file has been removed or moved, and text goes to the old one: restart tavok",
     true, [](const CStatusReport& report) { return report.isCurrentMissing; }},
    {"current-file-replaced", "the current file is not the one that tavok writes to: restart tavok",
     true,
     [](const CStatusReport& report) {
       return report.current && report.hasOpenFile == true && report.isCurrentOpen == false;
     }},
    {"disk-full", "text is lost: make room, or lower MaxSize and restart tavok", true,
     [](const CStatusReport& report) { return report.isDiskFull; }},
    {"datagrams-dropped",
     "the kernel has dropped datagrams since the socket was made, which tavok was too slow to "
     "take: "
     "let senders use a Unix-domain socket, or enlarge the buffer",
     true, [](const CStatusReport& report) { return report.socket && report.socket->dropped > 0; }},
    {"process-suspended", "tavok is stopped by a signal or a debugger: send it SIGCONT", true,
     [](const CStatusReport& report) { return report.process->isSuspended; }},
    {"socket-replaced",
     "the path of its socket does not lead to it, so that no sender does: restart tavok, the "
     "service by tavokctl stop and start",
     true, [](const CStatusReport& report) { return report.isSocketAtPath == false; }},
    {"configuration-changed",
     "the configuration is younger than the process, which does not know it yet: restart tavok",
     false, [](const CStatusReport& report) { return report.isConfigChanged; }},
}};

std::vector<const CProblem*> FindProblems(const CStatusReport& report) {
  std::vector<const CProblem*> problems;
  if (!report.process) return problems;
  for (const CProblem& problem : kProblems) {
    if (problem.applies(report)) problems.push_back(&problem);
  }
  return problems;
}

const char* NameOf(EHealth health) {
  switch (health) {
    case EHealth::kOk:
      return "ok";
    case EHealth::kFailing:
      return "failing";
    case EHealth::kStopped:
      return "stopped";
    default:
      return "unknown";
  }
}
