#pragma once

#include <string>

#include "base/Descriptor.h"
#include "base/Files.h"

/// The receiving end of a diagnostic channel: a Unix-domain datagram socket at a fixed path, to
/// which programs of every user may send. One thread.
class CCollector {
 public:
  /// Binds the path, after removing a socket left there by a collector that has ended. Throws
  /// CFailure if another collector is alive, or if anything else is in the way.
  explicit CCollector(const std::string& path);
  CCollector(const CCollector&) = delete;
  CCollector& operator=(const CCollector&) = delete;

  /// Removes the path, unless another collector has been bound there meanwhile.
  ~CCollector();

  /// For poll: readable when there is a message.
  int Descriptor() const { return m_socket.Get(); }

  /// Waits for the next message. Throws CFailure.
  std::string Receive() const;

 private:
  void RemoveDeadOne() const;
  void Bind() const;

  const std::string m_path;
  const CDescriptor m_socket;
  CFileId m_id{};  // of the bound socket
};
