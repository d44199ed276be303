#pragma once

#include <set>
#include <string>

// A new directory below `top`, removed with all that is in it when the object goes.
class TempDir {
 public:
  explicit TempDir(const std::string& top = "/tmp");
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir();

  const std::string& Path() const { return m_path; }
  std::string operator/(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;
};

void WriteFile(const std::string& path, const std::string& text);

// The content of a file; empty when it cannot be read.
std::string ReadFile(const std::string& path);

// The names of a daemon's log files, oldest first, in the directory "log" below `dir`.
std::set<std::string> LogFiles(const TempDir& dir);

// All text in these files, in order.
std::string Logged(const TempDir& dir);
