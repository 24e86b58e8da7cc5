// Whole sessions: the order of their phases, what they leave when they fail, and the texts that they tell.
#include <gtest/gtest.h>

#include <string>

#include "builtins/vornefun.h"
#include "screen/back_end.h"
#include "storage/databases/tempdb.h"
#include "sync/config.h"
#include "sync/line_fixture.h"
#include "sync/session_report.h"
#include "sync/state_lines.h"

namespace {

using namespace std::string_literals;

class Session : public LineTest {
 protected:
  void SetUp() override {
    LineTest::SetUp();
    for (const char* marker : {"zlibce.dll", "selfinst.exe"}) std::ofstream(directory.path() / marker);
    SetApplicationDirectory(directory.path().c_str());
  }
  void TearDown() override {
    SetApplicationDirectory(nullptr);
    LineTest::TearDown();
  }

  double sync(double port = 7000, double timeout = 20) {
    return __DoSync(text("A"), text("host"), __INIT_DOUBLE(port), __INIT_DOUBLE(timeout), text("DEV"), text("GROUP"))
        ->objData.mdbl;
  }
  // Without netglb the log lies closed.
  std::string messages() {
    std::string all;
    for (int i = 0; i < vorne::MessageCount(); ++i) all += vorne::MessageAt(i) + "\n";
    return all;
  }
};

TEST_F(Session, WithoutTasksOrCatalogueEndsInOrder) {
  host->welcome().reply("0");
  EXPECT_EQ(sync(), 0);
  const std::string told = messages();
  EXPECT_NE(told.find("Solicitando tarefas\nqtd_tasks=0\nMsg(97)-Desconectando!\nDesconectando...\nSend Bye\n"),
            std::string::npos);
  EXPECT_NE(told.find("Master Table ou Master Index inexistente (5)!."), std::string::npos);
  EXPECT_NE(told.find("Entre em contato com o CPD. Client inconsistente."), std::string::npos);
  EXPECT_EQ(netglb, nullptr);
  EXPECT_STREQ(__SyncDate()->objData.mbuff, "19900101");
  EXPECT_EQ(GetTmpDbQtdRecs("MsgLog", 'L'), vorne::MessageCount());
}

TEST_F(Session, RefusesWhatNoHostCanHave) {
  for (const double port : {0.0, -1.0, 65536.0, 1e300}) EXPECT_EQ(sync(port), 1108);
  EXPECT_EQ(sync(7000, -1), 1108);
  EXPECT_EQ(host->sent, "");
}

TEST_F(Session, WaitsTwoMinutesAtMost) {
  host->atEnd = ScriptedHost::AtEnd::kSilent;
  EXPECT_EQ(sync(7000, 300), 1111);
  EXPECT_EQ(host->waited, 150);
}

TEST_F(Session, UsesWhatIsStored) {
  const auto stored = [] { return __DoSync(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr)->objData.mdbl; };
  EXPECT_EQ(stored(), 0);
  EXPECT_EQ(vorne::SessionResult(), 1);
  EXPECT_NE(messages().find("Usu\xE1rio n\xE3o cadastrado."), std::string::npos);
  CreateUser(text(" DEV "), text("x"), text("nowhere"), text("7000"), text("60"));
  vorne::screen.form = [](const char*, std::span<vorne::FormField> fields, const char*, const char*) {
    fields[0].text = " loja ";
    return true;
  };
  CONFIGURACOES();
  vorne::screen = vorne::kTextScreen;
  vorne::UserSettings settings;
  ASSERT_EQ(vorne::ReadSettings(settings), vorne::SettingsFound::Yes);
  EXPECT_EQ(settings.user, "LOJA");
  EXPECT_EQ(settings.device, "DEV");
  EXPECT_EQ(stored(), 1125);
  CreateUser(text("DEV"), text("loja"), text("host"), text("7000"), text("60"));
  host->welcome().reply("0");
  EXPECT_EQ(stored(), 0);
  EXPECT_NE(host->sent.find("33\0\0LOJA\0"s), std::string::npos);
  __DBCREATE(text("CAD_USER"),
             __CreateArray(__CreateArray(text("X"), text("C"), __INIT_DOUBLE(5), __INIT_DOUBLE(0), __INIT_NUL()),
                           __INIT_NUL()));
  EXPECT_EQ(stored(), 0);
  EXPECT_NE(messages().find("Erro abrindo tabela de Configura\xE7\xF5\x65s."), std::string::npos);
}

TEST_F(Session, StopsForARestartWithoutAnError) {
  host->welcome().reply("2").reply("\x0D\x1E\0N\0"s).reply("\x0D\x02\0T\0"s);
  bRestart = 0;
  // A platform's install sets it; here the first task's place does.
  EXPECT_EQ(DoSync("host", 7000, "G", "", "D", 20, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(S_GLOB->bRestart, 0);
}

TEST_F(Session, TextsAreThereInThreeLanguages) {
  for (const SyncTextTable* table : {&stringMsgSync, &stringMsgSyncEng, &stringMsgSyncSpa})
    for (const char* words : *table) ASSERT_TRUE(words != nullptr && *words != 0);
  iSyncLang = 2;
  host->refuses = true;
  EXPECT_EQ(sync(), 1108);
  iSyncLang = 1;
  EXPECT_NE(messages().find("Connection error. Try again!"), std::string::npos);
}

}  // namespace
