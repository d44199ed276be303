#include "Daemon.h"
#include "LogServerEngine.h"

TEST(Engine, RotatesToUtcNamesAndKeepsTheLaterOfASecond) {
  ::setenv("TZ", "XXX-14", 1);
  const TempDir dir;
  std::filesystem::create_directory(dir / "log");
  WriteFile(dir / "log/tmp.tavok", "earlier ");
  CLogServerEngine engine(dir / "log", 1, 1, 1, true);
  EXPECT_EQ(&engine, CLogServerEngine::m_pLogServerEngine);
  EXPECT_FALSE(engine.Write("too early"));
  ASSERT_TRUE(engine.Init());
  EXPECT_TRUE(engine.Write("later") && !engine.Write(""));
  EXPECT_EQ("earlier later", Logged(dir));
  AwaitNextSecond();
  engine.Rotate();
  EXPECT_TRUE(engine.Write("second"));
  engine.Rotate();
  const std::time_t now = std::time(nullptr);
  char name[64];
  std::strftime(name, sizeof name, "tavok_%Y%m%d_%H%M%S.log", ::gmtime(&now));
  EXPECT_EQ((std::set<std::string>{name, "tmp.tavok"}), LogFiles(dir));
  EXPECT_EQ("second", Logged(dir));
}

TEST(Engine, RecyclesByTotalSizeThenByAge) {
  const TempDir dir;
  CLogServerEngine keepSome(dir / "log", 1, 3600, 30, true),
      keepYoung(dir / "log", 1, 2, 100, true);
  ASSERT_TRUE(keepSome.Init() && keepYoung.Init());
  std::uint32_t total = 1, oldest = 0;
  std::string name;
  // By age of status change, not by name; any name with the mark in it counts.
  for (const char* file : {"b_tavok_", "tavok_c", "tavok_a", "tavok_e", "other"}) {
    WriteFile(dir / (std::string("log/") + file), "ten bytes.");
    AwaitNextSecond();
  }
  keepSome.Recycle();
  EXPECT_EQ((std::set<std::string>{"other", "tavok_a", "tavok_e", "tmp.tavok"}), LogFiles(dir));
  keepSome.GetLastModified(name, total, oldest);
  EXPECT_TRUE(total == 20 && oldest == 0 && name.empty());
  keepYoung.Recycle();
  EXPECT_EQ((std::set<std::string>{"other", "tmp.tavok"}), LogFiles(dir));
  CLogServerEngine keepNone(dir / "log", 1, 0, 30, true);
  ASSERT_TRUE(keepNone.Init());
  EXPECT_THROW(keepNone.Recycle(), qel::CFile::CException);
}
