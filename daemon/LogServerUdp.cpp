#include "LogServerUdp.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <utility>

#include "Log.h"
#include "LogServerEngine.h"
#include "Settings.h"
#include "ThreadNames.h"

namespace {

constexpr unsigned kMaxText = 0x400;  // bytes kept of a datagram
constexpr unsigned kMaxAddress = 4096;
constexpr unsigned kReadTimeoutMs = 5000;
constexpr std::uint32_t kRcvBufSize = 0x10000;
constexpr std::chrono::seconds kDrainLimit{1};

}  // namespace

CLogServerUdp::CLogServerUdp(const std::string& port, const std::string& bindingAddress,
                             CLogServerEngine* engine)
    : m_pEngine(engine), m_strPort(port), m_strBindingAddress(bindingAddress) {}

// A cancelled thread may unwind through it, as through the socket's own destructor.
CLogServerUdp::~CLogServerUdp() noexcept(false) { Stop(); }

bool CLogServerUdp::Init() {
  m_nReadTimeout = kReadTimeoutMs;
  m_nRcvBufSize = kRcvBufSize;
  const int port = CSettings::PortNumber(m_strPort);
  try {
    if (m_nHeld != -1) {
      Attach(static_cast<unsigned>(m_nHeld));
      m_bHeldPath = port == 0 && !IsPathGone();
      return true;
    }
    if (port != 0) {
      const bool any = m_strBindingAddress.empty();
      Create(static_cast<unsigned>(port), any ? nullptr : m_strBindingAddress.c_str(), SOCK_DGRAM);
    } else {
      (void)::unlink(m_strPort.c_str());
      CreateUnix(m_strPort.c_str(), SOCK_DGRAM);
    }
    SetSockOpt(SO_RCVBUF, &m_nRcvBufSize, sizeof m_nRcvBufSize, SOL_SOCKET);
    return true;
  } catch (const qel::QELSocketExcep& e) {
    Log(kLogError, "CLogServerUdp::Init %s:%d", e.m_strMessage.c_str(),
        static_cast<int>(e.m_nCode));
    return false;
  }
}

void CLogServerUdp::Start() {
  QELBeginThread(m_thread, &MainWorkerThread, this);
  m_evNamed.Lock(qel::QELInfinite);
  Log(kLogInfo, "Log Server listening on port %s", m_strPort.c_str());
}

void CLogServerUdp::Stop() {
  const bool wasReceiving = IsReceiving();
  if (m_thread) m_thread->Stop();
  if (m_nHeld == -1) (void)::unlink(m_strPort.c_str());
  if (!m_thread || m_hSocket == -1) return;
  const bool isShut = ShutGate();
  // One that hangs may still use the socket, and may hold the engine's lock.
  if (m_thread->ConfirmKilled() || IsReceiving()) return;
  if (wasReceiving) Drain(isShut);
  // Its destructor closes the descriptor and contains a failure.
  const QELSocket closing(static_cast<unsigned>(Detach()));
}

unsigned CLogServerUdp::MainWorkerThread(void* receiver) {
  NameThread(kReceiverName);
  auto& self = *static_cast<CLogServerUdp*>(receiver);
  self.m_evNamed.Set();
  return self.MainWorkerThread();
}

unsigned CLogServerUdp::MainWorkerThread() {
  try {
    while (!m_thread->StopEvent().Lock(0)) {
      char text[kMaxText + 1];
      if (!ReceiveText(text)) continue;
      if (!m_pEngine->Write(text)) {
        Log(kLogError, "CLogServerUdp::MainWorkerThread() fwrite failed");
      }
      TellWhetherStoring();
    }
  } catch (const qel::QELSocketExcep& e) {
    Log(kLogError, "CLogServerUdp::MainWorkerThread() - Error %d - %s", static_cast<int>(e.m_nCode),
        e.m_strMessage.c_str());
  }
  return 1;
}

// By a name that every user may see.
void CLogServerUdp::TellWhetherStoring() {
  const bool isLosing = !m_pEngine->IsStoring();
  if (isLosing == std::exchange(m_bLosing, isLosing)) return;
  NameThread(isLosing ? kLosingName : kReceiverName);
}

// Returns false on time-out.
bool CLogServerUdp::ReceiveText(char* buffer) {
  alignas(sockaddr) char from[kMaxAddress];
  unsigned fromLength = sizeof from;
  const unsigned received =
      _ReceiveFromEx(buffer, kMaxText, reinterpret_cast<sockaddr*>(from), &fromLength, 0, 1);
  buffer[received] = '\0';
  return received != 0;
}

bool CLogServerUdp::IsPathGone() const {
  return ::access(m_strPort.c_str(), F_OK) == -1 && errno == ENOENT;
}

// Keeps later datagrams out, unless they may be meant for somebody else who has the socket: what is
// queued stays readable. Returns whether it did.
bool CLogServerUdp::ShutGate() {
  if (CSettings::PortNumber(m_strPort) != 0) return m_nHeld == -1 && ReceiveFromItselfOnly();
  // A manager that has given its socket up has removed the path.
  const bool isOurs = m_nHeld == -1 || (m_bHeldPath && IsPathGone());
  return isOurs && ::shutdown(m_hSocket, SHUT_RD) == 0;
}

// A UDP socket cannot be shut down for receiving, but a connected one gets no datagrams of others.
bool CLogServerUdp::ReceiveFromItselfOnly() {
  sockaddr_in name{};
  socklen_t length = sizeof name;
  auto* const generic = reinterpret_cast<sockaddr*>(&name);
  return ::getsockname(m_hSocket, generic, &length) == 0 &&
         ::connect(m_hSocket, generic, length) == 0;
}

// For the thread that has stopped the receive thread. A held socket keeps for the next process what
// cannot be stored now.
void CLogServerUdp::Drain(bool isShut) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + kDrainLimit;
  unsigned lost = 0;
  char text[kMaxText + 1];
  for (int length; (isShut || m_pEngine->IsStoring()) && (length = TakeQueued(text)) != -1;) {
    // An empty datagram would end reception, but what is queued behind it was accepted.
    if (length > 0 && (text[0] == '\0' || !m_pEngine->Write(text))) ++lost;
    if (!isShut && Clock::now() >= deadline) break;
  }
  if (lost > 0) Log(kLogError, "CLogServerUdp::Stop - %u queued datagrams lost", lost);
}

// Returns the length, or -1 when the queue is empty.
int CLogServerUdp::TakeQueued(char* buffer) {
  for (;;) {
    // Whoever shares a held socket may have made it blocking.
    const int length = _AsyncReceive(buffer, kMaxText, MSG_DONTWAIT);
    const int error = errno;
    if (length >= 0) {
      buffer[length] = '\0';
      return length;
    }
    if (error == EINTR) continue;
    if (error != EAGAIN) Log(kLogError, "CLogServerUdp::Stop - Error %d", error);
    return -1;
  }
}
