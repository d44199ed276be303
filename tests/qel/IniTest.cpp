#include <gtest/gtest.h>

#include "Files.h"
#include "QELIniSettings.h"

using namespace qel;

// All of a parse in one line: "[section]key=value;key=value;[section]".
static std::string Dump(const CIniFile& file) {
  std::string out;
  for (const auto& [name, section] : file.Sections()) {
    out += "[" + name + "]";
    for (const auto& [key, value] : section->Entries()) {
      out.append(key).append("=").append(value).append(";");
    }
  }
  return out;
}

struct Listener final : ISettingsNotification {
  Listener(std::string& heard, const char* name) : m_heard(heard), m_name(name) {}
  void OnSettingsChanged() override { m_heard += m_name; }
  std::string& m_heard;
  const char* m_name;
};

TEST(Ini, Grammar) {
  const std::pair<std::string, std::string> cases[] = {
      {"Port=1\r\n[LogServer]\r\nport = 2\r\nPO\rRT = 3", "[LogServer]port=3;"},
      {"[A]\nx=1\n[a]\nflag=1\nFlag\n  # note\n\t\nk = a=b \n[B\n; x = 1",
       "[A]; x=1;[B=;flag=;k=a=b;"},
      {" [ b ] \nq=\"1\" # kept\n[]\n=x\n[a]", "[]=x;[a][b]q=\"1\" # kept;"},
      {"[A]x\n[A] y]\n[", "[A] y][=;"},
      {std::string("[A]\nx=1\0\ny=2", 12), "[A]x=1;"}};
  for (const auto& [text, expected] : cases) {
    CIniFile file;
    EXPECT_TRUE(file.ParseText(text));
    EXPECT_EQ(expected, Dump(file)) << text;
  }
}

TEST(IniSettings, ListenersHearOfEveryDifference) {
  const TempDir dir;
  const CRefCount<CIniSettings> store = new CIniSettings;
  std::string heard;
  Listener listeners[2] = {{heard, "1"}, {heard, "2"}};
  store->AddListener(&listeners[1], 7);
  store->AddListener(&listeners[0], 8);
  const std::pair<const char*, const char*> loads[] = {
      {"[A]\nx=1", ""},        {"[A]\nx = 1\n", ""},    {"[A]\nX=1", "12"}, {"[A]\nX=1\ny=", "12"},
      {"[A]\nX=1\ny=2", "12"}, {"[a]\nX=1\ny=2", "12"}, {"", "12"},         {"# nothing", ""},
  };
  for (const auto& [text, expected] : loads) {
    heard.clear();
    WriteFile(dir / "conf", text);
    EXPECT_TRUE(store->_Load(dir / "conf"));
    EXPECT_EQ(expected, heard) << text;
  }
}

TEST(IniSettings, AFailedLoadLeavesTheEarlierParse) {
  const TempDir dir;
  const std::string key(10000, 'k');
  WriteFile(dir / "conf", "[A]\n" + key);
  const CRefCount<CIniSettings> store = new CIniSettings;
  EXPECT_FALSE(store->_Load(dir / "missing"));
  EXPECT_FALSE(store->GetIniFile());
  EXPECT_TRUE(store->_Load(dir / "conf"));
  EXPECT_FALSE(store->_Load(dir / "missing"));
  const CRefCount<CIniFile> held = store->GetIniFile();
  EXPECT_TRUE(store->_Load(dir / ""));  // a directory opens and reads as nothing
  EXPECT_EQ("", Dump(*store->GetIniFile()));
  EXPECT_EQ("[A]" + key + "=;", Dump(*held));
}
