// Starts a daemon on a configuration file: it must come up, or exit with status 1 and say why.
#include <algorithm>
#include <iostream>

#include "Fuzz.h"
#include "Tavok.h"

// Runs a daemon that signals nobody. The shell that becomes the daemon has the library loaded too:
// if it can signal, it goes no further.
static const char* const g_prefix = "env LD_PRELOAD=" NOKILL
                                    " ASAN_OPTIONS=exitcode=99 UBSAN_OPTIONS=exitcode=99 "
                                    "sh -c 'kill -0 $$ 2>/dev/null || exec \"$@\"' sh";

void Try(const std::string& input) {
  qel::CIniFile file;
  Require(file.ParseText(input));
  const auto section = file.FindSection("LogServer");
  // Their defaults are absolute paths outside the fuzzer's directory.
  if (section && !(section->FindValue("DirName") && section->FindValue("PidFileName"))) return;
  // The daemon runs one level deeper, so that its .. is nobody else's either.
  const TempDir top("/dev/shm");
  const std::string run = top / "run";
  std::filesystem::create_directory(run);
  std::string text = input;
  std::ranges::replace(text, '/', '_');  // no path leads out of the directory
  WriteFile(run + "/input", text);
  Tavok daemon(run, {.arguments = "-c input", .prefix = g_prefix});
  const bool isUp = daemon.IsUp();
  const int status = isUp ? daemon.Stop(SIGKILL) : daemon.Exit();
  const std::string said = "\n" + daemon.Output();
  const auto says = [&](const char* line) { return said.find(line) != said.npos; };
  const bool isRight =
      isUp ? status == 128 + SIGKILL && says("\nLog Server listening on port ")
           : status == 1 && (says("\ncan't find conf file") || says("\nfailed to init log server"));
  if (!isRight) std::cerr << (isUp ? "Up" : "Not up") << ", status " << status << ':' << said;
  Require(isRight);
}
