// Changes on their way up: what the packets hold, and when the marks of the records go.
#include <gmock/gmock.h>

#include "sync/dirty_marks.h"
#include "tables_fixture.h"

using testing::HasSubstr;

namespace {

// The packets that are ready for a table: how, and with which records (bytes and memo texts).
struct Ready {
  bool compressed;
  std::vector<std::string> records;
};
std::vector<Ready> ready(const char* table, std::size_t memos) {
  std::vector<Ready> all;
  const DmOpenRef db = vorne::FindTemporary(table, vorne::kPacketsToSend);
  for (UInt32 i = 0; i < DmNumRecords(db); ++i) {
    const std::string body = record(db, i);
    EXPECT_LE(body.size(), 12000u);
    const auto packet = vorne::ParseSent(body);
    if (!packet) {
      ADD_FAILURE() << "packet " << i;
      continue;
    }
    std::vector<char> content(packet->contentSize);
    if (packet->compressed)
      EXPECT_EQ(vorne::Inflate(packet->data, content), content.size());
    else
      content.assign(packet->data.begin(), packet->data.end());
    const auto records = vorne::ParseContent(content, packet->records, memos);
    EXPECT_TRUE(records);
    Ready& one = all.emplace_back(Ready{packet->compressed, {}});
    for (const auto& each : *records) {
      one.records.emplace_back(each.record.begin(), each.record.end());
      for (const auto& memo : each.memos) one.records.emplace_back(memo.begin(), memo.end());
    }
  }
  if (db != nullptr) DmCloseDatabase(db);
  return all;
}
void emptyPackets(const char* table) {
  const DmOpenRef db = vorne::FindTemporary(table, vorne::kPacketsToSend);
  __InternalZap(db);
  DmCloseDatabase(db);
}
bool isReady(const char* table) {
  return DmFindDatabase(0, vorne::TemporaryName(table, vorne::kPacketsToSend).c_str()) != 0;
}

class ChangesGoUp : public TablesFromHost {
 protected:
  void SetUp() override {
    TablesFromHost::SetUp();
    host::receiveCatalogue({kItems, kLogs, {"OTHER", "A:C:4"}});
    host::receive("ITEMS", 'T',
                  {host::packet({item("A", 1, "a long name", "a note"), item("B", 2, "two"), item("C", 3, "x")})});
    ASSERT_EQ(ReadFromHH(), 1);
  }
  static void addLine(const std::string& line) {
    use("LOGS");
    __DBAPPEND();
    __SetField(nullptr, text("LINE"), text(line));
    __Commit();
    __dbCloseAll();
  }
  static void changeItems() {
    use("ITEMS");
    go(1);
    __SetField(nullptr, text("NAME"), text("short"));
    __Commit();
    // What the host has got and is deleted here stays with the host.
    remove(2);
    setPrice(3, 4);
    use("ITEMS");
    remove(3);
    __dbCloseAll();
  }
};

TEST_F(ChangesGoUp, AsPacketsOfTheRecordsThatTheHostHasNotGot) {
  changeItems();
  const DmOpenRef old = vorne::OpenTemporary("GONE", vorne::kPacketsToSend, vorne::IfExists::Keep);
  DmCloseDatabase(old);
  ASSERT_EQ(BatchUpload(), 1);
  EXPECT_FALSE(isReady("GONE"));
  EXPECT_FALSE(isReady("OTHER"));
  const auto packets = ready("ITEMS", 1);
  ASSERT_EQ(packets.size(), 1u);
  EXPECT_THAT(packets[0].records, testing::ElementsAre(host::live(itemFields("A", 1, "short")), "a note",
                                                       host::dead(itemFields("C", 4, "x")), ""));
  EXPECT_EQ(contents("TOHOST"), "ITEMS,2");
  EXPECT_EQ(GetRecsDirty("OTHER"), 0);
  EXPECT_EQ(GetRecsDirty("ITEMS"), 2);
  EXPECT_EQ(GetRecsDirty("missing"), 0);
  use("OTHER");
  __DBAPPEND();
  __dbCloseAll();
  EXPECT_EQ(GetRecsDirty("OTHER"), 1);
  // The host's part that waits comes first, so that what goes up is what stays.
  host::receive("ITEMS", 'P', {host::packet({item("A", 9, "host")})});
  EXPECT_EQ(GetRecsDirty("ITEMS"), 0);
  ng->Verification = 1;
  EXPECT_EQ(ReadFromHH(), 1);
  EXPECT_EQ(GetRecsDirty("ITEMS"), 1);
  // Left by an earlier session it does not undo what was changed behind that one.
  host::receive("ITEMS", 'P', {host::packet({item("A", 8, "left"), item("C", 8, "left")})});
  setPrice(1, 7);
  EXPECT_EQ(ReadFromHH(), 1);
  ng->Verification = 0;
  EXPECT_THAT(contents("ITEMS"), testing::AllOf(HasSubstr("?A,7.00,host"), HasSubstr("|C,8.00,left")));
  EXPECT_TRUE(isSound()) << "a packet that ends like a record is taken for a table's";
  setPrice(1, std::nan(""));
  EXPECT_EQ(GetRecsDirty("ITEMS"), 1);
  EXPECT_EQ(ready("ITEMS", 1)[0].records[0], host::live(itemFields("A", 0, "host"))) << "no number at other desks";
}

TEST_F(ChangesGoUp, InPacketsThatFitAFrame) {
  std::string noise(1990, ' ');
  for (char& c : noise) c = static_cast<char>('!' + std::rand() % 90);
  for (int i = 0; i < 40; ++i)
    addLine(i % 2 ? std::string(1990, 'a')
                  : noise.substr(static_cast<std::size_t>(i)) + noise.substr(0, static_cast<std::size_t>(i)));
  for (const short zlib : {1, 0}) {
    ng->bHasZlib = zlib;
    ASSERT_EQ(BatchUpload(), 1);
    std::size_t records = 0;
    for (const Ready& packet : ready("LOGS", 1)) {
      records += packet.records.size();
      EXPECT_EQ(packet.compressed, zlib != 0);
      EXPECT_LE(packet.records.size(), 12u);
    }
    EXPECT_EQ(records, 80u);
  }
  // Texts that cannot be made smaller go as they are.
  ng->bHasZlib = 1;
  const DmOpenRef db = vorne::OpenTemporary("Z", vorne::kPacketsToSend, vorne::IfExists::Keep);
  EXPECT_EQ(CompressAndWrite(db, "x", 1, 1), 1);
  EXPECT_EQ(record(db, 0), std::string("\1\0\x0B\x0C\0\x0C\x0D\0\1\0\1x", 12));
  EXPECT_EQ(CompressAndWrite(db, noise.data(), 0, 1) + CompressAndWrite(db, noise.data(), 12289, 1), 0);
  DmCloseDatabase(db);
}

TEST_F(ChangesGoUp, NotWithARecordThatNoFrameHolds) {
  host::receiveCatalogue({{"WIDE", "A:C:15000"}});
  ASSERT_EQ(ReadFromHH(), 1);
  for (const std::size_t length : {11969u, 11970u}) {
    use("WIDE");
    __DBAPPEND();
    __SetField(nullptr, text("A"), text(std::string(length, 'a')));
    __Commit();
    __dbCloseAll();
    ASSERT_EQ(GetRecsDirty("WIDE"), length == 11969 ? 1 : 2);
    const DmOpenRef db = vorne::FindTemporary("WIDE", vorne::kPacketsToSend);
    // Reading the second one for sending is what fails.
    if (length == 11969)
      EXPECT_EQ(vorne::ParseSent(record(db, 0))->contentSize, vorne::kLargestContent);
    else
      EXPECT_GT(record(db, 1).size(), 12000u);
    DmCloseDatabase(db);
  }
  EXPECT_THAT(told(), HasSubstr("Registro 2 da tabela WIDE grande demais: 11975 bytes, cabem 11974"));
}

// A process died while it cleared the marks of what the host had taken, and the program went on.
TEST_F(ChangesGoUp, OnceAlsoWhenTheClearingOfMarksWasCutOff) {
  for (const bool isTaken : {true, false}) {
    for (const char* line : {"one", "two", "three", "four"}) addLine(line);
    ASSERT_EQ(BatchUpload(), 1);
    DmOpenRef db = vorne::FindTemporary("LOGS", vorne::kPacketsToSend);
    if (isTaken) vorne::NoteTaken(db);
    DmCloseDatabase(db);
    db = DmOpenDatabase(0, DmFindDatabase(0, "LOGS"), 3);
    const UInt32 last = DmNumRecords(db) - 1;
    const UInt16 none = 0;
    DmSetRecordInfo(db, last, &none);
    DmCloseDatabase(db);
    use("LOGS");
    go(static_cast<int>(last));
    __SetField(nullptr, text("LINE"), text("three again"));
    __Commit();
    __dbCloseAll();
    addLine("four");
    ASSERT_EQ(BatchUpload(), 1);
    std::string lines;
    const std::vector<Ready> packets = ready("LOGS", 1);
    ASSERT_EQ(packets.size(), 1u);
    for (const std::string& each : packets[0].records) lines += each.c_str() + std::string(" ");
    EXPECT_EQ(lines, isTaken ? "three again  four  " : "one  two  three again  four  ");
    EXPECT_TRUE(vorne::ClearDirtyMarks("LOGS"));
  }
}

TEST_F(ChangesGoUp, AndOnlyWhatTheHostTookLosesItsMarks) {
  changeItems();
  addLine("one");
  ASSERT_EQ(BatchUpload(), 1);
  EXPECT_EQ(contents("TOHOST"), "ITEMS,2|LOGS,1");
  // The host has not asked for the lines.
  emptyPackets("ITEMS");
  setPrice(1, 7);  // by another program, while they went up
  ASSERT_EQ(OpenToHostArea(), 1);
  EXPECT_EQ(DeleteToHostTables(), 1);
  EXPECT_THAT(contents("ITEMS"), testing::AllOf(HasSubstr("?A,7"), testing::Not(HasSubstr("?*C"))));
  EXPECT_NE(HasDirty("LOGS"), 0);
  EXPECT_FALSE(isReady("ITEMS"));
  EXPECT_EQ(contents("TOHOST"), "(none)");
  EXPECT_EQ(OpenToHostArea() + DeleteToHostTables(), 0);
  ASSERT_EQ(BatchUpload(), 1);
  EXPECT_EQ(contents("TOHOST"), "ITEMS,1|LOGS,1");
}

}  // namespace
