#pragma once

#include "Trial.h"

// Reads and checks the log of a flood while it is being written, file by file. The flood waits for
// it: see FloodSetup::lead.
class Auditor {
 public:
  explicit Auditor(const TempDir& dir) : m_dir(dir) {}

  // From here on these senders write, each from number 0.
  void Expect(std::size_t senders) { m_reader = NumberedReader(senders); }

  // Reads the rotated files that are new. Returns the first fault.
  std::string Read(Flood& flood) {
    for (const std::string& name : LogFiles(m_dir)) {
      if (name <= m_last || name == "tmp.tavok") continue;
      m_last = name;
      m_files += 1;
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
    EXPECT_TRUE(Eventually([&] {
      Rotate(m_dir, daemon);
      EXPECT_EQ("", Read(flood));
      return m_reader.Missing(counts) == 0;
    })) << "missing: "
        << m_reader.FirstMissing(counts);
    return Sum(counts);
  }

  int Files() const { return m_files; }

 private:
  const TempDir& m_dir;
  NumberedReader m_reader{0};
  std::string m_last;
  int m_files = 0;
};
