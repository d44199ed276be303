#include "base/Output.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <utility>

#include "base/Failure.h"

namespace {

int pushError = 0;

std::uint8_t ByteAt(std::string_view text, std::size_t at) {
  return static_cast<std::uint8_t>(text[at]);
}

// The length of the character that begins with a byte; 0 if none does.
std::size_t LengthFrom(std::uint8_t first) {
  if (first < 0x80) return 1;
  if (first < 0xC2 || first > 0xF4) return 0;
  return first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
}

// The range of the second byte is narrower where a character would be written longer than need be,
// be half of a pair, or lie above U+10FFFF; where it would be a control character, too.
bool IsSecond(std::uint8_t first, std::uint8_t second) {
  const std::uint8_t least = first == 0xC2 || first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
  const std::uint8_t most = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
  return second >= least && second <= most;
}

bool IsControl(std::uint8_t byte) {
  return (byte < ' ' && byte != '\n' && byte != '\t') || byte == 0x7F;
}

// How many of the first bytes are a character that may be printed, whole or up to the end of the
// text; 0 if the first byte begins none.
std::size_t GoodLength(std::string_view text) {
  const std::uint8_t first = ByteAt(text, 0);
  const std::size_t length = LengthFrom(first);
  if (length == 1) return IsControl(first) ? 0 : 1;
  for (std::size_t i = 1; i < length && i < text.size(); ++i) {
    const std::uint8_t byte = ByteAt(text, i);
    if (i == 1 ? !IsSecond(first, byte) : (byte & 0xC0) != 0x80) return 0;
  }
  return length;
}

// How many bytes one question mark stands for.
std::size_t BadLength(std::string_view text) {
  const bool isC1 = text.size() > 1 && ByteAt(text, 0) == 0xC2 && (ByteAt(text, 1) & 0xC0) == 0x80;
  return isC1 ? 2 : 1;
}

std::string ForStream(int fd, std::string_view text) {
  return ::isatty(fd) == 1 ? Printable(text) : std::string(text);
}

void WriteAll(const char* text, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(STDOUT_FILENO, text, size);
    const int error = errno;
    if (written == -1 && error == EINTR) continue;
    // Another process that shares the output may have made it non-blocking.
    if (written == -1 && error == EAGAIN) {
      pollfd entry{STDOUT_FILENO, POLLOUT, 0};
      (void)::poll(&entry, 1, -1);
      continue;
    }
    if (written == -1) throw CFailure("write standard output", error);
    text += written;
    size -= static_cast<std::size_t>(written);
  }
}

}  // namespace

std::string CPrintable::Take(std::string_view text) {
  std::string given = std::exchange(m_rest, {});
  given += text;
  std::string printable;
  for (std::string_view left = given; !left.empty();) {
    const std::size_t length = GoodLength(left);
    if (length > left.size()) {
      m_rest = left;
      break;
    }
    printable += length == 0 ? "?" : left.substr(0, length);
    left.remove_prefix(length == 0 ? BadLength(left) : length);
  }
  return printable;
}

std::string CPrintable::End() { return std::string(std::exchange(m_rest, {}).size(), '?'); }

std::string Printable(std::string_view text) {
  CPrintable printable;
  const std::string all = printable.Take(text);
  return all + printable.End();
}

std::string ForOutput(std::string_view text) { return ForStream(STDOUT_FILENO, text); }

std::string ForErrors(std::string_view text) { return ForStream(STDERR_FILENO, text); }

void Print(const std::string& text) {
  if (std::fputs(text.c_str(), stdout) == EOF && pushError == 0) pushError = errno;
}

void Say(std::string_view line) { Print(ForOutput(line) + "\n"); }

void Complain(std::string_view line) {
  (void)std::fprintf(stderr, "%s\n", ForErrors(line).c_str());
}

void PushOutput() {
  if (std::fflush(stdout) != 0 && pushError == 0) pushError = errno;
  // What others have written to stdio, and it dropped, before.
  if (pushError == 0 && std::ferror(stdout) != 0) pushError = EIO;
}

void FlushOutput() {
  PushOutput();
  std::clearerr(stdout);  // each failure is told once
  if (pushError != 0) throw CFailure("write standard output", std::exchange(pushError, 0));
}

CTextOutput::CTextOutput() : m_isTerminal(::isatty(STDOUT_FILENO) == 1) {}

void CTextOutput::Write(const char* text, std::size_t size) {
  if (!m_isTerminal) return WriteAll(text, size);
  const std::string printable = m_printable.Take({text, size});
  WriteAll(printable.data(), printable.size());
}

void CTextOutput::End() {
  const std::string rest = m_printable.End();
  WriteAll(rest.data(), rest.size());
}
