#include "LogServerUdp.h"

#include <unistd.h>

#include "Log.h"
#include "LogServerEngine.h"
#include "Settings.h"

namespace {

constexpr unsigned kMaxText = 0x400;  // bytes kept of a datagram
constexpr unsigned kMaxAddress = 4096;
constexpr unsigned kReadTimeoutMs = 5000;
constexpr std::uint32_t kRcvBufSize = 0x10000;

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
  Log(kLogInfo, "Log Server listening on port %s", m_strPort.c_str());
}

void CLogServerUdp::Stop() {
  if (m_thread) m_thread->Stop();
  (void)::unlink(m_strPort.c_str());
}

unsigned CLogServerUdp::MainWorkerThread(void* receiver) {
  return static_cast<CLogServerUdp*>(receiver)->MainWorkerThread();
}

unsigned CLogServerUdp::MainWorkerThread() {
  try {
    while (!m_thread->StopEvent().Lock(0)) {
      char text[kMaxText + 1];
      if (!ReceiveText(text)) continue;
      if (!m_pEngine->Write(text)) {
        Log(kLogError, "CLogServerUdp::MainWorkerThread() fwrite failed");
      }
    }
  } catch (const qel::QELSocketExcep& e) {
    Log(kLogError, "CLogServerUdp::MainWorkerThread() - Error %d - %s", static_cast<int>(e.m_nCode),
        e.m_strMessage.c_str());
  }
  return 1;
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
