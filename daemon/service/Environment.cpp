#include "Environment.h"

#include <unistd.h>

#include <charconv>
#include <cstdlib>

std::string TakeVariable(const char* name) {
  const char* const value = std::getenv(name);
  std::string text = value == nullptr ? "" : value;
  (void)::unsetenv(name);
  return text;
}

std::uint64_t NumberOf(const std::string& text) {
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  return read.ec == std::errc() && read.ptr == end ? number : 0;
}

bool IsThisProcess(const std::string& pid) {
  return NumberOf(pid) == static_cast<std::uint64_t>(::getpid());
}
