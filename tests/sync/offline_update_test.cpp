// What was received comes into the tables.
#include <gmock/gmock.h>

#include "storage/format/record_bytes.h"
#include "support/child.h"
#include "support/failing_system.h"
#include "sync/applying_note.h"
#include "sync/received_packets.h"
#include "tables_fixture.h"

using host::packets;
using host::receive;
using host::receiveCatalogue;
using host::waits;
using testing::HasSubstr;

namespace {

using Rows = std::vector<host::Row>;

// As session after session would: the catalogue, then what comes.
void have(const host::Table& table, const Rows& rows) {
  receiveCatalogue({table});
  receive(table.name.c_str(), 'T', packets(rows, 100));
  ASSERT_EQ(ReadFromHH(), 1);
  ASSERT_FALSE(waits(table.name.c_str()));
}

TEST_F(TablesFromHost, DoNothingWithoutACatalogue) {
  receive("ITEMS", 'T', packets({item("A", 1, "one")}, 1));
  EXPECT_EQ(ReadFromHH(), 1);
  EXPECT_EQ(DmFindDatabase(0, "VRN_TBL"), 0u);
  EXPECT_TRUE(waits("ITEMS"));
  EXPECT_EQ(VerifyConsistent() + VerifyTpdaConsistent() + vorne::CatalogTableRecords(), 0);
}

TEST_F(TablesFromHost, ComeWithTheirFieldsAndIndexes) {
  receiveCatalogue({kItems, kLogs});
  EXPECT_EQ(VerifyTpdaConsistent(), 1);
  receive("ITEMS", 'T', packets({item("B", 2.5, "two", "a note"), item("A", 1, "one")}, 1));
  EXPECT_EQ(ReadFromHH(), 1);
  EXPECT_EQ(VerifyTpdaConsistent(), 0);
  EXPECT_EQ(VerifyConsistent(), 1);
  EXPECT_EQ(vorne::CatalogTableRecords(), 2);
  EXPECT_THAT(told(), HasSubstr("Criando tabela:  : ITEMS.\n"));
  EXPECT_EQ(contents("ITEMS"), "B,2.50,two,T,20100101,a note|A,1.00,one,T,20100101,");
  EXPECT_EQ(contents("LOGS"), "");
  use("ITEMS");
  EXPECT_EQ(
      describe(__DBStruct()),
      "{{'CODE','C',8,0},{'PRICE','N',9,2},{'NAME','C',2000,0},{'VIP','L',1,0},{'BORN','D',8,0},{'NOTE','M',4,0}}");
  __TBL_SetOrder(nullptr, text("BYNAME"));
  EXPECT_EQ(visible(__IndexKey(nullptr)), "NAME+PRICE");
  EXPECT_EQ(__Seek(nullptr, text("two"))->objData.mbool, 1);
  EXPECT_TRUE(isSound());
}

TEST_F(TablesFromHost, AreRefusedWhenTheirDescriptionIsNone) {
  std::string many = "F0:C:1";
  for (int i = 1; i < 4000; ++i) many += " F" + std::to_string(i) + ":C:1";
  const host::Table cases[] = {
      {"", "A:C:1"},
      {"../X", "A:C:1"},
      {"X_OS", "A:C:1"},
      {"Y.tPda", "A:C:1"},
      {"catalog.plm", "A:C:1"},
      {std::string(30, 'N'), "A:M"},
      {"T1", "A:X:1"},
      {"T2", "A:I:4"},
      {"T3", "A:C:0"},
      {"T4", "A:C:-1"},
      {"T5", "A:C:40000"},
      {"T6", "A:N:9:10"},
      {"T7", "A:C:1 a:C:2"},
      {"T8", "D_E_L_E_T_:C:2"},
      {"T9", ":C:1"},
      {"TA", many},
      {"TB", "A:C:32767 B:C:32767 C:C:9"},
  };
  for (const host::Table& table : cases) {
    SCOPED_TRACE(table.name + " " + table.fields.substr(0, 30));
    receiveCatalogue({table});
    receive(table.name.c_str(), 'T', {});
    EXPECT_EQ(ReadFromHH(), waits(table.name.c_str()) ? 0 : 1);
    EXPECT_THAT(told(), HasSubstr("Tabela recusada: "));
    EXPECT_FALSE(vorne::TableArea(table.name).isOpen());
  }
  EXPECT_FALSE(std::filesystem::exists("X"));
}

TEST_F(TablesFromHost, AreLeftAloneWhenAnIndexIsNone) {
  std::string many = "I0=A";
  for (int i = 1; i < 40; ++i) many += " I" + std::to_string(i) + "=A";
  for (const std::string index : {"I=B", "INVALID_INDEX=A", "../I=A", "T=A", "I=M", "I=D_E_L_E_T_", many.c_str()}) {
    SCOPED_TRACE(index);
    receiveCatalogue({{"T", "A:C:4 M:M:4", index}});
    receive("T", 'T', {});
    EXPECT_EQ(ReadFromHH(), 0);
    EXPECT_THAT(told(), HasSubstr("Erro utilizando \xEDndice em : T."));
    __TBL_DeleteDatabase(text("T"));
  }
  receiveCatalogue({{"T", "A:C:4", "BYA=A", "BYB"}});
  receive("T", 'P', packets({{host::live(host::text("x"))}}, 1));
  EXPECT_EQ(ReadFromHH(), 0);
  EXPECT_EQ(contents("T"), "");
  EXPECT_TRUE(waits("T"));
}

TEST_F(TablesFromHost, ReplaceTheTableWhenTheyComeWhole) {
  have(kItems, {item("A", 1, "old", "x"), item("B", 2, "old")});
  receive("ITEMS", 'T', packets({item("C", 3, "new", "y"), goneItem("D")}, 1));
  EXPECT_EQ(ReadFromHH(), 1);
  EXPECT_EQ(contents("ITEMS"), "C,3.00,new,T,20100101,y|*D,0.00,,T,20100101,");
  EXPECT_EQ(vorne::ReportOf("ITEMS").applied, 4u);
  told();

  // Not all there yet.
  receive("ITEMS", 'T', packets({item("E", 3, "")}, 1), false);
  EXPECT_EQ(ReadFromHH(), 1);
  EXPECT_TRUE(waits("ITEMS"));
  EXPECT_EQ(told(), "");
  receive("ITEMS", 'T', {}, true);
  EXPECT_EQ(ReadFromHH(), 1);
  EXPECT_THAT(told(), HasSubstr("Sem registros no arquivo: ITEMS.tpda"));
  EXPECT_FALSE(waits("ITEMS"));

  // What the host has not got is not thrown away.
  use("ITEMS");
  __SetField(nullptr, text("PRICE"), number(9));
  __Commit();
  __dbCloseAll();
  receive("ITEMS", 'T', packets({item("E", 3, "")}, 1));
  EXPECT_EQ(ReadFromHH(), 1);
  EXPECT_THAT(told(), HasSubstr("Existem registros marcados para envio na tabela ITEMS. Tabela n\xE3o atualizada."));
  EXPECT_THAT(contents("ITEMS"), HasSubstr("?C,9.00"));
  EXPECT_TRUE(waits("ITEMS"));
  EXPECT_TRUE(isSound());
}

TEST_F(TablesFromHost, MergeByKey) {
  struct Case {
    const char* what;
    Rows rows;
    const char* result;
  };
  const char* before = "A,1.00,one,T,20100101,first|B,2.00,two,T,20100101,";
  const Case cases[] = {
      {"new ones, one twice",
       {item("C", 3, "x"), item("C", 4, "y", "z")},
       "A,1.00,one,T,20100101,first|B,2.00,two,T,20100101,|C,4.00,y,T,20100101,z"},
      {"replaced, longer and shorter",
       {item("A", 5, "a longer name", "a longer note"), item("B", 6, "")},
       "A,5.00,a longer name,T,20100101,a longer note|B,6.00,,T,20100101,"},
      {"memo gone, memo come",
       {item("A", 1, "one"), item("B", 2, "two", "now")},
       "A,1.00,one,T,20100101,|B,2.00,two,T,20100101,now"},
      {"deleted, and one that is not there",
       {goneItem("A"), goneItem("Z")},
       "*A,1.00,one,T,20100101,first|B,2.00,two,T,20100101,"},
      {"deleted, and back again",
       {goneItem("B"), item("B", 7, "back")},
       "A,1.00,one,T,20100101,first|B,7.00,back,T,20100101,"},
      {"the same", {item("A", 1, "one", "first")}, before},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.what);
    have(kItems, {item("A", 1, "one", "first"), item("B", 2, "two")});
    ASSERT_EQ(contents("ITEMS"), before);
    for (int round = 0; round < 2; ++round) {
      receive("ITEMS", 'P', packets(each.rows, 1));
      EXPECT_EQ(ReadFromHH(), 1);
      EXPECT_EQ(contents("ITEMS"), each.result);
    }
    EXPECT_TRUE(isSound());
  }
}

TEST_F(TablesFromHost, TakeTheMarkFromWhatTheyChange) {
  have(kItems, {item("A", 1, "one"), item("B", 2, "two"), item("C", 3, "three")});
  use("ITEMS");
  for (int record = 1; record <= 3; ++record) {
    go(record);
    __SetField(nullptr, text("PRICE"), number(9));
    __Commit();
  }
  receive("ITEMS", 'P', packets({item("A", 9, "one"), item("B", 2, "two")}, 2));
  EXPECT_EQ(ReadFromHH(), 1);
  __dbCloseAll();
  EXPECT_EQ(contents("ITEMS"), "A,9.00,one,T,20100101,|B,2.00,two,T,20100101,|?C,9.00,three,T,20100101,");
}

TEST_F(TablesFromHost, GrowInManyPlacesAtOnce) {
  // Far more would have to be moved than growing them one by one may move.
  Rows rows, grown;
  for (int i = 0; i < 1500; ++i) {
    const std::string code = "K" + std::to_string(i * 7919 % 1500);
    rows.push_back(item(code, i, std::string(200, 'a')));
    grown.push_back(item("K" + std::to_string(i), i, std::string(1000 + i % 7, 'b')));
  }
  have(kItems, rows);
  receive("ITEMS", 'P', packets(grown, 10));
  EXPECT_EQ(ReadFromHH(), 1);
  const vorne::TableArea area("ITEMS");
  ASSERT_EQ(DmNumRecords(area.database()), 1500u);
  for (UInt32 i = 0; i < 1500; ++i) {
    __TBL_GetLastData(area.number(), static_cast<int>(i));
    const std::string code = visible(__GetFieldByID(area.number(), 1));
    EXPECT_EQ(code, "K" + std::to_string(i * 7919 % 1500));
    EXPECT_EQ(visible(__GetFieldByID(area.number(), 3)), std::string(1000 + std::atoi(&code[1]) % 7, 'b'));
  }
  EXPECT_TRUE(isSound());
}

TEST_F(TablesFromHost, ComeBehindTheOthersWithoutAnIndex) {
  have(kLogs, {logLine("one"), logLine("two", "note")});
  receive("LOGS", 'P', packets({logLine("two", "note"), logLine("three")}, 1));
  EXPECT_EQ(ReadFromHH(), 1);
  EXPECT_EQ(contents("LOGS"), "one,|two,note|two,note|three,");
  EXPECT_EQ(DmFindDatabase(0, "APPLYING.tLog"), 0u);
}

// Records that no table of that kind can hold, and packets that are none.
TEST_F(TablesFromHost, KeepOutWhatIsDamaged) {
  const std::string sound = itemFields("A", 1, "x"), head = host::text("A") + host::number(1) + host::text("x");
  const std::string day = host::number(40179);
  const Rows cases[] = {
      {{sound + std::string("?\0", 2), {""}}},                               // no end mark
      {{sound + std::string("!!", 2), {""}}},                                //
      {{host::live(sound.substr(0, sound.size() - 1)), {""}}},               // too short
      {{host::live(sound + "x"), {""}}},                                     // too long
      {{host::live("123456789" + sound), {""}}},                             // a text longer than its field
      {{host::live(head + '\2' + day + host::kNoMemo), {""}}},               // no logical
      {{host::live(head + '\1' + day + std::string("\0\0\0\1", 4)), {""}}},  // a memo of its own choice
      {{"", {""}}},
      {{host::live(sound), {}}},        // no memo's length
      {{host::live(sound), {"", ""}}},  // too many
  };
  std::vector<std::string> damaged;
  for (const Rows& rows : cases) damaged.push_back(host::packet(rows));
  std::string packet = host::packet({item("A", 1, "x")});
  damaged.push_back(packet.substr(0, 9));
  damaged.push_back(packet.substr(0, packet.size() - 4));
  for (const auto& [place, byte] : {std::pair{5, '\x0A'}, {7, '\2'}, {8, '\xFF'}, {9, '\1'}, {12, '\x55'}}) {
    damaged.push_back(packet);
    damaged.back()[static_cast<std::size_t>(place)] ^= byte;
  }
  for (std::size_t i = 0; i < damaged.size(); ++i) {
    SCOPED_TRACE(i);
    have(kItems, {item("B", 2, "old")});
    told();
    const auto comes = [&](const char* table, char type, const host::Row& good) {
      receive(table, type, {host::packet({good}), damaged[i], host::packet({good})});
      const int result = ReadFromHH();
      EXPECT_FALSE(waits(table));
      return result;
    };
    // Whether the host means bytes behind the stream is its business.
    if (i == 14) continue;
    EXPECT_EQ(comes("ITEMS", 'T', item("C", 3, "new")), 0);
    EXPECT_THAT(told(), HasSubstr("Pacote 2 danificado na tabela ITEMS"));
    EXPECT_EQ(contents("ITEMS"), "B,2.00,old,T,20100101,");
    EXPECT_EQ(comes("ITEMS", 'P', item("C", 3, "new")), 0);
    EXPECT_EQ(contents("ITEMS"), "B,2.00,old,T,20100101,|C,3.00,new,T,20100101,");
    // A clean session ends right.
    have(kLogs, {logLine("old")});
    EXPECT_EQ(comes("LOGS", 'P', logLine("new")), 0);
    EXPECT_EQ(contents("LOGS"), "old,");
    use("LOGS");
    __dbZap();
    __dbCloseAll();
    EXPECT_EQ(comes("LOGS", 'T', logLine("new")), 0);
    EXPECT_EQ(contents("LOGS"), "");
    receive("LOGS", 'P', packets({logLine("new")}, 1));
    EXPECT_EQ(ReadFromHH(), 1);
    EXPECT_EQ(contents("LOGS"), "new,");
    EXPECT_EQ(bBatchOper, 0);
  }
  EXPECT_TRUE(isSound());
}

TEST_F(TablesFromHost, LeaveTheListsOfTheSessionAlone) {
  const DmOpenRef list = vorne::OpenTemporary("MsgLog", vorne::kList, vorne::IfExists::Keep);
  EXPECT_EQ(Op_DeleteTbl("MSGLOG.tLog"), 0);
  receiveCatalogue({{"MSGLOG.TLOG", "A:C:1"}});
  EXPECT_EQ(ReadFromHH(), 1);
  EXPECT_THAT(told(), HasSubstr("Tabela recusada: MSGLOG.TLOG"));
  EXPECT_NE(DmFindDatabase(0, "MSGLOG.tLog"), 0u);
  DmCloseDatabase(list);
}

TEST_F(TablesFromHost, AreDeletedBesideOpenAreas) {
  have(kItems, {item("A", 1, "one")});
  ASSERT_TRUE(vorne::OpenCatalogTables());
  use("ITEMS");
  use("ITEMS", "AGAIN");
  EXPECT_EQ(Op_DeleteTbl("ITEMS"), 1);
  EXPECT_EQ(__Used(text("ITEMS"))->objData.mbool + __Used(text("AGAIN"))->objData.mbool, 0);
  EXPECT_EQ(Op_DeleteTbl("VRN_TBL"), 1);
  EXPECT_EQ(numberOf(ng->VrnArea), -1);
  EXPECT_EQ(ReadFromHH(), 1);
  ASSERT_TRUE(vorne::OpenCatalogTables());
  receiveCatalogue({kItems});
  EXPECT_EQ(ReadFromHH(), 1);
  // The catalogue names it, so it comes back, empty.
  EXPECT_EQ(contents("ITEMS"), "");
  vorne::CloseCatalogTables();
  EXPECT_EQ(numberOf(ng->VrnArea), -1);
}

// ---------------------------------------------------------------------------------------------------- interruptions

// One update of four tables: one that is replaced, one that comes new, one that is merged, one that has no index.
void receiveAll() {
  Rows merged, whole, lines;
  for (int i = 0; i < 300; ++i) {
    merged.push_back(i % 11 == 0 ? goneItem("K" + std::to_string(i))
                                 : item("K" + std::to_string(i), i, std::string(i % 60, 'm'), i % 3 ? "" : "note"));
    whole.push_back(item("W" + std::to_string(i), i, std::string(i % 90, 'w'), i % 5 ? "" : "memo"));
    lines.push_back(logLine("line " + std::to_string(i), i % 7 ? "" : "memo"));
  }
  receiveCatalogue({kItems, {"WHOLE", kItems.fields, "W1=CODE W2=NAME"}, {"FRESH", kItems.fields, "F1=CODE"}, kLogs});
  receive("ITEMS", 'P', packets(merged, 40));
  receive("WHOLE", 'T', packets(whole, 40));
  receive("FRESH", 'P', packets(whole, 40));
  receive("LOGS", 'P', packets(lines, 40));
}
std::string allContents() {
  return contents("ITEMS") + "\n" + contents("WHOLE") + "\n" + contents("FRESH") + "\n" + contents("LOGS");
}
void haveAll() {
  Rows rows;
  for (int i = 0; i < 200; ++i) rows.push_back(item("K" + std::to_string(i * 2), i, "before", i % 2 ? "" : "note"));
  have(kItems, rows);
  have({"WHOLE", kItems.fields, "W1=CODE W2=NAME"}, rows);
  have(kLogs, {logLine("first")});
  receiveAll();
}

class InterruptedUpdate : public TablesFromHost {
 protected:
  void SetUp() override {
    TablesFromHost::SetUp();
    vorne::fileSystem.fsync = [](int) { return 0; };
    haveAll();
    closeAll();
    std::filesystem::copy("DB", "before");
    EXPECT_EQ(ReadFromHH(), 1);
    undisturbed_ = allContents();
    EXPECT_TRUE(isSound());
  }
  void again() {
    closeAll();
    std::filesystem::remove_all("DB");
    std::filesystem::copy("before", "DB");
  }
  void expectTheSame() {
    EXPECT_EQ(ReadFromHH(), 1);
    EXPECT_EQ(allContents(), undisturbed_);
    EXPECT_EQ(DmFindDatabase(0, "APPLYING.tLog"), 0u);
    EXPECT_TRUE(isSound());
  }

  std::string undisturbed_;
};

TEST_F(InterruptedUpdate, EndsAsAnUndisturbedOne) {
  // Killed at a system call, and at any time.
  auto& plan = shared<failing::Plan>();
  unsigned kills = 0;
  for (unsigned call = 0; !HasFailure(); call += kSlow ? 131 : 37) {
    SCOPED_TRACE(call);
    again();
    plan = {call, call % 2 == 0};
    const ChildResult child = runChild([&] {
      failing::install("kill", plan);
      ReadFromHH();
    });
    if (child.status == kCameBack) break;
    ++kills;
    expectTheSame();
  }
  EXPECT_GT(kills, 10u);
  for (int moment = 1; moment <= (kSlow ? 8 : 30) && !HasFailure(); ++moment) {
    SCOPED_TRACE(moment);
    again();
    runChild([] { ReadFromHH(); }, std::chrono::microseconds(moment * 700));
    expectTheSame();
  }
}

TEST_F(InterruptedUpdate, KeepsWhatWasAddedMeanwhile) {
  // A sale behind records that an interrupted run has left.
  again();
  const std::string before = contents("LOGS");
  {
    vorne::ApplyingNote("LOGS", vorne::ReceivedPackets("LOGS")).store({1, 41});
    const vorne::TableArea area("LOGS");
    std::vector<host::Row> lines;
    for (int i = 0; i < 45; ++i) {
      const std::string record = logLine("line " + std::to_string(i)).record;
      if (i % 7 != 0 || i < 40) vorne::AppendRecord(area.database(), record);
    }
  }
  use("LOGS");
  __DBAPPEND();
  __SetField(nullptr, text("LINE"), text("sale"));
  __Commit();
  __dbCloseAll();
  const std::string partly = contents("LOGS");
  EXPECT_EQ(ReadFromHH(), 1);
  const std::string after = contents("LOGS");
  EXPECT_EQ(after.substr(0, partly.size()), partly);
  EXPECT_THAT(after.substr(partly.size()),
              testing::AllOf(testing::StartsWith("|line 42,memo|line 43,"), testing::EndsWith("line 299,")));
}

TEST_F(InterruptedUpdate, GoesOnWhenAFullDiskHasRoomAgain) {
  auto& plan = shared<failing::Plan>();
  for (const char* kind : {"fallocate", "ftruncate"}) {
    for (unsigned call = 0; !HasFailure(); call += kSlow ? 9 : 2) {
      SCOPED_TRACE(kind + std::to_string(call));
      again();
      plan = {call, true};
      const ChildResult child = runChild([&] {
        failing::install(kind, plan);
        ReadFromHH();
      });
      if (plan.calls <= call) break;
      // Files that cannot be made end the program, as everywhere.
      EXPECT_TRUE(child.status == kCameBack || child.status == 0) << child.status;
      expectTheSame();
    }
  }
}

}  // namespace
