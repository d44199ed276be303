#include "Files.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "Check.h"

namespace fs = std::filesystem;

TempDir::TempDir(const std::string& top) : m_path(top + "/tavok-test-XXXXXX") {
  Check(::mkdtemp(m_path.data()) != nullptr, m_path);
}

TempDir::~TempDir() {
  std::error_code ignored;
  fs::remove_all(m_path, ignored);
}

void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::set<std::string> LogFiles(const TempDir& dir) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(dir / "log")) {
    names.insert(entry.path().filename());
  }
  return names;
}

std::string Logged(const TempDir& dir) {
  std::string text;
  for (const std::string& name : LogFiles(dir)) text += ReadFile(dir / ("log/" + name));
  return text;
}
