#pragma once

#include <string>

#include "QELObject.h"

/// The library reports a failed system call by throwing. Exceptions are thrown by value and caught
/// by reference; the error text is deliberately the number alone.
namespace qel {

/// Root of the exceptions.
class QELExcep : public QELObject {
 public:
  QELExcep() = default;
  explicit QELExcep(std::string message);
  QELExcep(const QELExcep&) = default;
  QELExcep& operator=(const QELExcep&) = default;
  virtual ~QELExcep();

  std::string m_strMessage;
};

/// A failed system call.
class QELApiExcep : public QELExcep {
 public:
  /// `code` is an errno value; the message becomes BuildErrorString(code).
  explicit QELApiExcep(long code);

  /// "Error (<code>)", the code as a signed 32-bit number.
  static std::string BuildErrorString(long code);

  long m_nCode;
};

/// Mix-in of objects that remember their last error.
class QELError {
 public:
  // A socket's destructor may unwind a cancelled thread, and it overrides this one.
  virtual ~QELError() noexcept(false);

  /// errno of the last failure, 0 when there was none. Stays set after the throw.
  int m_nErrorCode = 0;
};

/// A failed socket call.
class QELSocketExcep : public QELApiExcep {
 public:
  /// Takes the code that the socket (any QELError) remembers. With `trace`, the message is traced
  /// once, here; copies trace nothing.
  QELSocketExcep(const QELError& socket, bool trace);
};

/// Throws a QELSocketExcep made as above.
[[noreturn]] void ThrowQELSocketExcep(const QELError& socket, bool trace);

/// Thrown inside a thread to unwind it when it is being stopped. Code that catches everything must
/// rethrow it.
class CCancelThreadExcep {};

}  // namespace qel
