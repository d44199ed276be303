#pragma once

#include <memory>
#include <string>

#include "base/Descriptor.h"

/// A lock between the processes of one user, or of root. It is a file that nobody else may open, so
/// that no stranger can hold it up. It is removed with the lock; one that a killed process has left
/// does no harm.
class CLock {
 public:
  /// Waits at most `seconds` for another holder; throws CFailure, "lock <path>: ...", if that takes
  /// longer. Null, after saying so on standard error, if there can be no such file: it cannot be
  /// made there, or a stranger has been first.
  static std::unique_ptr<CLock> Take(const std::string& path, unsigned seconds);

  CLock(const CLock&) = delete;
  CLock& operator=(const CLock&) = delete;

  /// Removes the file.
  ~CLock();

 private:
  CLock(const std::string& path, CDescriptor file) : m_path(path), m_file(std::move(file)) {}

  const std::string m_path;
  const CDescriptor m_file;
};
