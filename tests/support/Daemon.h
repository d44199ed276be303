#pragma once

#include <gtest/gtest.h>

#include "Files.h"
#include "Sockets.h"
#include "Tavok.h"
#include "Waiting.h"

// A tavok that a test expects to stop in order.
class Daemon : public Tavok {
 public:
  // See TavokSetup.
  explicit Daemon(const TempDir& dir, const std::string& settings = "",
                  const std::string& arguments = "", const std::string& prefix = "")
      : Tavok(dir.Path(), {.settings = settings, .arguments = arguments, .prefix = prefix}) {}
  Daemon(const TempDir& dir, const TavokSetup& setup) : Tavok(dir.Path(), setup) {}
  // One that still runs is asked to stop.
  ~Daemon() {
    if (Id() == 0) return;
    EXPECT_EQ(0, Stop()) << Output();
  }
};

// A daemon that is up, in a directory of its own.
class UpDaemon : public TempDir, public Daemon {
 public:
  // See Daemon. Throws std::runtime_error if it does not come up.
  explicit UpDaemon(const std::string& settings = "", const std::string& arguments = "",
                    const std::string& prefix = "")
      : Daemon(static_cast<const TempDir&>(*this), settings, arguments, prefix) {
    Check(IsUp(), Output());
  }
};
