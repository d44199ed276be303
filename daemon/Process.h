#pragma once

/// What the process as a whole is set to, for the first thread.

/// Makes the standard streams harmless. To be called before anything opens a file: a standard
/// descriptor that is closed is opened on /dev/null, so that no log file becomes the standard
/// error, and a standard error that nobody reads any more does not end the process.
void SecureStandardStreams();

/// Blocks SIGHUP and SIGTERM in the calling thread, and in the threads it starts from then on. One
/// that arrives stays pending.
void BlockSignals();

/// Opens the calling thread to them, also when whoever started the process had blocked them. What
/// is pending is served before this returns.
void UnblockSignals();

/// Blocks for a scope, and opens at its end.
class [[nodiscard]] CSignalBlock {
 public:
  CSignalBlock() { BlockSignals(); }
  CSignalBlock(const CSignalBlock&) = delete;
  CSignalBlock& operator=(const CSignalBlock&) = delete;
  ~CSignalBlock() { UnblockSignals(); }
};
