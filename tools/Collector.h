#pragma once

#include <string>

#include "Descriptor.h"
#include "Files.h"

/// The receiving end of a diagnostic channel: a Unix-domain datagram socket at a fixed path, which
/// every user's programs may send to. One thread.
class CCollector {
 public:
  /// Binds the path. What is left there of a collector that has ended is removed first; one that is
  /// alive makes this throw CFailure, as does everything else that is in the way.
  explicit CCollector(const std::string& path);
  CCollector(const CCollector&) = delete;
  CCollector& operator=(const CCollector&) = delete;

  /// Removes the path, unless another one has been bound there meanwhile.
  ~CCollector();

  /// For poll: readable when a message is there.
  int Descriptor() const { return m_socket.Get(); }

  /// The next message. Throws CFailure.
  std::string Receive() const;

 private:
  void RemoveDeadOne() const;
  void Bind() const;

  const std::string m_path;
  const CDescriptor m_socket;
  CFileId m_id{};  // of what was bound
};
