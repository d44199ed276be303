#pragma once

#include <mutex>
#include <string>
#include <thread>
#include <vector>

// A Unix-domain datagram socket that somebody else sends to. It is read all the time: its queue
// holds few messages, and senders drop what does not fit.
class Collector {
 public:
  // Replaces what is at the path. Throws std::runtime_error if it cannot be bound.
  explicit Collector(const std::string& path);
  Collector(const Collector&) = delete;
  Collector& operator=(const Collector&) = delete;
  ~Collector();

  // How many messages have come that contain `text`.
  long Count(const std::string& text);
  // Waits until one has come.
  bool Sees(const std::string& text);

 private:
  void Read(const std::stop_token& stop);

  const std::string m_path;
  const int m_fd;
  std::mutex m_mutex;
  std::vector<std::string> m_messages;
  std::jthread m_reader;
};
