#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "Commands.h"
#include "Process.h"
#include "base/Failure.h"
#include "base/Output.h"
#include "base/Suggestion.h"
#include "config/Config.h"

namespace {

struct CCommand {
  const char* name;
  const char* summary;
  int (*run)(int argc, char** argv);
  bool isAct = false;  // it goes on though nobody reads what it prints
};

int Help(int argc, char** argv);

constexpr CCommand kCommands[] = {
    {"check", "read a configuration as tavok would, and warn of what tavok accepts silently",
     Check},
    {"prepare", "make the directories of a configuration for the user that tavok will have",
     Prepare},
    {"start", "start tavok in the background, and return when it is up", Start, true},
    {"stop", "stop the running tavok, and return when it has ended", Stop, true},
    {"restart", "stop the running tavok and start a new one at once", Restart, true},
    {"rotate", "rotate the current file, and return when that has happened", Rotate, true},
    {"status", "show the state of the running tavok, and what is wrong with it", Status},
    {"cat", "print all text that has been kept, or that of a time", Cat},
    {"tail", "print the end of the text and follow it across rotations", Tail},
    {"trace", "collect and print the diagnostics of the library that tavok is built on", Trace},
    {"help", "print this list, or the options of a command", Help},
};

void PrintUsage(std::FILE* to) {
  std::fprintf(to, "Usage: tavokctl COMMAND [OPTIONS]\nCommands:\n");
  for (const CCommand& command : kCommands) {
    std::fprintf(to, "  %-8s %s\n", command.name, command.summary);
  }
  std::fprintf(to,
               "tavokctl help COMMAND lists the options of a command.\n"
               "The configuration is %s unless -c FILE names another.\n"
               "Exit status: 0 success, 1 failure, 2 wrong use; of status, see there.\n",
               kDefaultConfig);
}

const CCommand* Find(const std::string& name) {
  for (const CCommand& command : kCommands) {
    if (name == command.name) return &command;
  }
  return nullptr;
}

int Run(const CCommand& command, std::vector<char*> words) {
  const std::string name = std::string("tavokctl ") + command.name;
  if (command.isAct) (void)::signal(SIGPIPE, SIG_IGN);
  try {
    const int status = command.run(static_cast<int>(words.size()) - 1, words.data());
    FlushOutput();  // a command whose output is lost has failed
    return status;
  } catch (const CWrongUse& e) {
    Complain(name + ": " + e.what());
    Complain("Try " + name + " --help.");
    return kWrongUse;
  } catch (const std::exception& e) {
    PushOutput();
    Complain(name + ": " + e.what());
    return kFailed;
  }
}

int RefuseCommand(const std::string& word) {
  std::vector<std::string> names(std::size(kCommands));
  std::transform(std::begin(kCommands), std::end(kCommands), names.begin(),
                 [](const CCommand& command) { return command.name; });
  const char* const what = word.starts_with('-') ? "option " : "command ";
  Complain("tavokctl: unknown " + (what + word) + Suggestion(word, names));
  Complain("Try tavokctl --help.");
  return kWrongUse;
}

int Help(int argc, char** argv) {
  static char option[] = "--help";
  const std::string word = argc > 1 ? argv[1] : "";
  const CCommand* const command = Find(word);
  if (word.empty() || word.starts_with("-c")) {
    PrintUsage(stdout);
  } else if (word == option || word == "-h") {
    Say("Usage: tavokctl help [COMMAND]\nPrints the options of a command, or a list of all.");
  } else if (command == nullptr) {
    return RefuseCommand(word);
  } else {
    if (argc > 2) throw CWrongUse(std::string("unexpected argument \"") + argv[2] + "\"");
    char* words[] = {argv[1], option, nullptr};
    return command->run(2, words);
  }
  return kDone;
}

// `words` begin with the command's name.
int RunWords(const std::vector<char*>& words) {
  const std::string word = words[0] == nullptr ? "" : words[0];
  if (const CCommand* const command = Find(word)) return Run(*command, words);
  if (word == "--help" || word == "-h") {
    PrintUsage(stdout);
  } else if (word == "--version") {
    Say("tavokctl " TAVOK_VERSION);
  } else if (word.empty()) {
    PrintUsage(stderr);
    return kWrongUse;
  } else {
    return RefuseCommand(word);
  }
  FlushOutput();
  return kDone;
}

// The option -c may come first: it then goes behind the command. Help does not need it.
std::vector<char*> Words(int argc, char** argv) {
  std::vector<char*> words(argv + 1, argv + argc);
  auto end = words.begin();
  while (end != words.end()) {
    const std::string word = *end;
    const bool isAlone = word == "-c" || word == "--config";
    if (!isAlone && !word.starts_with("-c") && !word.starts_with("--config=")) break;
    end += isAlone && end + 1 != words.end() ? 2 : 1;
  }
  if (end == words.end()) return {nullptr};
  if (std::string(*end) == "help") {
    words.erase(words.begin(), end);
  } else {
    std::rotate(words.begin(), end, end + 1);
  }
  words.push_back(nullptr);
  return words;
}

// What is written to a closed standard output is lost, and that has to be seen.
void KeepClosedOutputClosed() {
  if (::fcntl(STDOUT_FILENO, F_GETFD) != -1) return;
  const int readOnly = ::open("/dev/null", O_RDONLY);
  if (readOnly == -1 || readOnly == STDOUT_FILENO) return;
  (void)::dup2(readOnly, STDOUT_FILENO);
  (void)::close(readOnly);
}

}  // namespace

int main(int argc, char** argv) {
  KeepClosedOutputClosed();
  SecureStandardStreams();  // so that no file opened here becomes one of them
  for (const int signal : {SIGPIPE, SIGCHLD}) (void)::signal(signal, SIG_DFL);
  try {
    return RunWords(Words(argc, argv));
  } catch (const CFailure& e) {
    Complain(std::string("tavokctl: ") + e.what());
    return kFailed;
  }
}
