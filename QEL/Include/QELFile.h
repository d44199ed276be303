#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdio>
#include <string>

namespace qel {

/// Owner of a standard I/O stream, closed at the latest by the destructor. One thread at a time.
/// Every operation may block on the file system. ReadAll, Write, Flush and Position need an open
/// stream.
class CFile {
 public:
  /// Thrown by value when a file operation fails.
  struct CException {
    /// `error` is an errno value, from ReadAll the stream's error flag; the text becomes
    /// "<what> (<error>)".
    CException(int error, const char* what);

    int m_nError;
    std::string m_strText;
  };

  CFile() = default;
  CFile(const CFile&) = delete;
  CFile& operator=(const CFile&) = delete;
  virtual ~CFile();

  /// Closes the stream, if one is open, then opens `path` with fopen's `mode`; the descriptor is
  /// close-on-exec. Throws CException ("fopen failed").
  void Open(const std::string& path, const char* mode);

  /// Appends the rest of the file to `out`. Throws CException ("qel::CFile-ReadAll() - fread
  /// failed"), for a directory too; `out` then holds what was read before.
  void ReadAll(std::string& out);

  /// Hands `size` bytes to the stream's buffer and returns how many it took; errno tells why they
  /// were fewer. The bytes are in the file after Flush or Close.
  std::size_t Write(const void* data, std::size_t size);

  /// Writes the stream's buffer to the file. Returns false, with errno, on failure; the C library
  /// may then have dropped the bytes.
  bool Flush();

  /// The stream's own position in bytes; of a file opened for appending, its size.
  long Position();

  /// Closes the stream, if one is open. A failure is not reported.
  void Close();

  bool IsOpen() const { return m_fp != nullptr; }

 private:
  std::FILE* m_fp = nullptr;
  bool m_bRestoreUmask = false;  // the destructor puts m_nOldUmask back
  mode_t m_nOldUmask = 0;
};

}  // namespace qel
