#include "process/Command.h"

#include <sys/sem.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "base/Failure.h"

CSemaphore::CSemaphore() : m_id(::semget(IPC_PRIVATE, 1, 0600)) {
  if (m_id == -1) throw CFailure("make a semaphore set", errno);
}

CSemaphore::~CSemaphore() { (void)::semctl(m_id, 0, IPC_RMID); }

bool CSemaphore::IsRaised() const { return ::semctl(m_id, 0, GETVAL) > 0; }

std::string FindProgram() {
  std::error_code error;
  std::string directory = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) throw CFailure("find the program tavok: read /proc/self/exe", error.value());
  directory.resize(directory.rfind('/') + 1);
  for (const char* const place : {"tavok", "../sbin/tavok"}) {
    if (::access((directory + place).c_str(), X_OK) == 0) return directory + place;
  }
  throw CFailure("find the program tavok: neither in " + directory + " nor in " + directory +
                 "../sbin");
}

std::vector<std::string> CommandWords(const std::string& config,
                                      const std::vector<std::string>& options,
                                      const CSemaphore& semaphore) {
  std::vector<std::string> words{"tavok"};
  words.insert(words.end(), options.begin(), options.end());
  // Ours come last: the last of a repeated option counts.
  words.insert(words.end(), {"-c", config, "-s", std::to_string(semaphore.Id())});
  return words;
}

std::vector<char*> Arguments(std::vector<std::string>& words) {
  std::vector<char*> arguments(words.size() + 1, nullptr);
  std::transform(words.begin(), words.end(), arguments.begin(),
                 [](std::string& word) { return word.data(); });
  return arguments;
}
