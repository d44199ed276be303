#pragma once

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <string>

#include "QELBuffer.h"
#include "QELExcep.h"
#include "QELObject.h"

namespace qel {

/// The result of a name lookup.
struct IPBufferArray {
  static constexpr int kCapacity = 16;

  char m_szName[1024];                // the official name
  in_addr_t* m_pAddresses;            // set by the caller, to m_aAddresses
  in_addr_t m_aAddresses[kCapacity];  // IPv4, network byte order
};

/// Looks a host name up and stores up to `max` addresses, kCapacity at most. Returns their number,
/// or -1 when the lookup failed or `out` is null. Reentrant; blocks on the resolver.
int qel_gethostbyname_impl(const char* name, IPBufferArray* out, int max);

/// Every lookup goes through this pointer. Replace it only before other threads start.
extern int (*g_QEL_gethostbyname)(const char* name, IPBufferArray* out, int max);

/// One IPv4 or Unix-domain socket, stream or datagram. Its descriptor is made non-blocking; an
/// operation tries its system call and, while that would block, waits and tries again. The waits
/// are cut into slices of one second, before each of which the work items queued to the
/// calling library thread run: an item that throws leaves the wait.
///
/// One thread at a time. A failed system call stores errno in m_nErrorCode, traces the error and
/// throws QELSocketExcep. A time-out is no failure: the result tells it. Elapsed time is
/// checked between slices, so a wait lasts up to a second longer than its limit; readiness found
/// in the slice in which the limit is passed counts as a time-out.
class QELSocket : public QELObject, public QELError {
 public:
  QELSocket() = default;

  /// Adopts `fd` as it is.
  explicit QELSocket(unsigned fd);

  QELSocket(const QELSocket&) = delete;
  QELSocket& operator=(const QELSocket&) = delete;

  /// Closes the descriptor; a failure is ignored.
  // May unwind a cancelled thread whose close was interrupted: noexcept would end the process.
  ~QELSocket() noexcept(false) override;

  /// Takes a connection off a listening socket, waiting up to m_nAcceptTimeout; false on time-out.
  /// `client` gets the new descriptor, whatever it held before: that is not closed.
  virtual bool Accept(QELSocket& client, sockaddr* addr, int* len);

  /// Closes the descriptor, if there is one, and drops buffered bytes. The descriptor is
  /// forgotten even when this throws.
  virtual void Close();

  // --- Ownership ---

  /// Closes the present descriptor and adopts `fd`, making it non-blocking.
  void Attach(unsigned fd);

  /// Gives the descriptor (-1 for none) to the caller and drops buffered bytes.
  int Detach();

  // --- Creating. `type` is SOCK_STREAM or SOCK_DGRAM. The present descriptor is closed first. ---

  /// An IPv4 socket bound as by Bind(port, address).
  void Create(unsigned port, const char* address, int type);

  /// A Unix-domain socket bound as by BindUnix(path).
  void CreateUnix(const char* path, int type);

  /// Binds to any address; `len` is its size in bytes.
  void Bind(const sockaddr* addr, int len);

  /// Binds to a port of a dotted IPv4 address, or of any address for null. Host names are not
  /// looked up; any other text throws EINVAL.
  void Bind(unsigned port, const char* address);

  /// Binds to a path, of which 108 bytes are kept. A file already there makes it fail (EADDRINUSE).
  void BindUnix(const char* path);

  /// Returns true: a failure throws.
  bool Listen(int backlog);

  // --- Options and control, as the system calls of these names. The option's name comes first, its
  // level last; `len` is in bytes, the room before the call and the length after it where it is a
  // pointer. ---

  void SetSockOpt(int optname, const void* value, int len, int level);
  void GetSockOpt(int optname, void* value, int* len, int level);
  void IOCtl(long request, unsigned* arg);

  /// The number of bytes that can be read without waiting: those in the kernel and those buffered
  /// here.
  unsigned GetTotalNonBlockedReadBytes();

  void GetSockName(sockaddr* addr, unsigned* len);
  void GetPeerName(sockaddr* addr, unsigned* len);

  /// IPv4 only: the address in dotted form and the port in host order.
  void GetSockName(std::string& address, unsigned& port);
  void GetPeerName(std::string& address, unsigned& port);

  /// Throws EINVAL for a descriptor that does not fit an fd_set.
  void ValidateFd();

  // --- Names ---

  /// Fills an IPv4 address from a dotted address or a host name, which is looked up; null gives
  /// address 0. Throws EINVAL when the lookup finds none. May block on the resolver.
  void FillSockAddr(const char* host, unsigned port, sockaddr_in& addr);

  /// Fills a Unix-domain address. The path must have at most 108 bytes.
  static void FillSockAddr(const char* path, sockaddr_un& addr);

  /// True for a dotted IPv4 address, except 255.255.255.255.
  static bool IsIP(const char* text);

  // --- Waiting. `what` is a set of the bits below. ---

  static constexpr int kReadable = 1;
  static constexpr int kWritable = 2;
  static constexpr int kExceptional = 4;

  /// True when the socket is ready for any of `what`, false on time-out. An error pending on the
  /// socket is thrown, and EBADF without a socket. Exceptional conditions are always watched.
  bool Select(int what, unsigned timeoutMs);

  /// The same with poll. Used by Select when m_bUsePollSocket is set, and for a descriptor that
  /// does not fit an fd_set.
  bool Poll(int what, unsigned timeoutMs);

  /// Returns the bits of `what` after one slice, which lasts one second, or no time for a time-out
  /// below a second. It does not look at the socket. Without bits it returns 0 when the time is
  /// over.
  int SelectEx(int what, unsigned timeoutMs);

  // --- Connecting ---

  /// Waits up to m_nConnectTimeout; false on time-out. On a non-blocking descriptor an error that
  /// comes later is thrown as well.
  bool Connect(const sockaddr* addr, int len);

  /// Looks the host, which must not be null, up if it is no dotted address. A failed lookup throws
  /// errno, without storing it in m_nErrorCode; one that finds nothing throws EINVAL.
  bool Connect(const char* host, unsigned port);

  /// Connects to a path, of which 108 bytes are kept.
  bool ConnectUnix(const char* path);

  /// Starts to connect; true when the connection is there at once, false while it is being made.
  /// The host must not be null.
  bool AsyncConnect(const sockaddr* addr, int len);
  bool AsyncConnect(const char* host, unsigned port);

  // --- Sending. Each waits up to m_nWriteTimeout for room and returns the bytes sent. ---

  /// Sends the whole text, without its NUL; fewer bytes on time-out. Raises no SIGPIPE.
  unsigned SendString(const char* text, int flags);

  /// Sends in at most `maxWrites` calls (0: as many as it takes). Raises SIGPIPE, unless `flags` or
  /// the process prevent it, where a stream's peer has gone.
  unsigned SendTo(const char* buf, unsigned len, const sockaddr* to, int tolen, int flags,
                  unsigned maxWrites);
  unsigned SendTo(const char* buf, unsigned len, const sockaddr_in& to, int flags,
                  unsigned maxWrites);

  /// Resolves as FillSockAddr does.
  unsigned SendTo(const char* buf, unsigned len, const char* host, unsigned port, int flags,
                  unsigned maxWrites);

  /// Makes one send and returns its raw result, with errno. Throws nothing and raises no SIGPIPE.
  int AsyncSend(const char* buf, unsigned len, int flags);

  // --- Receiving. Each waits up to m_nReadTimeout for data and returns the bytes received: fewer
  // than asked, or 0, on time-out. `maxReads` limits the calls that bring data (0: no limit). A
  // read of 0 bytes, be it a closed stream or an empty datagram, throws ECONNRESET, untraced. ---

  /// Unbuffered, with the sender's address. `fromlen` is the room at `from`, then the length.
  unsigned _ReceiveFromEx(char* buf, unsigned len, sockaddr* from, unsigned* fromlen, int flags,
                          unsigned maxReads);

  /// Unbuffered.
  unsigned _Receive(char* buf, unsigned len, int flags, unsigned maxReads);

  /// Through the read-ahead buffer, which saves system calls for small reads. A null `buf`
  /// discards the bytes.
  unsigned Receive(char* buf, unsigned len, int flags, unsigned maxReads);
  unsigned ReceiveFrom(char* buf, unsigned len, sockaddr_in& from, int flags, unsigned maxReads);

  /// Makes one recv and returns its raw result, with errno. Throws nothing.
  int _AsyncReceive(char* buf, unsigned len, int flags);

  /// Stores errno and throws it, traced or not.
  [[noreturn]] void ThrowExcep(bool trace);

 protected:
  // The read-ahead buffer, shared with line readers built on this class.
  QELBufferEx<1> m_Buffer;
  unsigned m_nBufferedBytes = 0;  // unread bytes, from m_nBufferOffset on
  unsigned m_nBufferOffset = 0;

 public:
  // --- Settings that users set directly. Time-outs in milliseconds, 0xFFFFFFFF for ever. ---

  unsigned m_nReadChunk = 512;  // the least that is asked of the kernel to refill the buffer
  int m_hSocket = -1;           // to be read only; -1 without a socket
  unsigned m_nReadTimeout = 20000;
  unsigned m_nWriteTimeout = 20000;
  unsigned m_nConnectTimeout = 20000;
  unsigned m_nAcceptTimeout = 20000;
  int m_bReuseAddr = 0;  // binding sets SO_REUSEADDR first

  /// Class-wide. Set them only before other threads start.
  static bool m_bUsePollSocket;    // Select waits by poll
  static bool m_bFdSetValidation;  // Select calls ValidateFd first

 private:
  void Adopt(int fd);
  void Open(int family, int type);
  void DropBuffered();
  void SetNonBlocking();
  void Check(int result);

  [[noreturn]] void ThrowInvalid();
  void ResolvePeer(const char* host, unsigned port, sockaddr_in& addr);

  template <class Slice>
  bool WaitInSlices(unsigned timeoutMs, Slice slice);
  void RequireDescriptor();
  void ThrowPendingError();
  int SelectSlice(int what);
  int PollSlice(int what);

  int AcceptDescriptor(sockaddr* addr, int* len);

  template <class Call>
  unsigned Transfer(unsigned len, unsigned maxCalls, int what, unsigned timeoutMs, Call call);
  [[noreturn]] void ThrowClosed();

  template <class Read>
  unsigned BufferedReceive(char* buf, unsigned len, Read read);
  template <class Read>
  void Refill(unsigned wanted, Read read);
  unsigned ReadAheadSize(unsigned wanted);
  unsigned ReadAheadLimit() const;
  unsigned TakeBuffered(char* buf, unsigned len);
  void AppendBuffered(const char* bytes, unsigned count);
  void MakeRoom(unsigned count);
};

}  // namespace qel
