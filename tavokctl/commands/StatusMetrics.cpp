#include <algorithm>
#include <sstream>

#include "commands/StatusFormats.h"

namespace {

class CMetrics {
 public:
  void Add(const std::string& name, const char* help, std::uint64_t value,
           const char* type = "gauge") {
    Describe(name, help, type);
    m_text << name << ' ' << value << '\n';
  }

  void AddProblems(const CStatusReport& report) {
    Describe("tavok_problem", "Whether there is this problem: see tavokctl(1).", "gauge");
    for (const CProblem& problem : kProblems) {
      const auto answer = report.process ? problem.applies(report) : false;
      if (answer) m_text << "tavok_problem{problem=\"" << problem.id << "\"} " << *answer << '\n';
    }
  }

  std::string Text() const { return m_text.str(); }

 private:
  void Describe(const std::string& name, const char* help, const char* type) {
    m_text << "# HELP " << name << ' ' << help << "\n# TYPE " << name << ' ' << type << '\n';
  }

  std::ostringstream m_text;
};

void AddProcess(const CStatusReport& report, CMetrics& metrics) {
  if (!report.process) return;
  metrics.Add("tavok_start_time_seconds", "Start of the process, since 1970.",
              static_cast<std::uint64_t>(report.process->since.tv_sec));
  metrics.Add("tavok_resident_memory_bytes", "Resident memory.", report.process->memory);
  if (!report.socket) return;
  metrics.Add("tavok_receive_dropped_total",
              "Datagrams that the kernel has dropped since the socket was made.",
              report.socket->dropped, "counter");
}

void AddFiles(const CStatusReport& report, CMetrics& metrics) {
  if (report.current) {
    metrics.Add("tavok_current_file_bytes", "Size of the current file.", report.current->size);
    metrics.Add("tavok_last_write_timestamp_seconds", "Last write to the current file, since 1970.",
                static_cast<std::uint64_t>(std::max<std::time_t>(0, report.current->written)));
  }
  metrics.Add("tavok_current_file_limit_bytes", "Size at which the current file is rotated.",
              report.maxFileSize);
  if (report.rotatedFiles) {
    metrics.Add("tavok_rotated_files", "Number of rotated files.", *report.rotatedFiles);
    metrics.Add("tavok_rotated_bytes", "Size of all rotated files.", report.rotatedBytes);
  }
  metrics.Add("tavok_rotated_limit_bytes", "Size of all at which the oldest is deleted.",
              report.maxSize);
  if (report.freeBytes) {
    metrics.Add("tavok_filesystem_free_bytes", "Free space for an unprivileged writer.",
                *report.freeBytes);
    metrics.Add("tavok_filesystem_size_bytes", "Size of the file system.", report.diskBytes);
  }
}

}  // namespace

std::string MetricsOf(const CStatusReport& report) {
  CMetrics metrics;
  if (report.running) metrics.Add("tavok_up", "Whether tavok runs.", *report.running ? 1 : 0);
  const EHealth health = report.Health();
  if (health != EHealth::kUnknown) {
    metrics.Add("tavok_healthy", "Whether it runs and no text is being lost.",
                health == EHealth::kOk ? 1 : 0);
  }
  if (report.running) metrics.AddProblems(report);
  AddProcess(report, metrics);
  if (report.isConfigRead) AddFiles(report, metrics);
  return metrics.Text();
}
