#include <signal.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "Command.h"
#include "Process.h"

namespace {

struct CCommand {
  const char* name;
  const char* summary;
  int (*run)(int argc, char** argv);
};

constexpr CCommand kCommands[] = {
    {"check", "read a configuration as tavok would, and warn of what tavok takes silently", Check},
    {"start", "start tavok in the background, and return when it is up", Start},
    {"stop", "stop the running tavok, and return when it has ended", Stop},
    {"rotate", "rotate the current file, and return when that has happened", Rotate},
    {"status", "show what there is to know about the running tavok and its files", Status},
    {"tail", "print the end of the current file and follow it across rotations", Tail},
    {"trace", "collect and print the diagnostics of the library that tavok is built on", Trace},
};

void PrintUsage(std::FILE* to) {
  std::fprintf(to, "Usage: tavokctl COMMAND [OPTIONS]\nCommands:\n");
  for (const CCommand& command : kCommands) {
    std::fprintf(to, "  %-8s %s\n", command.name, command.summary);
  }
  std::fprintf(to,
               "tavokctl COMMAND --help tells the options of a command.\n"
               "The configuration is %s unless -c FILE names another.\n"
               "Status: 0 done, 1 failed, 2 wrong use.\n",
               kDefaultConfig);
}

const CCommand* Find(const std::string& name) {
  for (const CCommand& command : kCommands) {
    if (name == command.name) return &command;
  }
  return nullptr;
}

// A result that nobody gets is a failure, too.
int Flushed(int status) {
  if (std::fflush(stdout) == 0) return status;
  throw CFailure("write the standard output", errno);
}

int Run(const CCommand& command, int argc, char** argv) {
  try {
    return Flushed(command.run(argc, argv));
  } catch (const CWrongUse& e) {
    std::fprintf(stderr, "tavokctl %s: %s\ntavokctl %s --help tells more.\n", command.name,
                 e.what(), command.name);
    return kWrongUse;
  } catch (const std::exception& e) {
    (void)std::fflush(stdout);
    std::fprintf(stderr, "tavokctl %s: %s\n", command.name, e.what());
    return kFailed;
  }
}

}  // namespace

int main(int argc, char** argv) {
  SecureStandardStreams();  // no file that is opened here becomes one of them
  (void)::signal(SIGPIPE, SIG_DFL);
  const std::string word = argc > 1 ? argv[1] : "";
  if (const CCommand* const command = Find(word)) return Run(*command, argc - 1, argv + 1);
  if (word == "--help" || word == "-h") {
    PrintUsage(stdout);
  } else if (word == "--version") {
    std::puts("tavokctl " TAVOK_VERSION);
  } else {
    if (argc > 1) std::fprintf(stderr, "tavokctl: there is no command %s\n", word.c_str());
    PrintUsage(stderr);
    return kWrongUse;
  }
  return std::fflush(stdout) == 0 ? kDone : kFailed;
}
