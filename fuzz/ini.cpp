// INI text: whatever was read can be written in the most awkward way, and is read again as it was.
#include "Fuzz.h"

std::string Upper(std::string s) { return std::ranges::transform(s, s.begin(), ::toupper), s; }

// With much that has to be dropped, and each name in capitals once it is known. This can be done
// with any parse: no key begins with #, and where one begins with [ no value ends with ].
std::string Written(const qel::CIniFile& file) {
  std::string text = "early=1";
  for (const auto& [name, section] : file.Sections()) {
    Require(file.FindSection(Upper(name)).Get() == section.Get() && !file.FindSection(name + "\n"));
    text += "\n[" + name + "]\nlost=1\n\t [\r\t " + Upper(name) + " ]\r ";
    for (const auto& [key, value] : section->Entries()) {
      Require(section->FindValue(Upper(key)) == &value && !section->FindValue(key + "\n"));
      // As it will be read. NOLINTNEXTLINE(performance-inefficient-string-concatenation)
      text += "\n" + key + "\t= x=\n\r #" + key + "=x\n" + Upper(key) + "\t =\r " + value + " ";
    }
  }
  return text;
}

void Try(const std::string& input) {
  qel::CIniFile file, next, again;
  Require(file.ParseText(input) && next.ParseText(Second(input)));
  Require(again.ParseText(Written(file)) && again == file);
  Require((file == next) == (Written(file) == Written(next)));
}
