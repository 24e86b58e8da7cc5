// The message log: its name, its lines, and that it can fail without harm.
#include "log/message_log.h"
#include "host.h"
#include "runtime/vorneobjs.h"

namespace {

class MessageLogTest : public HostTest {
 protected:
  static std::vector<std::string> logs() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
      if (entry.path().extension() == ".log") names.push_back(entry.path().filename());
    }
    return names;
  }
  /// The name for the local time `t`, minute before hour.
  static std::string nameAt(std::time_t t) {
    char name[64];
    std::strftime(name, sizeof name, "msglog_%M%H%d%m%Y.log", std::localtime(&t));
    return name;
  }
};

TEST_F(MessageLogTest, ACallLeavesOneLineInAFileNamedAfterTheMinute) {
  const std::time_t before = std::time(nullptr);
  call("abc", 10, 999);
  call("", 10, 997);
  const std::time_t after = std::time(nullptr);
  const std::vector<std::string> names = logs();
  ASSERT_FALSE(names.empty());
  EXPECT_TRUE(names.back() == nameAt(before) || names.back() == nameAt(after)) << names.back();
  // The second call of a minute leaves nothing of the first.
  if (names.size() == 1) {
    unsigned long address = 0;
    int end = 0;
    const std::string line = readFile(names[0]);
    EXPECT_EQ(std::sscanf(line.c_str(), "aParams -> %lx - aParamSz=0 \n%n", &address, &end), 1);
    EXPECT_EQ(static_cast<std::size_t>(end), line.size()) << line;
  }
}

TEST_F(MessageLogTest, ScriptsWriteLinesUntilTheEndOfTheCall) {
  __BeginGlobal();
  WRITELOG(nullptr);
  WRITELOG(__INIT_NIL());
  EXPECT_TRUE(logs().empty());
  WRITELOG(__INIT_CHARPTR("primeira"));
  EXPECT_EQ(__OpenMsgLog(0), 1);  // keeps what is open
  __WriteMsgLog("a\xE7\xE3o");
  EXPECT_EQ(__GetAmnRecsMsgLog(), 0);
  EXPECT_EQ(__ReadMsgLog(0, nullptr), 0);
  __EndGlobal();  // closes and so writes it out
  ASSERT_EQ(logs().size(), 1U);
  EXPECT_EQ(readFile(logs()[0]), "primeira\na\xE7\xE3o\n");

  __BeginGlobal();
  __WriteMsgLog("old");
  EXPECT_EQ(__OpenMsgLog(1), 1);
  EXPECT_EQ(__CloseMsgLog(), 1);
  EXPECT_EQ(readFile(logs().back()), "");
  __EndGlobal();
}

TEST_F(MessageLogTest, TheNameFollowsTheZoneThatTheHostSets) {
  for (const char* zone : {"A0", "B-5:17", "C7:41"}) {
    setenv("TZ", zone, 1);
    __BeginGlobal();
    __WriteMsgLog(zone);
    __EndGlobal();
    const std::time_t now = std::time(nullptr);
    EXPECT_TRUE(std::filesystem::exists(nameAt(now)) || std::filesystem::exists(nameAt(now - 60))) << zone;
  }
  unsetenv("TZ");
}

TEST_F(MessageLogTest, WithoutAPlaceForTheLogTheCallGoesOn) {
  for (std::time_t t = std::time(nullptr) - 60; t < std::time(nullptr) + 180; t += 60) {
    std::filesystem::create_directory(nameAt(t));
  }
  EXPECT_EQ(call("", 10, 997).text, "11");
}

}  // namespace
