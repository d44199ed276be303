#include "QELFile.h"

#include <stdio_ext.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>

#include "QELString.h"

namespace qel {

CFile::CException::CException(int error, const char* what)
    : m_nError(error), m_strText(QELSPrintf("%s (%d)", what, error)) {}

CFile::~CFile() {
  if (m_bRestoreUmask) ::umask(m_nOldUmask);
  Close();
}

void CFile::Open(const std::string& path, const char* mode) {
  Close();
  m_fp = std::fopen(path.c_str(), (std::string(mode) + 'e').c_str());
  if (m_fp == nullptr) throw CException(errno, "fopen failed");
  (void)::__fsetlocking(m_fp, FSETLOCKING_BYCALLER);  // one thread at a time needs no lock
}

void CFile::ReadAll(std::string& out) {
  char block[1024];
  while (const std::size_t count = std::fread(block, 1, sizeof block, m_fp)) {
    out.append(block, count);
  }
  if (const int error = std::ferror(m_fp)) {
    throw CException(error, "qel::CFile-ReadAll() - fread failed");
  }
}

std::size_t CFile::Write(const void* data, std::size_t size) {
  return std::fwrite(data, 1, size, m_fp);
}

bool CFile::Flush() { return std::fflush(m_fp) == 0; }

long CFile::Position() { return std::ftell(m_fp); }

void CFile::Close() {
  if (std::FILE* const stream = std::exchange(m_fp, nullptr)) (void)std::fclose(stream);
}

}  // namespace qel
