#include "Json.h"

#include "QELString.h"

std::string CJsonObject::Quoted(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      quoted += {'\\', c};
    } else if (static_cast<unsigned char>(c) < ' ') {
      quoted += qel::QELSPrintf("\\u%04x", static_cast<unsigned>(c));
    } else {
      quoted += c;
    }
  }
  return quoted + '"';
}
