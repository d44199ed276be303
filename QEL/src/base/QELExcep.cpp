#include "QELExcep.h"

#include <utility>

#include "QELString.h"
#include "QELTrace.h"

namespace qel {

QELExcep::QELExcep(std::string message) : m_strMessage(std::move(message)) {}

QELExcep::~QELExcep() = default;

QELApiExcep::QELApiExcep(long code) : QELExcep(BuildErrorString(code)), m_nCode(code) {}

std::string QELApiExcep::BuildErrorString(long code) {
  return QELSPrintf("Error (%d)", static_cast<int>(code));
}

QELError::~QELError() noexcept(false) = default;

QELSocketExcep::QELSocketExcep(const QELError& socket, bool trace)
    : QELApiExcep(socket.m_nErrorCode) {
  if (trace) QelTrace("QELExcep: Error: %s\n", m_strMessage.c_str());
}

void ThrowQELSocketExcep(const QELError& socket, bool trace) {
  throw QELSocketExcep(socket, trace);
}

}  // namespace qel
