#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

/// Whether this machine has strace.
bool HasStrace();

/// Counts the system calls of all threads of some processes during `action`. strace slows them down
/// by far, so that only a load that waits for them is worth counting. `table`: a path for a file of
/// its own. If `written` names files, only writes to them count. Throws std::runtime_error if a
/// thread cannot be traced.
long CountedCalls(const std::vector<pid_t>& pids, const std::string& table,
                  const std::vector<std::filesystem::path>& written,
                  const std::function<void()>& action);
