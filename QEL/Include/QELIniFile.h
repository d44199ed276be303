#pragma once

#include <map>
#include <string>

#include "QELRefCount.h"
#include "QELString.h"

namespace qel {

/// The text of an INI file as named sections of key/value pairs, all byte strings, looked up
/// without regard to letter case. One thread builds it; once shared, it is not modified and any
/// number of threads read it.
class CIniFile : public CRefCountNumber {
 public:
  /// The keys and values under one header.
  class CSection : public CRefCountNumber {
   public:
    using Map = std::map<std::string, std::string, LessStrings>;

    /// The key's value, owned by the section; null when the key is missing.
    const std::string* FindValue(const std::string& key) const;

    /// All entries in key order, each key in the letter case of its first appearance.
    const Map& Entries() const { return m_entries; }

   private:
    friend class CIniFile;

    Map m_entries;
  };

  using Map = std::map<std::string, CRefCount<CSection>, LessStrings>;

  /// Adds what the text holds, up to its first NUL. Always returns true: a line that does not fit
  /// is skipped.
  ///
  /// Lines end in LF; a CR is dropped wherever it stands. Blanks (space, tab) around lines, names,
  /// keys and values are dropped. A line that begins with # is a comment. [name] starts a section
  /// afresh, even if it was there before. Below a header, `key = value` sets a key, as does `key`
  /// alone, to the empty value; the last line for a key wins. There is no quoting and no escape.
  bool ParseText(const std::string& text);

  /// A handle to the section; empty when it is missing.
  CRefCount<CSection> FindSection(const std::string& name) const;

  /// All sections in name order, each name in the letter case of its first appearance.
  const Map& Sections() const { return m_sections; }

 private:
  void ParseLine(const std::string& line, CRefCount<CSection>& current);

  Map m_sections;
};

/// Whether both hold the same names, keys and values, byte for byte: letter case counts.
bool operator==(const CIniFile& a, const CIniFile& b);

}  // namespace qel
