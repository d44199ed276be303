#include <atomic>
#include <cstdio>
#include <map>
#include <memory>
#include <sstream>

#include "Piece.h"
#include "QELIniFile.h"
#include "QELRefCount.h"
#include "QELString.h"

namespace {

struct Counted : CRefCountNumber {};

void AddHandles() {
  Piece("HandleCopyAndDrop",
        [] { return [handle = CRefCount<Counted>(new Counted)] { return handle; }; });
  Piece("HandleCopyAndDrop_SharedPtr",
        [] { return [handle = std::make_shared<int>(1)] { return handle; }; });
  Piece("LockedHandleGet", [] {
    static CLockedRefCount<Counted> slot;
    slot.Set(new Counted);
    return [] { return slot.Get(); };
  });
  Piece("LockedHandleGet_AtomicSharedPtr", [] {
    static const std::atomic<std::shared_ptr<int>> slot(std::make_shared<int>(1));
    return [] { return slot.load(); };
  });
}

constexpr const char* kDirectory = "/var/log/tavok/";
constexpr const char* kStamp = "20240131_235959";

std::string PlainlyFormatted() {
  char text[256];
  (void)std::snprintf(text, sizeof text, "%s%s%s.log", kDirectory, "tavok_", kStamp);
  return text;
}

// A megabyte of sections with 20 keys each.
std::string IniText() {
  std::string text;
  for (int section = 0; text.size() < 1'000'000; ++section) {
    text += "[Section" + std::to_string(section) + "]\n# a remark\n";
    for (int key = 0; key < 20; ++key) {
      text += "Key" + std::to_string(key) + " = the value of key " + std::to_string(key) + "\n";
    }
  }
  return text;
}

// Lines into nested maps: no blanks dropped, no letter case ignored.
std::size_t PlainlyParsed(const std::string& text) {
  std::map<std::string, std::map<std::string, std::string>> sections;
  std::map<std::string, std::string>* section = nullptr;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.empty() || line[0] == '#') continue;
    if (line[0] == '[') {
      section = &sections[line.substr(1, line.find(']') - 1)];
    } else if (const std::size_t equals = line.find('='); equals != std::string::npos) {
      (*section)[line.substr(0, equals)] = line.substr(equals + 1);
    }
  }
  return sections.size();
}

std::size_t Parsed(const std::string& text) {
  qel::CIniFile file;
  file.ParseText(text);
  return file.Sections().size();
}

}  // namespace

void AddLibraryPieces() {
  AddHandles();
  Piece("Format",
        [] { return [] { return qel::QELSPrintf("%s%s%s.log", kDirectory, "tavok_", kStamp); }; });
  Piece("Format_Snprintf", [] { return PlainlyFormatted; });
  Piece("IniParse", [] { return [text = IniText()] { return Parsed(text); }; });
  Piece("IniParse_Getline", [] { return [text = IniText()] { return PlainlyParsed(text); }; });
}
