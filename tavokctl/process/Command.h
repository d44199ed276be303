#pragma once

#include <string>
#include <vector>

/// The parts of the command that starts a tavok.

/// A private semaphore set of one, for tavok to raise when it is up. The destructor removes it.
class CSemaphore {
 public:
  /// Throws CFailure, "make a semaphore set: ...".
  CSemaphore();
  CSemaphore(const CSemaphore&) = delete;
  CSemaphore& operator=(const CSemaphore&) = delete;
  ~CSemaphore();

  int Id() const { return m_id; }
  bool IsRaised() const;

 private:
  const int m_id;
};

/// The path of the tavok in the directory of this program, or in ../sbin of it. Throws CFailure.
std::string FindProgram();

/// The program's name and the arguments; `options` come before the configuration and the set.
std::vector<std::string> CommandWords(const std::string& config,
                                      const std::vector<std::string>& options,
                                      const CSemaphore& semaphore);

/// Pointers to the words, as exec takes them; they must outlive these.
std::vector<char*> Arguments(std::vector<std::string>& words);
