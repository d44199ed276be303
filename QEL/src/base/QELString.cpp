#include "QELString.h"

#include <cstdint>
#include <cstdio>

namespace qel {
namespace {

constexpr unsigned char Byte(char c) { return static_cast<unsigned char>(c); }

// A sequence that has been announced by its first byte: the bits so far, and how many more bytes.
struct Utf8Sequence {
  std::uint32_t bits;
  unsigned expected;
};

Utf8Sequence BeginSequence(unsigned char byte) {
  if ((byte & 0xE0) == 0xC0) return {byte & 0x1Fu, 1};
  if ((byte & 0xF0) == 0xE0) return {byte & 0x0Fu, 2};
  if ((byte & 0xF8) == 0xF0) return {byte & 0x07u, 3};
  return {byte & 0x7Fu, 0};
}

void AppendUtf8(std::uint16_t c, std::string& out) {
  const auto put = [&out](unsigned byte) { out.push_back(static_cast<char>(byte)); };
  if (c < 0x80u) return put(c);
  if (c < 0x800u) {
    put(0xC0u | (c >> 6));
  } else {
    put(0xE0u | (c >> 12));
    put(0x80u | ((c >> 6) & 0x3Fu));
  }
  put(0x80u | (c & 0x3Fu));
}

}  // namespace

std::string QELSPrintf(const char* format, ...) {
  std::string out;
  va_list args;
  va_start(args, format);
  QELVSPrintf(out, format, args);
  va_end(args);
  return out;
}

void QELSPrintf(std::string& out, const char* format, ...) {
  va_list args;
  va_start(args, format);
  QELVSPrintf(out, format, args);
  va_end(args);
}

void QELVSPrintf(std::string& out, const char* format, va_list args) {
  char text[QELFormatSize];
  text[0] = '\0';  // the result when vsnprintf rejects the arguments
  (void)std::vsnprintf(text, sizeof text, format, args);
  out = text;
}

void FromUtf8(const std::string& in, std::wstring& out) {
  out.clear();
  out.reserve(in.size());
  Utf8Sequence sequence{0, 0};
  for (const char c : in) {
    if (sequence.expected > 0) {
      sequence = {sequence.bits * 64 + (Byte(c) & 0x3Fu), sequence.expected - 1};
    } else {
      sequence = BeginSequence(Byte(c));
    }
    if (sequence.expected == 0) out.push_back(static_cast<wchar_t>(sequence.bits));
  }
}

void ToUtf8(const std::wstring& in, std::string& out) {
  out.clear();
  out.reserve(in.size() * 2);
  for (const wchar_t c : in) AppendUtf8(static_cast<std::uint16_t>(c), out);
}

void ToWide(const char* in, std::size_t count, std::wstring& out) {
  out.clear();
  out.reserve(count);
  for (std::size_t i = 0; i < count; ++i) out.push_back(static_cast<wchar_t>(Byte(in[i])));
}

void FromWide(const wchar_t* in, std::size_t count, std::string& out) {
  out.clear();
  out.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    // The comparison is signed even where wchar_t is unsigned.
    // A wchar_t is not a char. NOLINTNEXTLINE(bugprone-signed-char-misuse)
    const auto value = static_cast<std::int32_t>(in[i]);
    out.push_back(value < 256 ? static_cast<char>(value) : '\xFF');
  }
}

}  // namespace qel
