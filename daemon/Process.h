#pragma once

#include <signal.h>

/// What the process as a whole is set to, for the first thread.

/// Makes the standard streams harmless. To be called before anything opens a file: a standard
/// descriptor that is closed is opened on /dev/null, so that no log file becomes the standard
/// error, and a standard error that nobody reads any more does not end the process.
void SecureStandardStreams();

/// Blocks SIGHUP and SIGTERM in the calling thread, and in the threads it starts from then on. One
/// that arrives stays pending. Returns the mask that was set before.
sigset_t BlockSignals();

/// The same for a scope; what arrived meanwhile is served at its end.
class [[nodiscard]] CSignalBlock {
 public:
  CSignalBlock() : m_before(BlockSignals()) {}
  CSignalBlock(const CSignalBlock&) = delete;
  CSignalBlock& operator=(const CSignalBlock&) = delete;
  ~CSignalBlock();

 private:
  const sigset_t m_before;
};
