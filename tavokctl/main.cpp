#include <signal.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "Commands.h"
#include "Process.h"
#include "base/Failure.h"
#include "config/Config.h"

namespace {

struct CCommand {
  const char* name;
  const char* summary;
  int (*run)(int argc, char** argv);
};

constexpr CCommand kCommands[] = {
    {"check", "read a configuration as tavok would, and warn of what tavok accepts silently",
     Check},
    {"start", "start tavok in the background, and return when it is up", Start},
    {"stop", "stop the running tavok, and return when it has ended", Stop},
    {"restart", "stop the running tavok and start a new one at once", Restart},
    {"rotate", "rotate the current file, and return when that has happened", Rotate},
    {"status", "show the state of the running tavok and of its files", Status},
    {"tail", "print the end of the current file and follow it across rotations", Tail},
    {"trace", "collect and print the diagnostics of the library that tavok is built on", Trace},
};

void PrintUsage(std::FILE* to) {
  std::fprintf(to, "Usage: tavokctl COMMAND [OPTIONS]\nCommands:\n");
  for (const CCommand& command : kCommands) {
    std::fprintf(to, "  %-8s %s\n", command.name, command.summary);
  }
  std::fprintf(to,
               "tavokctl COMMAND --help lists the options of a command.\n"
               "The configuration is %s unless -c FILE names another.\n"
               "Exit status: 0 success, 1 failure, 2 wrong use.\n",
               kDefaultConfig);
}

const CCommand* Find(const std::string& name) {
  for (const CCommand& command : kCommands) {
    if (name == command.name) return &command;
  }
  return nullptr;
}

// A command whose output is lost has failed.
int Flushed(int status) {
  if (std::fflush(stdout) == 0) return status;
  throw CFailure("write standard output", errno);
}

int Run(const CCommand& command, int argc, char** argv) {
  try {
    return Flushed(command.run(argc, argv));
  } catch (const CWrongUse& e) {
    std::fprintf(stderr, "tavokctl %s: %s\nTry tavokctl %s --help.\n", command.name, e.what(),
                 command.name);
    return kWrongUse;
  } catch (const std::exception& e) {
    (void)std::fflush(stdout);
    std::fprintf(stderr, "tavokctl %s: %s\n", command.name, e.what());
    return kFailed;
  }
}

}  // namespace

int main(int argc, char** argv) {
  SecureStandardStreams();  // so that no file opened here becomes one of them
  (void)::signal(SIGPIPE, SIG_DFL);
  const std::string word = argc > 1 ? argv[1] : "";
  if (const CCommand* const command = Find(word)) return Run(*command, argc - 1, argv + 1);
  if (word == "--help" || word == "-h") {
    PrintUsage(stdout);
  } else if (word == "--version") {
    std::puts("tavokctl " TAVOK_VERSION);
  } else {
    if (argc > 1) std::fprintf(stderr, "tavokctl: unknown command %s\n", word.c_str());
    PrintUsage(stderr);
    return kWrongUse;
  }
  return std::fflush(stdout) == 0 ? kDone : kFailed;
}
