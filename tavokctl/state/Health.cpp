#include "state/Health.h"

#include "state/StatusReport.h"

namespace {

using Answer = std::optional<bool>;

Answer Not(const Answer& answer) { return answer ? Answer(!*answer) : answer; }

}  // namespace

const std::array<CProblem, 11> kProblems = {{
    {"reception-ended",
     "nothing is received any more, after an empty datagram or an error: restart tavok", true, true,
     [](const CStatusReport& report) -> Answer { return Not(report.process->isReceiving); }},
    {"no-open-file", "no file is open since a rotation failed, and all text is lost: restart tavok",
     true, true, [](const CStatusReport& report) -> Answer { return Not(report.hasOpenFile); }},
    {"writes-failing",
     "what was received last could not be stored, and is lost: the system log says why", true,
     false, [](const CStatusReport& report) -> Answer { return report.process->isLosing; }},
    {"current-file-missing",
     "the current file has been removed or moved, and text goes to the old one: restart tavok",
     true, true, [](const CStatusReport& report) -> Answer { return report.isCurrentMissing; }},
    {"current-file-replaced", "the current file is not the one that tavok writes to: restart tavok",
     true, true,
     [](const CStatusReport& report) -> Answer {
       const bool isNone = report.isCurrentMissing == true || report.hasOpenFile == false;
       return isNone ? false : Not(report.isCurrentOpen);
     }},
    {"disk-full",
     "text is lost, or will be at the next rotation: no room, or no inode, is left; make room",
     true, false, [](const CStatusReport& report) -> Answer { return report.isDiskFull; }},
    {"datagrams-dropped",
     "the kernel has dropped datagrams since the socket was made, which tavok was too slow to "
     "take: let senders use a Unix-domain socket, or enlarge the buffer",
     true, false,
     [](const CStatusReport& report) -> Answer {
       return report.socket ? std::optional(report.socket->dropped > 0) : std::nullopt;
     }},
    {"process-suspended", "tavok is stopped by a signal or a debugger: send it SIGCONT", true,
     false, [](const CStatusReport& report) -> Answer { return report.process->isSuspended; }},
    {"socket-replaced",
     "the path of its socket does not lead to it, so that no sender does: restart tavok, the "
     "service by tavokctl stop and start",
     true, true,
     [](const CStatusReport& report) -> Answer {
       return report.isUdp ? false : Not(report.isSocketAtPath);
     }},
    {"socket-unheld",
     "the service has its own socket, which only root and its user may send to, instead of that of "
     "tavok.socket: tavokctl check tells whether they differ; if not, tavokctl restart",
     true, false,
     [](const CStatusReport& report) -> Answer {
       return report.isUdp || report.isSocketAtPath == false ? false : report.isSocketUnheld;
     }},
    {"configuration-changed",
     "the configuration is younger than the process, which does not know it yet: restart tavok",
     false, false, [](const CStatusReport& report) -> Answer { return report.isConfigChanged; }},
}};

std::vector<const CProblem*> FindProblems(const CStatusReport& report) {
  std::vector<const CProblem*> problems;
  if (!report.process) return problems;
  for (const CProblem& problem : kProblems) {
    if (problem.applies(report) == true) problems.push_back(&problem);
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
