#include "state/Collector.h"

#include <sys/socket.h>
#include <sys/stat.h>

#include <cerrno>

#include "base/Failure.h"
#include "base/UnixSocket.h"

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
  const auto now = TryToLook(m_path);
  if (!now || !(now->id == m_id)) return;
  (void)::unlink(m_path.c_str());
}

void CCollector::RemoveDeadOne() const {
  const int error = ProbeUnixSocket(m_path);
  if (error == 0) throw CFailure("collect at " + m_path + ": another collector is alive");
  // A file of another kind refuses connections, too, and is not ours to remove.
  if (error == ECONNREFUSED && IsSocket(m_path) && ::unlink(m_path.c_str()) == -1) {
    throw CFailure("remove " + m_path, errno);
  }
}

void CCollector::Bind() const {
  const sockaddr_un address = UnixAddress(m_path);
  const mode_t mask = ::umask(0);  // programs of every user may send
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
