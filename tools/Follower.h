#pragma once

#include <deque>
#include <string>

#include "Files.h"

/// Follows the text that a tavok writes into a directory: the current file, and the one that takes
/// its place at each rotation, to its last byte and in order, however many rotations happen between
/// two looks. What tavok itself has removed before it could be read is told of on the standard
/// error. One thread.
class CFollower {
 public:
  /// Watches the directory from now on. Throws CFailure.
  explicit CFollower(const std::string& directory);

  /// Writes the last `lines` lines of the current file to the standard output, if there is such a
  /// file, and then all that comes. Ends by throwing CFailure only: the directory has gone, or the
  /// output cannot be written.
  void Follow(unsigned lines);

 private:
  void ReadEvents();
  void TakeEvent(const struct inotify_event& event);
  bool IsNameAwaited() const { return !m_rotated.empty() && m_rotated.back().empty(); }
  bool AwaitEvent(int timeoutMs) const;
  void RequireDirectory() const;

  bool MoveOn();
  bool IsFinished();
  void OpenNext();
  bool Open(const std::string& name);

  void SeekToLastLines(unsigned lines);
  void Drain();
  bool StartAgainIfCut();

  const std::string m_directory;
  CFileId m_directoryId{};
  CDescriptor m_events;
  CDescriptor m_file;  // the one being read; none before tavok has made it
  CDescriptor m_last;  // the finished one, until the next is open: nothing else gets its identity
  CFileId m_id{};      // of the file opened last
  // The names that the file being read and its successors have been moved to, in order; empty as
  // long as that is not known, and where it was moved out of the directory.
  std::deque<std::string> m_rotated;
  unsigned m_cookie = 0;     // of the last move
  bool m_isCreated = false;  // a current file has been made since the last opening
};
