#pragma once

#include <strings.h>

#include <cstdarg>
#include <cstddef>
#include <string>

/// Formatting and text conversion. Every function here is reentrant: it touches its arguments and
/// its stack only. None reports an error: formatting cuts, conversions substitute. Running out of
/// memory throws std::bad_alloc. An `out` loses what it held.
namespace qel {

/// Ordering of keys without regard to the case of ASCII letters; other bytes compare by value.
/// A string ends at its first NUL. Keys that differ only in case are the same key.
struct LessStrings {
  bool operator()(const std::string& a, const std::string& b) const noexcept {
    return ::strcasecmp(a.c_str(), b.c_str()) < 0;
  }
};

/// Size of the work area in which text is formatted, terminating NUL included.
inline constexpr std::size_t QELFormatSize = 20480;

/// Returns the text that printf would print, cut after 20479 characters without notice: every
/// message and file name of the system is far shorter.
std::string QELSPrintf(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// The same, replacing what `out` held. `out` may itself be among the arguments.
void QELSPrintf(std::string& out, const char* format, ...) __attribute__((format(printf, 2, 3)));

/// The same for a function that has variable arguments of its own.
void QELVSPrintf(std::string& out, const char* format, va_list args)
    __attribute__((format(printf, 2, 0)));

/// Decodes UTF-8, embedded NULs included. Deliberately lenient: a stray continuation byte and the
/// bytes 0xF8 to 0xFF become the character `byte & 0x7F`, overlong forms and surrogates are taken
/// as computed, and a sequence cut off by the end of the input is dropped.
void FromUtf8(const std::string& in, std::wstring& out);

/// Encodes the low 16 bits of each character as UTF-8, surrogate values like any other. Characters
/// above U+FFFF are thus cut; no sequence is longer than three bytes.
void ToUtf8(const std::wstring& in, std::string& out);

/// Widens `count` bytes one by one, each to the character of the same value (Latin-1).
void ToWide(const char* in, std::size_t count, std::wstring& out);

/// Narrows `count` characters one by one: those below 256, negative ones too, to their low byte,
/// every other one to 0xFF.
void FromWide(const wchar_t* in, std::size_t count, std::string& out);

}  // namespace qel
