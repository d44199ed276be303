#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <sstream>
#include <string>

#include "QELIniFile.h"
#include "QELString.h"

namespace {

constexpr const char* kDirectory = "/var/log/tavok/";
constexpr const char* kStamp = "20240131_235959";

void Format(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(qel::QELSPrintf("%s%s%s.log", kDirectory, "tavok_", kStamp));
  }
}
BENCHMARK(Format);

void Format_Snprintf(benchmark::State& state) {
  for (auto _ : state) {
    char text[256];
    (void)std::snprintf(text, sizeof text, "%s%s%s.log", kDirectory, "tavok_", kStamp);
    benchmark::DoNotOptimize(std::string(text));
  }
}
BENCHMARK(Format_Snprintf);

// A megabyte of sections with 20 keys each.
const std::string& IniText() {
  static const std::string text = [] {
    std::string made;
    for (int section = 0; made.size() < 1'000'000; ++section) {
      made += "[Section" + std::to_string(section) + "]\n# a remark\n";
      for (int key = 0; key < 20; ++key) {
        made += "Key" + std::to_string(key) + " = the value of key " + std::to_string(key) + "\n";
      }
    }
    return made;
  }();
  return text;
}

void CountBytes(benchmark::State& state) {
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(IniText().size()));
}

void IniParse(benchmark::State& state) {
  for (auto _ : state) {
    qel::CIniFile file;
    file.ParseText(IniText());
    benchmark::DoNotOptimize(file.Sections().size());
  }
  CountBytes(state);
}
BENCHMARK(IniParse);

// Lines into nested maps: no blanks dropped, no letter case ignored.
void IniParse_Getline(benchmark::State& state) {
  for (auto _ : state) {
    std::map<std::string, std::map<std::string, std::string>> sections;
    std::map<std::string, std::string>* section = nullptr;
    std::istringstream lines(IniText());
    for (std::string line; std::getline(lines, line);) {
      if (line.empty() || line[0] == '#') continue;
      if (line[0] == '[') {
        section = &sections[line.substr(1, line.find(']') - 1)];
      } else if (const std::size_t equals = line.find('='); equals != std::string::npos) {
        (*section)[line.substr(0, equals)] = line.substr(equals + 1);
      }
    }
    benchmark::DoNotOptimize(sections.size());
  }
  CountBytes(state);
}
BENCHMARK(IniParse_Getline);

}  // namespace
