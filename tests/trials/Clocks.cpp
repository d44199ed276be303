#include "Auditor.h"

TEST(Clock, ThatJumpsLosesNothing) {
  const TempDir top;
  WriteFile(top / "clock", std::string(sizeof(long), '\0'));
  const UpDaemon daemon("ExternalRotation=1\n", "", Shimmed("", top / "clock"));
  Auditor auditor(daemon);
  Flood flood(daemon / "socket", {});
  // None of the shifted times comes again, which would replace a file.
  for (const long shift : {3600L, -3600L, 86400L * 365, -86400L * 365, -2L, 0L}) {
    std::fstream(top / "clock").write(reinterpret_cast<const char*>(&shift), sizeof shift);
    EXPECT_TRUE(flood.Goes(5000));
    Rotate(daemon, daemon, 0);
    EXPECT_EQ("", auditor.Read(flood));
  }
  auditor.Finish(daemon, flood);
}
