#pragma once

#include <string>
#include <string_view>

/// What the commands print. In a file or a pipe it is byte for byte what they were given. On a
/// terminal, bytes that could control it become question marks: senders choose the text of the
/// logs, and anybody the name of a file.

/// Makes text fit for a terminal, in pieces that may end within a character. Kept are TAB, LF and
/// the characters of UTF-8 but for the control characters, those from U+0080 to U+009F included.
class CPrintable {
 public:
  /// The next piece; an incomplete character at its end is kept for the next.
  std::string Take(std::string_view text);

  /// The rest: an incomplete character.
  std::string End();

 private:
  std::string m_rest;
};

/// The whole of a text, made fit.
std::string Printable(std::string_view text);

/// The text as it may be printed to a standard stream: made fit if that is a terminal.
std::string ForOutput(std::string_view text);
std::string ForErrors(std::string_view text);

/// Prints a text, as it is, to standard output, with the buffer of stdio. A failure is left to
/// FlushOutput to tell.
void Print(const std::string& text);

/// The same for a line, made fit if that is a terminal.
void Say(std::string_view line);

/// Prints a line to standard error.
void Complain(std::string_view line);

/// Empties the buffer of standard output. A failure is left to FlushOutput to tell.
void PushOutput();

/// The same, but throws CFailure, "write standard output: ...", for this and all earlier failures.
void FlushOutput();

/// Standard output for the text of the logs, without a buffer. Make one only.
class CTextOutput {
 public:
  CTextOutput();

  /// Waits as long as the reader takes nothing. Throws CFailure, "write standard output: ...".
  void Write(const char* text, std::size_t size);

  /// Writes an incomplete character that the text has ended with.
  void End();

 private:
  const bool m_isTerminal;
  CPrintable m_printable;
};
