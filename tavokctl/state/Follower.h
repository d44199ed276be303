#pragma once

#include <deque>
#include <string>

#include "base/Files.h"
#include "base/Output.h"

/// Follows the text that a tavok writes into a directory: the current file and, after each
/// rotation, its successor, each to the last byte and in order, however many rotations happen
/// between two reads. A file that tavok has deleted before it could be read is reported on standard
/// error; so is a loss of events, after so many rotations that the kernel stops to count them. One
/// thread.
class CFollower {
 public:
  /// Watches the directory from now on. Throws CFailure.
  explicit CFollower(const std::string& directory);

  /// Writes the last `lines` lines to standard output, those of rotated files where the current one
  /// has fewer. Throws CFailure when the output cannot be written. To be called once, first.
  void WriteLastLines(unsigned lines);

  /// Instead of Follow: writes an incomplete character that the text has ended with.
  void End();

  /// Then all that is added. Never returns; throws CFailure as above, and when the directory has
  /// been removed.
  void Follow();

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

  void WriteRotated(class CLineSearch& search);
  void Resume();
  void Drain();
  void CopyTo(std::uint64_t end);
  bool RestartIfTruncated();

  const std::string m_directory;
  CFileId m_directoryId{};
  CDescriptor m_events;
  CDescriptor m_file;  // the one being read; none before tavok has made it
  CDescriptor m_last;  // the finished one, kept open until the next is: its inode is not reused
  CFileId m_id{};      // of the file opened last
  // The names to which the file being read and its successors have been renamed, in order; an empty
  // one while the new name is not known, and for good if that is outside the directory.
  std::deque<std::string> m_rotated;
  unsigned m_cookie = 0;     // of the last rename
  bool m_isCreated = false;  // a current file has been created since the last OpenNext
  bool m_hasLostEvents = false;
  CTextOutput m_output;
};
