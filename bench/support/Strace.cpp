#include "Strace.h"

#include <signal.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "Check.h"
#include "Files.h"
#include "Waiting.h"

namespace fs = std::filesystem;

namespace {

constexpr char kStrace[] = "/usr/bin/strace";

std::vector<std::string> Command(const std::vector<pid_t>& pids, const std::string& table,
                                 const std::vector<fs::path>& written) {
  std::vector<std::string> words = {kStrace, "-f", "-c", "-U", "calls,name", "-o", table};
  for (const pid_t pid : pids) words.insert(words.end(), {"-p", std::to_string(pid)});
  for (const fs::path& file : written) words.insert(words.end(), {"-P", file});
  if (!written.empty()) words.emplace_back("--trace=write,writev,pwrite64,pwritev,pwritev2");
  return words;
}

bool IsTraced(const fs::path& thread) {
  return ReadFile(thread / "status").find("TracerPid:\t0\n") == std::string::npos;
}

}  // namespace

bool Strace::IsInstalled() { return ::access(kStrace, X_OK) == 0; }

Strace::Strace(const std::vector<pid_t>& pids, const std::string& table,
               const std::vector<fs::path>& written)
    : m_table(table),
      m_process(Command(pids, table, written), {.output = "/dev/null", .errors = "/dev/null"}) {
  for (const pid_t pid : pids) {
    for (const auto& thread : fs::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
      Check(Eventually([&] { return IsTraced(thread.path()); }), "strace does not attach");
    }
  }
}

// Its table ends with "<calls> total"; there is none when nothing was called.
long Strace::Stop() {
  m_process.Stop(SIGINT);
  std::ifstream table(m_table);
  Check(table.is_open(), "table of strace");
  for (std::string line; std::getline(table, line);) {
    std::istringstream words(line);
    long calls = 0;
    std::string name;
    if (words >> calls >> name && name == "total") return calls;
  }
  return 0;
}
