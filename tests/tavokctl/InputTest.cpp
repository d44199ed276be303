#include <sys/resource.h>
#include <sys/stat.h>

#include "Fake.h"

// Whatever a path leads to, each command answers at once, and in little memory.
TEST(Input, OfOtherKindsThanFilesIsRefused) {
  const TempDir dir;
  ASSERT_EQ(0, ::mkfifo((dir / "fifo").c_str(), 0600));
  std::filesystem::create_directory(dir / "directory");
  WriteFile(dir / "gigabyte", "[LogServer]\n");
  std::filesystem::resize_file(dir / "gigabyte", 1 << 30);
  const std::pair<std::string, std::string> cases[] = {{dir / "fifo", ": it is not a regular file"},
                                                       {"/dev/zero", ": it is not a regular file"},
                                                       {dir / "directory", ": Is a directory"},
                                                       {dir / "gigabyte", ": it has more than "}};
  for (const auto& [path, why] : cases) {
    WriteFile(dir / "conf", "[LogServer]\nDirName=log\nPort=socket\nPidFileName=" + path + "\n");
    const std::string reads = "read " + (path + why), names = " -c " + path;
    for (const std::string command : {"check", "start", "stop", "status", "rotate", "tail"}) {
      const int status = command == "status" ? 4 : 1;
      Expect(dir, command + names, status, reads);
      const bool usesPidFile = command != "check" && command != "tail";
      if (usesPidFile) Expect(dir, command + " -c conf", status, reads);
    }
  }
  rusage usage{};
  ASSERT_EQ(0, ::getrusage(RUSAGE_CHILDREN, &usage));
  EXPECT_LT(usage.ru_maxrss, kSanitized ? 500 << 10 : 100 << 10);  // KiB
}

// What senders write and files are called must not control a terminal; in a pipe it stays as it is.
TEST(Input, IsMadeFitForATerminalOnly) {
  const TempDir dir;
  const std::string evil =
                        "\033[2J\x9B"
                        "31m\xC2\x9B"
                        "32m\r\a\x7F\xE0\x80\x9B\xF4\x90\x80\x80",
                    fit =
                        "?[2J?31m?32m?????"
                        "????????",
                    good = "\t\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\n";
  const std::string log = "log\033[1m";
  std::filesystem::create_directory(dir / log);
  WriteFile(dir / (log + "/tmp.tavok"), evil + good);
  WriteFile(dir / (log + "/tavok_\x9B"), "");
  WriteFile(dir / "conf", "[LogServer]\nDirName=" + log + "\nPidFileName=pid\nPort=socket\n");
  const auto onTerminal = [&](const std::string& words) {
    Ctl script(dir, "'" TAVOK_DIRECTORY "/tavokctl " + words + " -c conf' /dev/null </dev/null",
               "script", "env NO_COLOR=1 script -qec");
    (void)script.Status();
    return script.Out();
  };
  const std::string kept = good.substr(0, good.size() - 1) + "\r\n";  // the terminal adds the CR
  EXPECT_EQ(
      "?[2J?31m?32m???"
      "???"
      "????" +
          kept,
      onTerminal("cat"));
  EXPECT_EQ(onTerminal("cat"), onTerminal("tail --no-follow"));
  for (const std::string words : {"check", "status", "stop"}) {
    const std::string said = onTerminal(words);
    EXPECT_EQ(said.npos, said.find_first_of("\033\x9B")) << said;
    EXPECT_TRUE(words == "stop" || said.find("log?[1m") != said.npos) << said;
  }
  for (const std::string words : {"cat -c conf", "tail --no-follow -c conf"}) {
    EXPECT_EQ(evil + good, Expect(dir, words, 0, ""));
  }
}
