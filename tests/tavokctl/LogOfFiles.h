#pragma once

#include <gtest/gtest.h>

#include <string>

#include "Files.h"

// A configuration, conf, with a log directory that no tavok writes to, but the test does.
class LogOfFiles : public testing::Test {
 protected:
  LogOfFiles() {
    WriteFile(m_dir / "conf", "[LogServer]\nDirName=log\n");
    std::filesystem::create_directory(m_dir / "log");
  }
  std::string File(const std::string& name) const { return m_dir / ("log/" + name); }

  const TempDir m_dir;
};
