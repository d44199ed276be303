#pragma once

#include <functional>
#include <map>
#include <string>

#include "Running.h"

/// What is sent to a subject: `datagrams` of `size` bytes, shared out among the senders.
struct Load {
  bool udp = false;
  unsigned size = 100;   // bytes
  unsigned senders = 4;  // each is a process
  unsigned rate = 0;     // datagrams per second; 0: as fast as they are taken
  long datagrams = 100'000;
  /// No two are alike, and what is stored is checked by their numbers. The size is 100 then.
  bool numbered = false;
  double seconds = 0;  // senders stop when these are over, whatever is left to send; 0: they do not
  bool held = false;   // the socket is bound beforehand, and passed to the subject
  int signal = 0;      // that ends the subject now and then; 0: none does
};

/// What was measured, by name; bench/comparison/Results.cpp writes them.
using Figures = std::map<std::string, double>;

/// What a subject makes of one datagram in its files.
struct Written {
  std::uintmax_t bytes = 0;
  bool unchanged = false;
  std::size_t logged = 0;  // the length of what it has logged when this was found out
};

/// Feeds a subject by a datagram socket or a pipe, and waits for room there.
class Feeder {
 public:
  explicit Feeder(const Running& subject);
  Feeder(const Feeder&) = delete;
  Feeder& operator=(const Feeder&) = delete;
  ~Feeder();

  /// Throws std::runtime_error when the text cannot be sent; to a socket, within 30 seconds.
  void Send(const std::string& text) const;

 private:
  const bool m_isPipe;
  const int m_fd;
};

/// Sends a few datagrams of the load's size, slowly, to a subject that has just been started, and
/// looks at its files. Warms it up, too. Throws std::runtime_error when not all arrive.
Written WarmUp(const Load& load, const Running& subject);

/// Sends the load, with `meanwhile` called when the senders have begun, and waits until all of it
/// is in the subject's files, or nothing more comes. Returns how many were sent, received and lost,
/// the cost, and the speed until the last one was in the file. Throws std::runtime_error when
/// something cannot be sent.
Figures Send(const Load& load, const Running& subject, const Written& each,
             const std::function<void()>& meanwhile = {});

/// Sends numbered messages as fast as they are taken, ends the subject five times by the load's
/// signal meanwhile, and starts it again. Returns how many sends succeeded, and how many of these
/// messages were received and lost.
Figures SendAndRestart(const Load& load, Running& subject, const Written& each);

/// Sends a numbered load; each sender kills the subject when its last send has returned. Returns
/// how many were sent, received and lost.
Figures SendAndKill(const Load& load, const Running& subject, const Written& each);
