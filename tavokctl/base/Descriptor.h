#pragma once

#include <unistd.h>

#include <utility>

/// Owns a file descriptor and closes it. -1 stands for none.
class CDescriptor {
 public:
  explicit CDescriptor(int fd = -1) : m_fd(fd) {}
  CDescriptor(CDescriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
  CDescriptor& operator=(CDescriptor&& other) noexcept {
    std::swap(m_fd, other.m_fd);
    return *this;
  }
  ~CDescriptor() { Close(); }

  void Close() {
    if (m_fd != -1) ::close(std::exchange(m_fd, -1));
  }

  int Get() const { return m_fd; }
  explicit operator bool() const { return m_fd != -1; }

 private:
  int m_fd;
};
