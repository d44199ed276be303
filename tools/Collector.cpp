#include "Collector.h"

#include <sys/socket.h>
#include <sys/stat.h>

#include <cerrno>

#include "Command.h"
#include "QELSocket.h"

namespace {

bool IsSocket(const std::string& path) {
  struct stat status;
  return ::lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
}

}  // namespace

CCollector::CCollector(const std::string& path)
    : m_path(path), m_socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  if (!m_socket) throw CFailure("make a socket", errno);
  RemoveDeadOne();
  Bind();
  if (const auto bound = Look(m_path)) m_id = bound->id;
}

CCollector::~CCollector() {
  struct stat status;
  if (::stat(m_path.c_str(), &status) == -1 || CFileId{status.st_dev, status.st_ino} != m_id)
    return;
  (void)::unlink(m_path.c_str());
}

// Refused: there is a name, but nobody behind it. A file of another kind refuses, too.
void CCollector::RemoveDeadOne() const {
  sockaddr_un address;
  qel::QELSocket::FillSockAddr(m_path.c_str(), address);
  const CDescriptor probe(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (::connect(probe.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    throw CFailure("collect at " + m_path + ": another collector is alive");
  }
  if (errno == ECONNREFUSED && IsSocket(m_path) && ::unlink(m_path.c_str()) == -1) {
    throw CFailure("remove " + m_path, errno);
  }
}

void CCollector::Bind() const {
  sockaddr_un address;
  qel::QELSocket::FillSockAddr(m_path.c_str(), address);
  const mode_t mask = ::umask(0);  // the one who sends need not be the one who looks
  const int bound =
      ::bind(m_socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
  const int error = errno;
  ::umask(mask);
  if (bound == -1) throw CFailure("collect at " + m_path, error);
}

std::string CCollector::Receive() const {
  std::string message(65536, '\0');
  const ssize_t size = ::recv(m_socket.Get(), message.data(), message.size(), 0);
  if (size == -1) throw CFailure("receive at " + m_path, errno);
  message.resize(static_cast<std::size_t>(size));
  return message;
}
