#pragma once

/// Settings of the process as a whole, for its first thread.

/// Ignores SIGPIPE and opens each closed standard descriptor on /dev/null, or, where that cannot be
/// opened, on a pipe of which the other end is closed. To be called before anything opens a file:
/// no log file then becomes standard error. Reports no failure.
void SecureStandardStreams();

/// Blocks SIGHUP and SIGTERM in the calling thread and in the threads that it starts from then on.
/// A signal that arrives stays pending.
void BlockSignals();

/// Unblocks both signals in the calling thread, even if they were inherited as blocked. Pending
/// ones are handled before this returns.
void UnblockSignals();

/// Blocks both signals for a scope and unblocks them at its end.
class [[nodiscard]] CSignalBlock {
 public:
  CSignalBlock() { BlockSignals(); }
  CSignalBlock(const CSignalBlock&) = delete;
  CSignalBlock& operator=(const CSignalBlock&) = delete;
  ~CSignalBlock() { UnblockSignals(); }
};
