#include "Tavok.h"

#include <sys/ipc.h>
#include <sys/sem.h>

#include <filesystem>

#include "Check.h"
#include "Files.h"
#include "Waiting.h"

SemaphoreSet::SemaphoreSet() : m_id(::semget(IPC_PRIVATE, 1, 0600)) { Check(m_id != -1, "semget"); }

SemaphoreSet::~SemaphoreSet() { ::semctl(m_id, 0, IPC_RMID); }

int SemaphoreSet::Value() const { return ::semctl(m_id, 0, GETVAL); }

bool SemaphoreSet::IsRaised() const {
  // Both at once: the value stays as it is.
  sembuf takeAndGiveBack[] = {{0, -1, 0}, {0, 1, 0}};
  const timespec limit{0, 20'000'000};
  return ::semtimedop(m_id, takeAndGiveBack, 2, &limit) == 0;
}

namespace {

// Writes the configuration, and returns the words of the command that reads it.
std::vector<std::string> PreparedCommand(const std::string& directory, const TavokSetup& setup,
                                         int semaphore) {
  const std::string top = directory + "/";
  WriteFile(top + "conf", "[LogServer]\nDirName=" + top + "log\nPidFileName=" + top +
                              "pid\nPort=" + top + "socket\n" + setup.settings);
  const std::string id = std::to_string(semaphore);
  const std::string prefix = setup.prefix + " " + TestPrefix();
  if (prefix == " " && setup.arguments.empty()) return {setup.program, "-c", "conf", "-s", id};
  const std::filesystem::path program = setup.program;
  return ShellWords("PATH=" + program.parent_path().string() + ":$PATH; exec " + prefix + " " +
                    program.filename().string() + " -c conf -s " + id + " " + setup.arguments);
}

ProcessSetup ProcessSetupOf(const std::string& directory, const TavokSetup& setup) {
  const std::string output = directory + "/output";
  return {directory, output, output, setup.beforeExec};
}

}  // namespace

Tavok::Tavok(const std::string& directory, const TavokSetup& setup)
    : Process(PreparedCommand(directory, setup, SetId()), ProcessSetupOf(directory, setup)),
      m_output(directory + "/output") {}

bool Tavok::IsUp() const {
  return Eventually([this] { return IsRaised() || HasEnded(); }) && Semaphore() == 1;
}

std::string Tavok::Output() const { return ReadFile(m_output); }

bool Tavok::Says(const std::string& text) const {
  return Eventually([&] { return Output().find(text) != std::string::npos; });
}
