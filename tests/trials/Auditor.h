#pragma once

#include "Trial.h"

// Reads and checks the log of a flood while it is being written, file by file. The flood waits for
// it: see FloodSetup::lead.
class Auditor {
 public:
  explicit Auditor(const TempDir& dir) : m_dir(dir) {}

  // From here on these senders write, each from number 0. Four do to begin with.
  void Expect(std::size_t senders) { m_reader = NumberedReader(senders); }

  // Reads the rotated files that are new. Returns the first fault.
  std::string Read(Flood& flood) {
    for (const std::string& name : LogFiles(m_dir)) {
      if (!m_known.insert(name).second) continue;
      std::string fault = m_reader.Read(ReadFile(m_dir / ("log/" + name)));
      if (!fault.empty()) return fault;
    }
    flood.HasRead(m_reader.Whole());
    return {};
  }

  // Stops the flood and has the daemon rotate, and again while the last messages are in its queue,
  // until all is read. Returns how many messages were sent.
  long Finish(const Daemon& daemon, Flood& flood) {
    const std::vector<int>& counts = flood.Stop();
    (void)Eventually([&] {
      Rotate(m_dir, daemon);
      EXPECT_EQ("", Read(flood));
      return m_reader.Missing(counts) == 0;
    });
    EXPECT_EQ("", m_reader.Lacks(counts));
    return Sum(counts);
  }

  std::size_t Files() const { return m_known.size() - 1; }

 private:
  const TempDir& m_dir;
  NumberedReader m_reader{4};
  std::set<std::string> m_known{"tmp.tavok"};  // which is read once it has been rotated
};
