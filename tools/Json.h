#pragma once

#include <concepts>
#include <string>

/// Text of a flat JSON object, one member to a line, in the order of the calls.
class CJsonObject {
 public:
  /// Bytes that are no UTF-8 are passed on as they are.
  void Add(const std::string& name, const std::string& text) { AddRaw(name, Quoted(text)); }
  void Add(const std::string& name, bool flag) { AddRaw(name, flag ? "true" : "false"); }

  template <std::integral Number>
  requires(!std::same_as<Number, bool>) void Add(const std::string& name, Number number) {
    AddRaw(name, std::to_string(number));
  }

  std::string Text() const { return "{\n" + m_members + "\n}"; }

 private:
  void AddRaw(const std::string& name, const std::string& value) {
    m_members += (m_members.empty() ? "  " : ",\n  ") + Quoted(name) + ": " + value;
  }
  static std::string Quoted(const std::string& text);

  std::string m_members;
};
