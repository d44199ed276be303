#include <sys/stat.h>
#include <unistd.h>

#include "Ctl.h"

TEST(Prepare, MakesDirectoriesAndRefusesThoseOfOthers) {
  const TempDir dir;
  WriteFile(dir / "conf", "[LogServer]\nDirName=log\nPort=run/socket\n");
  const std::string own = std::to_string(::getuid()) + ":" + std::to_string(::getgid());
  Expect(dir, "prepare -c conf -o " + own, 0, "");
  using std::filesystem::perms;
  EXPECT_EQ(perms{0750}, std::filesystem::status(dir / "log").permissions());
  EXPECT_EQ(perms{0755}, std::filesystem::status(dir / "run").permissions());
  WriteFile(dir / "log/tmp.tavok", "");
  std::filesystem::permissions(dir / "log", perms{0700});
  Expect(dir, "prepare -c conf -o " + own, 0, "");
  EXPECT_EQ(perms{0700}, std::filesystem::status(dir / "log").permissions());
  if (::geteuid() == 0) {
    Expect(dir, "prepare -c conf -o 0:4", 0, "");
    struct stat now;
    EXPECT_EQ(0, ::stat((dir / "log").c_str(), &now));
    EXPECT_EQ(4U, now.st_gid);
  }
  Expect(dir, "prepare -c conf -o 65521:65521", 1,
         "give directory log to user 65521: it is another's and not empty");
  std::filesystem::rename(dir / "log", dir / "elsewhere");
  std::filesystem::create_symlink("elsewhere", dir / "log");
  Expect(dir, "prepare -c conf -o 65521:65521", 1, "open log: Not a directory");
}
