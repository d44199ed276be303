#pragma once

#include "Ctl.h"

// A tavokctl with a script in the place of tavok, which prints its arguments first.
class Fake {
 public:
  Fake(const TempDir& dir, const std::string& script) : m_dir(dir) {
    std::filesystem::copy_file(TAVOK_DIRECTORY "/tavokctl", dir / "tavokctl",
                               std::filesystem::copy_options::overwrite_existing);
    WriteFile(dir / "tavok", "#!/bin/sh\necho $* >&2\n" + script + "\n");
    std::filesystem::permissions(dir / "tavok", std::filesystem::perms::owner_all);
    WriteFile(dir / "conf", "[LogServer]\nDirName=no/log\nPidFileName=" + (dir / "pid") + "\n");
  }
  Ctl Start(const std::string& words) const {
    return Ctl(m_dir, "start -c conf " + words, "fake", "./tavokctl");
  }

 private:
  const TempDir& m_dir;
};
