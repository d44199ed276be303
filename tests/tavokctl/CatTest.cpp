#include <sys/stat.h>

#include <atomic>
#include <thread>

#include "Ctl.h"
#include "LogOfFiles.h"
#include "Numbered.h"

namespace {

// With three rotated files and a current one.
class CatOfFiles : public LogOfFiles {
 protected:
  CatOfFiles() {
    // Made in another order than that of their names, which tell when they were rotated.
    for (const auto& [name, text] :
         {std::pair("tavok_20260103_000000.log", std::string("3\0\n", 3)),
          {"tavok_20260101_000000.log", "1\n"},
          {"tavok_20260102_120000.log", "2"},
          {"tmp.tavok", "4\n"},
          {"notes", "none of it\n"}}) {
      WriteFile(File(name), text);
    }
    std::filesystem::create_directory(File("tavok_directory"));
  }
  std::string Cat(const std::string& words) const {
    return Expect(m_dir, "cat -c conf " + words, 0, "");
  }
};

const std::string kThree("3\0\n", 3);

}  // namespace

TEST_F(CatOfFiles, ChoosesWholeFilesByTheTimeOfTheirRotations) {
  const std::string now = std::to_string(std::time(nullptr));
  const std::pair<std::string, std::string> cases[] = {
      {"", "1\n2" + kThree + "4\n"},
      {"--since 2026-01-02", "2" + kThree + "4\n"},
      {"--since '2026-01-02 12:00'", "2" + kThree + "4\n"},
      {"--since 2026-01-02T12:00:01", kThree + "4\n"},
      {"--since @" + now, "4\n"},
      {"--since 1s", "4\n"},
      {"-U 2025-12-31", "1\n"},
      {"--until 2026-01-02T11:00", "1\n2"},
      {"--since=2026-01-01T00:00:01 --until=2026-01-02", "2"},
      {"-S 2026-01-02T13:00 -U 2026-01-02T14:00", kThree},
      {"--since 9999999d --until 90000000min", ""}};
  for (const auto& [words, text] : cases)
    EXPECT_EQ(text.empty() ? "1\n" : text, Cat(words)) << words;
}

TEST_F(CatOfFiles, RefusesWhatIsNoTime) {
  for (const std::string time :
       {"yesterday", "2026-02-30", "2026-1-1", "2026-01-01 24:00", "2026-01-01T", "2026-01-01 1:2",
        "2026-01-01T00:00:00Z", "@", "@-1", "@1x", "-1h", "5", "5 min", "h", "1w",
        "99999999999999999999s", ""}) {
    Expect(m_dir, "cat -c conf --since '" + time + "'", 2, "--since takes a time as ");
  }
  Expect(m_dir, "cat -c conf --since 1h --until 2h", 2, "--since is after --until");
}

TEST_F(CatOfFiles, SaysWhatItCannotRead) {
  std::filesystem::create_hard_link(File("tmp.tavok"), File("tavok_link"));
  std::filesystem::create_symlink("tmp.tavok", File("tavok_latest"));
  std::filesystem::create_symlink("nothing", File("tavok_dangling"));
  WriteFile(File("tavok_20990101_000000.log"), "");  // by a clock that was wrong
  EXPECT_EQ("1\n2" + kThree + "4\n", Cat(""));
  EXPECT_EQ("4\n", Cat("--since 1s --until 2100-01-01"));
  std::filesystem::remove(File("tmp.tavok"));
  ASSERT_EQ(0, ::mkfifo(File("tmp.tavok").c_str(), 0600));
  Expect(m_dir, "cat -c conf", 1, "read log/tmp.tavok: it is not a regular file");
  std::filesystem::remove_all(m_dir / "log");
  Expect(m_dir, "cat -c conf", 1, "read directory log: No such file or directory");
}

// Deleted and rotated while the reader pauses.
TEST_F(CatOfFiles, KeepsWhatItHasBegunWith) {
  WriteFile(File("tavok_20260101_000000.log"), std::string(1 << 20, '1'));
  const std::string all = Cat("");
  ASSERT_EQ(0, ::mkfifo((m_dir / "fifo").c_str(), 0600));
  Process cat(ShellWords("exec " TAVOK_DIRECTORY "/tavokctl cat -c conf >fifo"),
              {.directory = m_dir.Path()});
  std::ifstream fifo(m_dir / "fifo", std::ios::binary);
  EXPECT_EQ('1', fifo.peek());
  std::filesystem::remove(File("tavok_20260102_120000.log"));
  std::filesystem::rename(File("tmp.tavok"), File("tavok_20260104_000000.log"));
  EXPECT_EQ(all, std::string(std::istreambuf_iterator<char>(fifo), {}));
  EXPECT_EQ(0, cat.Exit());
}

// What was there before is printed once and in order, also while the directory takes longer to read
// than the time from one rotation to the next.
TEST_F(CatOfFiles, IsSafeAgainstRotations) {
  std::filesystem::remove_all(m_dir / "log");
  std::filesystem::create_directory(m_dir / "log");
  WriteFile(File("tmp.tavok"), Numbered(0, 0));
  std::atomic<int> written = 0;
  std::atomic<bool> isOver = false;
  std::jthread rotations([&] {
    for (int i = 0; i < 1000; written = ++i) {
      const std::time_t time = 1767225600 + i;
      char name[64];
      (void)std::strftime(name, sizeof name, "tavok_%Y%m%d_%H%M%S.log", std::gmtime(&time));
      std::filesystem::rename(File("tmp.tavok"), File(name));
      WriteFile(File("tmp.tavok"), Numbered(0, i + 1));
      if (i % 2 == 0) Nap(3);
    }
    isOver = true;
  });
  while (!isOver) {
    const int before = written;
    const std::string text = Cat("");
    EXPECT_EQ("", NumberedFault(text, {int(text.size() / 100)}));
    EXPECT_GE(text.size() / 100, std::size_t(before));
  }
}
