#include "QELTrace.h"

#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <mutex>
#include <string>

#include "QELBuffer.h"
#include "QELProcessID.h"
#include "QELSocket.h"
#include "QELString.h"
#include "socket/QELUnixAddress.h"

namespace qel {

std::atomic<QelLogFunc> g_QEL_log_func{nullptr};
std::atomic<long> g_lInitTrace{0};
std::atomic<long> g_lInitDiag{0};
QELSocket g_TraceActiveSocket;
QELSocket g_DiagActiveSocket;
std::atomic<int> g_nTraceSocket{0};
std::atomic<int> g_nDiagSocket{0};

namespace {

constexpr const char* kTraceActivePath = "/tmp/ZABKTraceCon_Active";

constexpr long kNotStarted = 0;
constexpr long kBeingSetUp = 1;
constexpr long kReady = 2;

constexpr unsigned kSetUpPollUs = 10'000;
constexpr int kSetUpPolls = 10'000;

struct Channel {
  std::atomic<long>& state;
  std::atomic<int>& descriptor;
  QELSocket& socket;
  const char* collector;
  const char* namePrefix;
  const char* stateName;
};

const Channel s_channels[] = {
    {g_lInitTrace, g_nTraceSocket, g_TraceActiveSocket, "/tmp/ZABKTraceCon", "QELTrace",
     "g_lInitTrace"},
    {g_lInitDiag, g_nDiagSocket, g_DiagActiveSocket, "/tmp/ZABKDiagCon", "QELDiag", "g_lInitDiag"},
};

const Channel& ChannelOf(eTraceOrDiag channel) { return s_channels[channel]; }

// Destroyed before the sockets: a later trace is dropped, and does not reach another file that has
// got the descriptor's number.
const struct ChannelsEnd {
  ~ChannelsEnd() {
    for (const Channel& channel : s_channels) {
      channel.state = kReady;
      channel.descriptor = 0;
    }
  }
} s_channelsEnd;

// The channel that this thread is setting up. A failure in there is traced, and that trace would
// wait for a set-up that only its own thread can end.
thread_local const Channel* t_pSettingUp = nullptr;

// Marks a channel as being set up by this thread, and at the end as ready, even after an exception,
// since other threads wait for it.
class SettingUp {
 public:
  explicit SettingUp(const Channel& channel) : m_channel(channel), m_outer(t_pSettingUp) {
    t_pSettingUp = &channel;
  }
  SettingUp(const SettingUp&) = delete;
  SettingUp& operator=(const SettingUp&) = delete;
  ~SettingUp() {
    t_pSettingUp = m_outer;
    m_channel.state = kReady;
  }

 private:
  const Channel& m_channel;
  const Channel* const m_outer;
};

void AwaitSetUp(const Channel& channel) {
  if (t_pSettingUp == &channel) return;
  for (int i = 0; i < kSetUpPolls && channel.state != kReady; ++i) ::usleep(kSetUpPollUs);
}

void OpenChannel(const Channel& channel) {
  const SettingUp mark(channel);
  const std::string name = QELSPrintf("%s_%d", channel.namePrefix, QELProcessID::s_pid);
  try {
    const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    channel.socket.Attach(static_cast<unsigned>(fd));
    channel.descriptor = fd;
  } catch (const QELSocketExcep& e) {
    (void)std::fprintf(stderr, "CStatsServer::Init() - Failed to create socket: %s. Error %ld - %s",
                       name.c_str(), e.m_nCode, e.m_strMessage.c_str());
  }
}

void SetUp(const Channel& channel, eTraceOrDiag which) {
  OpenChannel(channel);
  const auto address = static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(&channel.state));
  _TraceOrDiag(
      QELSPrintf("InitTraceOrDiag() - Initialized %s. Addr=%x", channel.stateName, address).c_str(),
      which);
}

void Send(const std::string& text, eTraceOrDiag channel) {
  InitTraceOrDiag(channel);
  _TraceOrDiag(text.c_str(), channel);
}

unsigned char* PutLittleEndian(unsigned char* to, std::uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8) *to++ = static_cast<unsigned char>(value >> shift);
  return to;
}

std::uint32_t ThisThread() { return static_cast<std::uint32_t>(::pthread_self()); }

// Returns the datagram's length.
unsigned Assemble(const char* text, QELBufferEx<1024>& datagram) {
  static constexpr unsigned kHeader = 1 + 4 + 4;
  const auto length = static_cast<unsigned>(std::strlen(text));
  const bool endsLine = length > 0 && text[length - 1] == '\n';
  const unsigned size = kHeader + length + (endsLine ? 0 : 1) + 1;
  if (size > datagram.Size()) datagram.Resize(size);
  unsigned char* at = datagram.Data();
  *at++ = 1;
  at = PutLittleEndian(at, static_cast<std::uint32_t>(QELProcessID::s_pid));
  at = PutLittleEndian(at, ThisThread());
  std::memcpy(at, text, length);
  at += length;
  if (!endsLine) *at++ = '\n';
  *at = '\0';
  return size;
}

}  // namespace

void QelTrace(const char* format, ...) {
  std::string text;
  va_list args;
  va_start(args, format);
  QELVSPrintf(text, format, args);
  va_end(args);
  Send(text, eTrace);
}

void QelTrace(const wchar_t* format, ...) {
  CTempBuffer<2048, wchar_t> wide;
  // When it cuts, vswprintf reports a failure and leaves the text that fits, which is sent.
  std::wmemset(wide.Data(), L'\0', wide.Size());
  va_list args;
  va_start(args, format);
  (void)std::vswprintf(wide.Data(), wide.Size(), format, args);
  va_end(args);
  wide.Data()[wide.Size() - 1] = L'\0';
  std::string text;
  ToUtf8(wide.Data(), text);
  Send(text, eTrace);
}

void QelLog(int level, const char* format, ...) {
  std::string text;
  va_list args;
  va_start(args, format);
  QELVSPrintf(text, format, args);
  va_end(args);
  Send(text, eTrace);
  Send(text, eDiag);
  if (const QelLogFunc hook = g_QEL_log_func) hook(level, text.c_str());
}

void _QelAssert(const void* expression, const void* file, unsigned line) {
  QelTrace("Assertion failed: Tid: %d, Expr: %s, file %s, line %d\n",
           static_cast<int>(ThisThread()), static_cast<const char*>(expression),
           static_cast<const char*>(file), static_cast<int>(line));
}

bool QelIsTraceOn() {
  InitTraceOrDiag(eTrace);
  if (g_nTraceSocket == 0) return false;
  static std::mutex s_oneAtATime;  // a socket object is one thread's at a time
  const std::lock_guard lock(s_oneAtATime);
  try {
    return g_TraceActiveSocket.ConnectUnix(kTraceActivePath);
  } catch (const QELSocketExcep&) {
    return false;
  }
}

void QelSetLogFunc(QelLogFunc func) { g_QEL_log_func = func; }

void InitTraceOrDiag(eTraceOrDiag which) {
  const Channel& channel = ChannelOf(which);
  if (channel.state == kReady) return;
  long state = kNotStarted;
  if (channel.state.compare_exchange_strong(state, kBeingSetUp)) {
    SetUp(channel, which);
  } else {
    AwaitSetUp(channel);
  }
}

void _TraceOrDiag(const char* text, eTraceOrDiag which) {
  const Channel& channel = ChannelOf(which);
  const int descriptor = channel.descriptor;
  if (descriptor == 0) return;
  QELBufferEx<1024> datagram;
  const unsigned size = Assemble(text, datagram);
  const sockaddr_un to = CutUnixAddress(channel.collector);
  (void)::sendto(descriptor, datagram.Data(), size, 0, AsSockaddr(to), kUnixAddressLength);
}

}  // namespace qel
