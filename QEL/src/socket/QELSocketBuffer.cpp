#include <algorithm>
#include <cstring>
#include <string>

#include "QELBuffer.h"
#include "QELSocket.h"

namespace qel {
namespace {

// Buffers grow in steps of 256 bytes, from 1024 bytes on of 4096.
unsigned GrownCapacity(unsigned capacity, unsigned needed, unsigned chunk) {
  if (capacity == 0) return std::max(chunk, needed);
  return needed < 1024 ? (needed & ~255u) + 255 : needed | 0xFFFu;
}

}  // namespace

unsigned QELSocket::Receive(char* buf, unsigned len, int flags, unsigned maxReads) {
  return BufferedReceive(buf, len, [=, this](char* to, unsigned count) {
    return _Receive(to, count, flags, maxReads);
  });
}

unsigned QELSocket::ReceiveFrom(char* buf, unsigned len, sockaddr_in& from, int flags,
                                unsigned maxReads) {
  return BufferedReceive(buf, len, [=, this, &from](char* to, unsigned count) {
    unsigned fromlen = sizeof from;
    return _ReceiveFromEx(to, count, reinterpret_cast<sockaddr*>(&from), &fromlen, flags, maxReads);
  });
}

// `read` receives into the memory it is given, unbuffered.
template <class Read>
unsigned QELSocket::BufferedReceive(char* buf, unsigned len, Read read) {
  const unsigned served = TakeBuffered(buf, len);
  const unsigned wanted = len - served;
  if (wanted == 0) return served;
  char* const rest = buf == nullptr ? nullptr : buf + served;
  if (wanted > ReadAheadLimit()) {
    std::string discarded(rest == nullptr ? wanted : 0, '\0');
    return served + read(rest == nullptr ? discarded.data() : rest, wanted);
  }
  Refill(wanted, read);
  return served + TakeBuffered(rest, wanted);
}

template <class Read>
void QELSocket::Refill(unsigned wanted, Read read) {
  const unsigned size = ReadAheadSize(wanted);
  CTempBuffer<1024, char> scratch;
  if (size > scratch.Size()) scratch.Resize(size);
  AppendBuffered(scratch.Data(), read(scratch.Data(), size));
}

unsigned QELSocket::ReadAheadSize(unsigned wanted) {
  const unsigned waiting = GetTotalNonBlockedReadBytes() - m_nBufferedBytes;
  return std::max(std::min(waiting, ReadAheadLimit()), wanted);
}

unsigned QELSocket::ReadAheadLimit() const { return std::max(m_nReadChunk, m_Buffer.Size()); }

unsigned QELSocket::TakeBuffered(char* buf, unsigned len) {
  const unsigned count = std::min(m_nBufferedBytes, len);
  if (buf != nullptr) std::copy_n(m_Buffer.Data() + m_nBufferOffset, count, buf);
  m_nBufferOffset += count;
  m_nBufferedBytes -= count;
  return count;
}

void QELSocket::AppendBuffered(const char* bytes, unsigned count) {
  MakeRoom(count);
  std::copy_n(bytes, count, m_Buffer.Data() + m_nBufferOffset + m_nBufferedBytes);
  m_nBufferedBytes += count;
}

// Makes `count` bytes fit behind the unread ones.
void QELSocket::MakeRoom(unsigned count) {
  const unsigned capacity = m_Buffer.Size();
  const unsigned needed = m_nBufferedBytes + count;
  const unsigned grown =
      needed < capacity ? capacity : GrownCapacity(capacity, needed, m_nReadChunk);
  const bool grows = grown >= 2 && grown > capacity;
  if (grows) m_Buffer.Resize(grown);
  if (grows || m_nBufferOffset + needed > capacity) {
    std::memmove(m_Buffer.Data(), m_Buffer.Data() + m_nBufferOffset, m_nBufferedBytes);
    m_nBufferOffset = 0;
  }
}

}  // namespace qel
