// What was received comes into the tables.
#include <gmock/gmock.h>

#include "storage/format/record_bytes.h"
#include "support/child.h"
#include "support/failing_system.h"
#include "sync/applying_note.h"
#include "sync/missing_records.h"
#include "sync/received_packets.h"
#include "tables_fixture.h"

using host::packets;
using host::receive;
using host::receiveCatalogue;
using host::waits;
using testing::HasSubstr;

namespace {

using Rows = std::vector<host::Row>;

// Items as "CODE PRICE NAME NOTE", "-CODE" for a deleted one, parted by ";".
Rows items(const std::string& words) {
  Rows rows;
  for (const std::string& each : split(words, ';')) {
    std::vector<std::string> word = split(each, ' ');
    word.resize(4);
    rows.push_back(each[0] == '-' ? goneItem(&each[1]) : item(word[0], std::atof(word[1].c_str()), word[2], word[3]));
  }
  return rows;
}

// What a session receives and applies.
int update(const char* table, char type, const Rows& rows, std::size_t each = 1) {
  receive(table, type, packets(rows, each));
  return ReadFromHH();
}
// The same for a table that is to be there.
void have(const host::Table& table, const Rows& rows) {
  receiveCatalogue({table});
  ASSERT_EQ(update(table.name.c_str(), 'T', rows, 100), 1);
  ASSERT_FALSE(waits(table.name.c_str()));
}

TEST_F(TablesFromHost, ComeWithTheirFieldsAndIndexes) {
  // Not without a catalogue.
  EXPECT_EQ(update("ITEMS", 'T', items("B 2.5 two a-note;A 1 one")), 1);
  EXPECT_TRUE(waits("ITEMS"));
  EXPECT_EQ(VerifyConsistent() + VerifyTpdaConsistent() + vorne::CatalogTableRecords(), 0);
  receiveCatalogue({kItems, kLogs});
  EXPECT_EQ(VerifyTpdaConsistent(), 1);
  EXPECT_EQ(ReadFromHH(), 1);
  EXPECT_EQ(VerifyConsistent() - VerifyTpdaConsistent() + vorne::CatalogTableRecords(), 3);
  EXPECT_THAT(told(), HasSubstr("Criando tabela:  : ITEMS.\n"));
  EXPECT_EQ(contents("ITEMS") + contents("LOGS"), "B,2.50,two,T,20100101,a-note|A,1.00,one,T,20100101,");
  use("ITEMS");
  __TBL_SetOrder(nullptr, text("BYNAME"));
  EXPECT_EQ(visible(__IndexKey(nullptr)), "NAME+PRICE");
  EXPECT_EQ(__Seek(nullptr, text("two"))->objData.mbool, 1);
  EXPECT_TRUE(isSound());
}

TEST_F(TablesFromHost, AreRefusedWhenTheirDescriptionIsNone) {
  std::string many = "F0:C:1";
  for (int i = 1; i < 4000; ++i) many += " F" + std::to_string(i) + ":C:1";
  for (const char* name : {"", "../X", "X_OS", "Y.tPda", "catalog.plm", "N23456789012345678901234567890"}) {
    receiveCatalogue({{name, "A:M"}});
    ReadFromHH();
    EXPECT_THAT(told(), HasSubstr("Tabela recusada: ")) << name;
    EXPECT_FALSE(vorne::TableArea(name).isOpen());
  }
  for (const std::string fields : {"A:X:1", "A:I:4", "A:C:0", "A:C:-1", "A:C:40000", "A:N:9:10", "A:C:1 a:C:2", ":C:1",
                                   "D_E_L_E_T_:C:2", "A:C:32767 B:C:32767 C:C:9", many.c_str()}) {
    receiveCatalogue({{"T", fields}});
    EXPECT_EQ(update("T", 'T', {}), 0) << fields;
    EXPECT_THAT(told(), HasSubstr("Tabela recusada: T"));
  }
  std::string indexes = "I0=A";
  for (int i = 1; i < 40; ++i) indexes += " I" + std::to_string(i) + "=A";
  for (const std::string index : {"I=B", "INVALID_INDEX=A", "../I=A", "T=A", "I=M", "I=D_E_L_E_T_", indexes.c_str()}) {
    receiveCatalogue({{"T", "A:C:4 M:M:4", index}});
    EXPECT_EQ(update("T", 'T', {}), 0) << index;
    EXPECT_THAT(told(), AllOf(HasSubstr("\xCDndice recusado: "), HasSubstr("Erro utilizando \xEDndice em : T.")));
    __TBL_DeleteDatabase(text("T"));
  }
  have(kItems, {});
  receiveCatalogue({kItems, {"T", "A:C:4 M:M:4", "BYCODE=A"}});
  EXPECT_EQ(update("T", 'T', {}), 0);
  EXPECT_THAT(told(), HasSubstr("\xCDndice recusado: BYCODE (ITEMS)"));
  __TBL_DeleteDatabase(text("T"));
  receiveCatalogue({{"T", "A:C:4", "BYA=A", "BYB"}});
  EXPECT_EQ(update("T", 'P', {{host::live(host::text("x"))}}), 0);
  EXPECT_EQ(contents("T"), "");
  EXPECT_TRUE(waits("T"));
}

TEST_F(TablesFromHost, ReplaceTheTableWhenTheyComeWhole) {
  have(kItems, items("A 1 old x;B 2 old"));
  EXPECT_EQ(update("ITEMS", 'T', items("C 3 new y;-D")), 1);
  EXPECT_EQ(contents("ITEMS"), "C,3.00,new,T,20100101,y|*D,0.00,,T,20100101,");
  EXPECT_EQ(vorne::ReportOf("ITEMS").applied, 4u);
  told();
  // Not all there yet.
  receive("ITEMS", 'T', packets(items("E 3"), 1), false);
  EXPECT_EQ(ReadFromHH(), 1);
  EXPECT_TRUE(waits("ITEMS"));
  EXPECT_EQ(told(), "");
  EXPECT_EQ(update("ITEMS", 'T', {}), 1);
  EXPECT_THAT(told(), HasSubstr("Sem registros no arquivo: ITEMS.tpda"));
  EXPECT_FALSE(waits("ITEMS"));
  // What the host has not got is not thrown away.
  setPrice(1, 9);
  EXPECT_EQ(update("ITEMS", 'T', items("E 3")), 1);
  EXPECT_THAT(told(), HasSubstr("Existem registros marcados para envio na tabela ITEMS. Tabela n\xE3o atualizada."));
  EXPECT_THAT(contents("ITEMS"), HasSubstr("?C,9.00"));
  EXPECT_TRUE(waits("ITEMS"));
}

TEST_F(TablesFromHost, MergeByKey) {
  struct Case {
    const char *rows, *result;
  };
  const Case cases[] = {
      {"C 3 x;C 4 y z", "A,1.00,one,T,20100101,first|B,2.00,two,T,20100101,|C,4.00,y,T,20100101,z"},
      {"A 5 longer a-longer-note;B 6", "A,5.00,longer,T,20100101,a-longer-note|B,6.00,,T,20100101,"},
      {"A 1 one;B 2 two now", "A,1.00,one,T,20100101,|B,2.00,two,T,20100101,now"},
      {"-A;-Z", "*A,1.00,one,T,20100101,first|B,2.00,two,T,20100101,"},
      {"-B;B 7 back", "A,1.00,one,T,20100101,first|B,7.00,back,T,20100101,"},
      {"A 1 one first", "A,1.00,one,T,20100101,first|B,2.00,two,T,20100101,"},
  };
  for (const Case& each : cases) {
    have(kItems, items("A 1 one first;B 2 two"));
    for (int round = 0; round < 2; ++round) {
      EXPECT_EQ(update("ITEMS", 'P', items(each.rows)), 1);
      EXPECT_EQ(contents("ITEMS"), each.result);
    }
    EXPECT_TRUE(isSound());
  }
  // One that was made longer by a process that died then.
  have(kItems, items("A 1"));
  const DmOpenRef db = DmOpenDatabase(0, DmFindDatabase(0, "ITEMS"), 3);
  const MemHandle handle = DmGetRecord(db, 0);
  MemHandleResize(handle, MemHandleSize(handle) + 9);
  DmReleaseRecord(db, 0, 0);
  DmCloseDatabase(db);
  EXPECT_EQ(update("ITEMS", 'P', items("-A")), 1);
  EXPECT_EQ(contents("ITEMS"), "*A,1.00,,T,20100101,");
  EXPECT_TRUE(isSound());
  // Records that come carry no mark, whether they change anything or not.
  have(kItems, items("A 1;B 2;C 3"));
  for (int record = 1; record <= 3; ++record) setPrice(record, 9);
  EXPECT_EQ(update("ITEMS", 'P', items("A 9;B 2"), 2), 1);
  EXPECT_EQ(contents("ITEMS"), "A,9.00,,T,20100101,|B,2.00,,T,20100101,|?C,9.00,,T,20100101,");
  // Without an index they come behind the others.
  have(kLogs, {logLine("one"), logLine("two", "note")});
  EXPECT_EQ(update("LOGS", 'P', {logLine("two", "note"), logLine("three")}), 1);
  EXPECT_EQ(contents("LOGS"), "one,|two,note|two,note|three,");
}

TEST_F(TablesFromHost, GrowInManyPlacesAtOnce) {
  // Far more would have to be moved than growing them one by one may move.
  constexpr int kRows = 1500;
  Rows rows, grown;
  std::string expected;
  for (int i = 0; i < kRows; ++i) {
    const int number = i * 7919 % kRows;
    rows.push_back(item("K" + std::to_string(number), 1, std::string(200, 'a')));
    grown.push_back(item("K" + std::to_string(i), 1, std::string(1000 + i % 7, 'b')));
    expected += (i == 0 ? "K" : "|K") + std::to_string(number) + ",1.00," + std::string(1000 + number % 7, 'b') +
                ",T,20100101,";
  }
  have(kItems, rows);
  EXPECT_EQ(update("ITEMS", 'P', grown, 10), 1);
  EXPECT_TRUE(contents("ITEMS") == expected);
  EXPECT_TRUE(isSound());
}

TEST_F(TablesFromHost, AreRefusedByATableOfOtherFields) {
  const std::string own = "CODE:C:8 PRICE:N:9:2";
  const std::pair<std::string, const char*> cases[] = {
      {"CODE:C:9 PRICE:N:9:2", "CODE"},         {"CODE:C:8 PRICE:C:9", "PRICE"}, {"CODE:C:8 COST:N:9:2", "COST"},
      {"PRICE:N:9:2 CODE:C:8", "PRICE"},        {"CODE:C:8", "PRICE"},           {"CODE:C:8 PRICE:M:4", "PRICE"},
      {"CODE:C:8 PRICE:N:9:2 NOTE:M:4", "NOTE"}};
  const host::Row row{host::live(host::text("A") + host::number(1))};
  for (const auto& [fields, field] : cases) {
    have({"T", own}, {row});
    use("T");
    go(1);
    __SetField(nullptr, text("PRICE"), number(2));
    __Commit();
    __dbCloseAll();
    receiveCatalogue({{"T", fields}});
    EXPECT_EQ(ReadFromHH() + BatchUpload(), 2);
    told();
    EXPECT_EQ(ReadFromHH(), 0) << "it has something to send";
    for (const char type : {'P', 'T'}) EXPECT_EQ(update("T", type, {row}), 0);
    EXPECT_THAT(told(), HasSubstr(std::string("Tabela recusada: T (") + field + ")"));
    EXPECT_EQ(ReadFromHH() + BatchUpload() + GetRecsDirty("T"), 1) << "refused as long as it is so, and not sent";
    EXPECT_EQ(contents("T"), "?A,2.00");
    EXPECT_EQ(vorne::MissingTable(), "");
    // Made anew by the catalogue it takes what waits, and the host is asked for all of it.
    __TBL_DeleteDatabase(text("T"));
    receiveCatalogue({{"T", own}});
    EXPECT_EQ(ReadFromHH(), 1);
    EXPECT_EQ(contents("T"), "A,1.00");
    EXPECT_EQ(vorne::MissingTable(), "T");
    vorne::ForgetMissing();
  }
}

// Records that no table of that kind can hold, and packets that are none.
TEST_F(TablesFromHost, KeepOutWhatIsDamaged) {
  const std::string sound = itemFields("A", 1, "x"), head = host::text("A") + host::number(1) + host::text("x");
  const std::string day = host::number(40179);
  std::vector<std::string> damaged;
  for (const host::Row& row :
       Rows{{sound + std::string("?\0", 2), {""}},                  // no end mark
            {sound + "!!", {""}},                                   //
            {host::live(sound.substr(0, sound.size() - 1)), {""}},  // too short
            {host::live(sound + "x"), {""}},                        // too long
            {host::live("123456789" + sound), {""}},                // text longer than its field
            {host::live(head + '\2' + day + host::kNoMemo), {""}},  // no logical
            {host::live(head + '\1' + day + "memo"), {""}},         // a memo of its own choice
            {host::live(host::text("A") + host::number(std::nan("")) + host::text("x") + '\1' + day + host::kNoMemo),
             {""}},
            {host::live(head + '\1' + host::number(1e7) + host::kNoMemo), {""}},  // no day
            {"", {""}},
            {host::live(sound), {}},         // no memo's length
            {host::live(sound), {"", ""}}})  // too many
    damaged.push_back(host::packet({row}));
  const std::string packet = host::packet({item("A", 1, "x")});
  damaged.push_back(packet.substr(0, 9));
  damaged.push_back(packet.substr(0, packet.size() - 4));
  for (const auto& [place, bits] : {std::pair{5, '\x0A'}, {7, '\2'}, {9, '\1'}, {12, '\x55'}}) {
    damaged.push_back(packet);
    damaged.back()[static_cast<std::size_t>(place)] ^= bits;
  }
  for (const std::string& each : damaged) {
    SCOPED_TRACE(&each - damaged.data());
    const auto comes = [&](const char* table, char type, const host::Row& good) {
      receive(table, type, {host::packet({good}), each, host::packet({good})});
      EXPECT_EQ(ReadFromHH(), 0);
      EXPECT_FALSE(waits(table));
      EXPECT_THAT(told(), HasSubstr(std::string("Pacote 2 danificado na tabela ") + table));
      // The next login asks for everything.
      EXPECT_EQ(vorne::MissingTable(), table);
      vorne::ForgetMissing();
      EXPECT_EQ(vorne::MissingTable(), "");
    };
    have(kItems, items("B 2 old"));
    comes("ITEMS", 'T', item("C", 3, "new"));
    EXPECT_EQ(contents("ITEMS"), "B,2.00,old,T,20100101,");
    comes("ITEMS", 'P', item("C", 3, "new"));
    EXPECT_EQ(contents("ITEMS"), "B,2.00,old,T,20100101,|C,3.00,new,T,20100101,");
    have(kLogs, {logLine("old")});
    comes("LOGS", 'P', logLine("new"));
    EXPECT_EQ(contents("LOGS"), "old,");
    have(kLogs, {});
    __TBL_DeleteDatabase(text("LOGS"));
    comes("LOGS", 'T', logLine("new"));
    EXPECT_EQ(contents("LOGS"), "");
    // A clean session ends right.
    EXPECT_EQ(update("LOGS", 'P', {logLine("new")}), 1);
    EXPECT_EQ(contents("LOGS"), "new,");
    EXPECT_EQ(bBatchOper, 0);
  }
  EXPECT_TRUE(isSound());
}

TEST_F(TablesFromHost, AreDeletedBesideOpenAreas) {
  have(kItems, items("A 1"));
  ASSERT_TRUE(vorne::OpenCatalogTables());
  use("ITEMS");
  use("ITEMS", "AGAIN");
  EXPECT_EQ(Op_DeleteTbl("ITEMS"), 1);
  EXPECT_EQ(__Used(text("ITEMS"))->objData.mbool + __Used(text("AGAIN"))->objData.mbool, 0);
  EXPECT_EQ(Op_DeleteTbl("VRN_TBL"), 1);
  EXPECT_EQ(numberOf(ng->VrnArea), -1);
  EXPECT_EQ(ReadFromHH(), 1);
  // The catalogue names it, so it comes back, empty.
  receiveCatalogue({kItems});
  EXPECT_EQ(ReadFromHH(), 1);
  EXPECT_EQ(contents("ITEMS"), "");
  vorne::CloseCatalogTables();
  // What an interrupted making of a table has left is no table either: it is made again.
  for (const UInt32 room : {0u, 90u}) {
    const DmOpenRef half = openStore("HALF", vorne::kTypeData);
    const LocalID info = MemHandleToLocalID(DmNewHandle(half, room));
    EXPECT_EQ(room == 0 ? errNone : setDatabase("HALF", {.info = &info}), errNone);
    DmCloseDatabase(half);
    have({"HALF", "A:C:4"}, {{host::live(host::text("x"))}});
    EXPECT_EQ(contents("HALF"), "x");
    __TBL_DeleteDatabase(text("HALF"));
  }
  // The session's own lists are no tables.
  const DmOpenRef list = vorne::OpenTemporary("MsgLog", vorne::kList, vorne::IfExists::Keep);
  EXPECT_EQ(Op_DeleteTbl("MSGLOG.tLog"), 0);
  EXPECT_EQ(vorne::FindTemporary("MsgLog", vorne::kList), list);
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
  // A sale behind records that an interrupted run has left, the last of which was no whole packet.
  again();
  vorne::ApplyingNote("LOGS", vorne::ReceivedPackets("LOGS")).store({1, 41});
  use("LOGS");
  for (int i = 0; i < 42; ++i)
    vorne::AppendRecord(vorne::DatabaseOf(*vorne::AreaAt(S_GLOB->TBL_this)),
                        logLine("line " + std::to_string(i)).record);
  __DBAPPEND();
  __SetField(nullptr, text("LINE"), text("sale"));
  __Commit();
  const std::string partly = contents("LOGS");
  EXPECT_EQ(ReadFromHH(), 1);
  const std::string after = contents("LOGS");
  EXPECT_EQ(after.substr(0, partly.size()), partly);
  EXPECT_EQ(after.substr(partly.size(), 22), "|line 42,memo|line 43,");
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
