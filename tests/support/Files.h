#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "Check.h"

// A new directory below `top`, removed with all that is in it when the object goes.
class TempDir {
 public:
  explicit TempDir(const std::string& top = "/tmp") : m_path(top + "/tavok-test-XXXXXX") {
    Check(::mkdtemp(m_path.data()) != nullptr, m_path);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }

  const std::string& Path() const { return m_path; }
  std::string operator/(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;
};

inline void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

// The content of a file; empty when it cannot be read.
inline std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline long CountEntries(const std::string& directory) {
  const std::filesystem::directory_iterator entries(directory);
  return std::distance(begin(entries), end(entries));
}

// The names of a daemon's log files, oldest first, in the directory "log" below `dir`.
inline std::set<std::string> LogFiles(const TempDir& dir) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir / "log")) {
    names.insert(entry.path().filename());
  }
  return names;
}

// All text in these files, in order.
inline std::string Logged(const TempDir& dir) {
  std::string text;
  for (const std::string& name : LogFiles(dir)) text += ReadFile(dir / ("log/" + name));
  return text;
}
