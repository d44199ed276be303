#pragma once

#include <fstream>

#include "QELDateTime.h"
#include "QELSocket.h"
#include "Settings.h"

// What a target does with one input.
void Try(const std::string& input);

// Each target is one source. NOLINTNEXTLINE(misc-definitions-in-headers)
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Try({data, data + size});
  return 0;
}

// If it does not, the fuzzer reports a crash and keeps the input.
inline void Require(bool holds) { return holds ? void() : std::abort(); }

// What follows the first NUL, or the same text if there is none: a second text of each input.
inline std::string Second(const std::string& input) { return input.substr(input.find('\0') + 1); }
