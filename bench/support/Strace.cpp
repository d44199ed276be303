#include "Strace.h"

#include <unistd.h>

#include <sstream>

#include "Check.h"
#include "Files.h"
#include "Process.h"
#include "Waiting.h"

namespace fs = std::filesystem;

constexpr char kStrace[] = "/usr/bin/strace";

bool HasStrace() { return ::access(kStrace, X_OK) == 0; }

long CountedCalls(const std::vector<pid_t>& pids, const std::string& table,
                  const std::vector<fs::path>& written, const std::function<void()>& action) {
  std::vector<std::string> words = {kStrace, "-f", "-c", "-U", "calls,name", "-o", table};
  for (const pid_t pid : pids) words.insert(words.end(), {"-p", std::to_string(pid)});
  for (const fs::path& file : written) words.insert(words.end(), {"-P", file});
  if (!written.empty()) words.emplace_back("--trace=write,writev,pwrite64,pwritev,pwritev2");
  Process strace(words, {.output = "/dev/null", .errors = "/dev/null"});
  for (const pid_t pid : pids) {
    for (const auto& thread : fs::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
      const auto isTraced = [&] {
        return ReadFile(thread.path() / "status").find("TracerPid:\t0\n") == std::string::npos;
      };
      Check(Eventually(isTraced), "strace does not attach");
    }
  }
  action();
  strace.Stop(SIGINT);

  // The table ends with "<calls> total"; there is none when nothing was called.
  Check(fs::exists(table), "table of strace");
  std::istringstream lines(ReadFile(table));
  for (std::string line, name; std::getline(lines, line);) {
    long calls = 0;
    if (std::istringstream(line) >> calls >> name && name == "total") return calls;
  }
  return 0;
}
