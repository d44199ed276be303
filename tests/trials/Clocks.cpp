#include <map>

#include "Trial.h"

namespace {

// All text in the order in which the files were written, which their names do not tell here.
std::string LoggedInOrder(const TempDir& dir) {
  std::map<std::filesystem::file_time_type, std::string> files;
  for (const std::string& name : LogFiles(dir)) {
    const std::string path = dir / ("log/" + name);
    files[std::filesystem::last_write_time(path)] += ReadFile(path);
  }
  std::string text;
  for (const auto& [time, part] : files) text += part;
  return text;
}

}  // namespace

TEST(Clock, ThatJumpsLosesNothing) {
  const TempDir dir;
  WriteFile(dir / "clock", std::string(sizeof(long), '\0'));
  const Daemon daemon(dir, "ExternalRotation=1\n", "", Shimmed("", dir / "clock"));
  ASSERT_TRUE(daemon.IsUp());
  Flood flood(dir / "socket", {});
  std::size_t rotated = 1;
  for (const long shift : {3600L, -3600L, 86400L * 365, -86400L * 365, 2L, 0L}) {
    std::fstream(dir / "clock").write(reinterpret_cast<const char*>(&shift), sizeof shift);
    EXPECT_TRUE(flood.Goes(5000));
    daemon.Signal(SIGHUP);
    EXPECT_TRUE(Eventually([&, want = ++rotated] { return LogFiles(dir).size() == want; }));
  }
  const std::vector<int>& counts = flood.Stop();
  std::string fault;
  (void)Eventually([&] {
    fault = NumberedFault(LoggedInOrder(dir), counts);
    return fault.empty();
  });
  EXPECT_EQ("", fault);
}
