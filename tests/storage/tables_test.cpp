// Tables through the calls that scripts make: the bytes they leave, what memos and marks do. Where walks lead, and what
// areas share, tables_model_test.cpp looks at.
#include "support/tables.h"
#include "storage/format/record_bytes.h"
#include "storage/repair/directory_check.h"

using namespace vorne;

namespace {

using Strings = std::vector<std::string>;

constexpr char kClients[] = "{{'name','c',10,0},{'Price','N',12,2},{'BORN','D',3,0},{'VIP','L',1,0},{'NOTE','M',9,0}}";

bool create(const char* name, const char* structure) {
  return __DBCREATE(text(name), value(structure))->objData.mbool != 0;
}
std::string get(const char* field) {
  return describe(__GetField(nullptr, text(field)));
}
std::string zeros(std::size_t n) {
  return std::string(n, '\0');
}
std::string texts(const Strings& all) {
  std::string joined;
  for (const std::string& one : all) joined += one + '\0';
  return joined;
}
DmOpenRef stored(const char* name) {
  return DmOpenDatabase(0, DmFindDatabase(0, name), 0);
}

using Tables = TableTest;

}  // namespace

TEST_F(Tables, WriteTheFormat) {
  ASSERT_TRUE(make("Clientes", kClients));
  append("AB        ", "3.5");
  set("BORN", "d38053");
  set("VIP", "T");
  set("NOTE", "'said so'");
  __Commit();
  __dbCloseAll();
  const std::string block = readFile(file("CLIENTES")).substr(20);
  const std::string fields = texts({"NAME", "2", "10", "0", "PRICE", "0", "12", "2", "BORN",       "1", "8", "0",
                                    "VIP",  "3", "1",  "0", "NOTE",  "4", "4",  "0", "D_E_L_E_T_", "2", "2", "0"});
  const std::string head = zeros(8) + "CLIENTES" + zeros(23 + 1 + 8) + "ATAD" + "\3" + zeros(3) + "\6" + zeros(3 + 12);
  EXPECT_EQ(block.substr(0, 72), head);
  EXPECT_EQ(block.substr(72, 13 + fields.size() + 4), texts({"CLIENTES", "6", "0"}) + fields + zeros(4));
  // Numbers stand with their highest byte first.
  EXPECT_EQ(record(stored("CLIENTES"), 0),
            std::string("AB\0\x40\x0C\0\0\0\0\0\0\x40\xE2\x94\xA0\0\0\0\0\1\0\0\0\1!\0", 26));
  EXPECT_EQ(record(stored("CLIENTES_M"), 0), std::string("said so\0", 8));
}

TEST_F(Tables, KeepWhatWasSetAndReadDamagedRecordsAsBlank) {
  ASSERT_TRUE(make("C", kClients));
  append("twelve letters", "-1.25");
  EXPECT_EQ(get("NAME") + get("price") + get("BORN") + get("VIP") + get("NOTE"), "'twelve let'-1.25d0F''");
  for (const char* note : {"'a'", "'a longer text'", "''", "'b'"}) {
    set("NOTE", note);
    __Commit();
    EXPECT_EQ(get("NOTE"), note);
  }
  set("NAME", "'x'");
  EXPECT_EQ(numberOf(__TBL_RecNo()), 1);
  __AbortEdit();
  EXPECT_EQ(get("NAME"), "'twelve let'");
  EXPECT_EQ(describe(__DBStruct()),
            "{{'NAME','C',10,0},{'PRICE','N',12,2},{'BORN','D',8,0},{'VIP','L',1,0},{'NOTE','M',4,0}}");
  EXPECT_EQ(visible(__GetFieldContent(nullptr, text("PRICE"))), "-1.25");
  EXPECT_EQ(numberOf(__TBL_RecSize()), 11 + 8 + 8 + 1 + 4 + 2);
  DmOpenRef db = stored("C");
  // Deleted, and then made longer by a process that died before it wrote: what was left between fields and mark stays.
  ASSERT_TRUE(change(db, 0, "ab" + zeros(1 + 8 + 8 + 1 + 4 + 3) + "*" + zeros(5)));
  go(1);
  EXPECT_EQ(get("NAME") + describe(__TBL_Deleted()), "'ab'T");
  // Made longer so and deleted then: the mark moves to the end.
  const std::string fields = "ab" + zeros(1 + 8 + 8 + 1 + 4);
  ASSERT_TRUE(change(db, 0, fields + "!" + zeros(8)));
  go(1);
  __TBL_Delete();
  __Commit();
  EXPECT_EQ(record(db, 0), fields + zeros(7) + "*" + zeros(1));
  // Cut short, a text without its zero, a text longer than its field.
  for (const auto& [bytes, name] :
       {std::pair("ab", ""), {"!", ""}, {"abc*", "ab"}, {"abcdefghijklmnop!", "abcdefghij"}}) {
    ASSERT_TRUE(change(db, 0, bytes));
    go(1);
    EXPECT_EQ(get("NAME") + get("PRICE") + get("NOTE"), "'" + std::string(name) + "'0''");
  }
}

TEST_F(Tables, KeepTheRecordsSpaceAndMark) {
  ASSERT_TRUE(make("C", "{{'NAME','C',20,0},{'PRICE','N',8,0}}"));
  append("longest text");
  append("b");
  DmOpenRef db = stored("C");
  const UInt16 clean = 0;
  go(0x0FFFFFFE);
  EXPECT_EQ(numberOf(__TBL_RecNo()), 2);
  go(1);
  set("NAME", "'a'");
  __Commit();
  EXPECT_EQ(record(db, 0), "a" + zeros(1) + "\x3F\xF0" + zeros(6) + zeros(11) + "!" + zeros(1));
  ASSERT_EQ(DmSetRecordInfo(db, 0, &clean), errNone);
  for (const bool dirty : {false, true}) {
    UInt16 attributes = 0;
    __TBL_Delete();
    set("NAME", "'not stored'");
    __Commit();
    EXPECT_EQ(record(db, 0), "a" + zeros(1) + "\x3F\xF0" + zeros(6) + zeros(11) + "*" + zeros(1));
    EXPECT_EQ(DmRecordInfo(db, 0, &attributes), errNone);
    EXPECT_EQ(attributes, dirty ? kDirty : 0);
    __TBL_Recall();
    set("NAME", "'text so long'");
    __Commit();
    EXPECT_EQ(record(db, 0).substr(0, 13) + record(db, 1).substr(0, 2), "text so long" + zeros(1) + "b" + zeros(1));
    __TBL_Delete();
    __Commit();
    __TBL_Recall();
    set("NAME", "'a'");
    __Commit();
  }
  // A record that never was one becomes a deleted one as a whole.
  __DBAPPEND();
  set("NAME", "'c'");
  __TBL_Delete();
  __Commit();
  EXPECT_EQ(record(db, 2), "c" + zeros(1 + 8) + "*" + zeros(1));
  EXPECT_EQ(record(db, 1).substr(10), "!" + zeros(1));
}

TEST_F(Tables, OpenAreasUnderAliases) {
  ASSERT_TRUE(create("A", "{{'NAME','C',5,0}}") && create("B", "{{'NAME','C',5,0}}"));
  ASSERT_TRUE(use("a") && use("b", "second"));
  EXPECT_EQ(visible(__Alias()) + visible(__Alias(number(0))), "SECONDA");
  EXPECT_EQ(__GetAliasID(text("second")), 1);
  EXPECT_EQ(__GetAliasID(text("none")), -1);
  // Areas keep the alias in capitals, and it is looked for as it was passed.
  ASSERT_TRUE(use("A", "SECOND"));
  EXPECT_EQ(__GetAliasID(nullptr), 1);
  ASSERT_TRUE(use("A", "Second"));
  EXPECT_EQ(S_GLOB->TBL_this, 2);
  ASSERT_TRUE(use("B", "X", false));
  EXPECT_EQ(describe(__Used(number(2))) + visible(__Alias(number(2))), "TX");
  // A table that goes takes its areas along.
  __TBL_DeleteDatabase(text("A"));
  EXPECT_EQ(describe(__Used(number(0))) + describe(__Used(number(1))) + describe(__Used(number(2))), "FFT");
  EXPECT_TRUE(create("B", "{{'OTHER','N',5,0}}"));
  EXPECT_EQ(S_GLOB->TBL_this, -1);
}

TEST_F(Tables, TellAttributesAndCommitEveryArea) {
  ASSERT_TRUE(create("A", kClients) && create("B", kClients) && use("A") && use("B"));
  for (const char* area : {"A", "B"}) __DBAPPEND(text(area));
  __CommitAll();
  std::string all;
  for (const char* area : {"A", "B"}) all += describe(__TBL_RecCount(text(area))) + " ";
  for (int i = 1; i <= 5; ++i) all += describe(__GetFieldAttribute(text("A"), text("PRICE"), number(i))) + " ";
  EXPECT_EQ(all, "1 1 'PRICE' 'N' 12 2 NIL ");
}

TEST_F(Tables, RefuseWhatIsWrong) {
  ASSERT_TRUE(make("C", "{{'NAME','C',5,0},{'WHOLE','I',4,0}}"));
  const std::pair<const char*, int> structures[] = {{"{}", 38},
                                                    {"{{'A','C',1}}", 39},
                                                    {"{{'','C',1,0}}", 39},
                                                    {"{{'A','X',1,0}}", 39},
                                                    {"{{'A','C',-1,0}}", 39},
                                                    {"{{'A','C',1,0},{'a','N',1,0}}", 39}};
  for (const auto& [structure, aux] : structures)
    EXPECT_EXIT((dup2(STDERR_FILENO, STDOUT_FILENO), create("C", structure)), ::testing::ExitedWithCode(0),
                "RunTimeError = " + std::to_string(aux))
        << structure;
  EXPECT_RUNTIME_ERROR(__DBCREATE(nullptr, nullptr), 36);
  EXPECT_RUNTIME_ERROR(create("", "{{'A','C',1,0}}"), 37);
  const std::string longest(30, 'L'), tooLong = longest + "L", withMemo = longest.substr(1);
  EXPECT_TRUE(create(longest.c_str(), "{{'A','C',1,0}}") && use(longest.c_str()));
  EXPECT_TRUE(create(withMemo.c_str(), "{{'A','M',1,0}}") && use(withMemo.c_str()));
  EXPECT_RUNTIME_ERROR(create(tooLong.c_str(), "{{'A','C',1,0}}"), 37);
  EXPECT_RUNTIME_ERROR(create(longest.c_str(), "{{'A','M',1,0}}"), 37);
  // Another table's offsets file stays in its place meanwhile.
  EXPECT_RUNTIME_ERROR(create("C_OS", "{{'A','C',1,0}}"), 40);
  EXPECT_THAT(readFile("saida.txt"), testing::HasSubstr("C_OS n\xE3o pode ter este nome"));
  EXPECT_THAT(readFile("saida.txt"), testing::Not(testing::HasSubstr("c\xF3pia guardada")));
  __DB_CloseArea();
  use("C");
  EXPECT_RUNTIME_ERROR(use("NONE"), 53);
  EXPECT_RUNTIME_ERROR(__TBL_Eof(text("NONE")), 11);
  EXPECT_RUNTIME_ERROR(__GetAliasID(number(250)), 13);
  EXPECT_RUNTIME_ERROR(__TBL_Delete(text("NONE")), 16);
  EXPECT_RUNTIME_ERROR(get("NONE"), 27);
  EXPECT_RUNTIME_ERROR(__GetField(nullptr, number(4)), 26);
  EXPECT_RUNTIME_ERROR(set("NAME", "1"), 23);
  EXPECT_RUNTIME_ERROR((__DBAPPEND(), __Commit()), 8);
  closeAll();
  const std::string sound = readFile(file("C"));
  for (const auto& [place, byte] : {std::pair(20u + 74, '0'), {20 + 78 + 5, '9'}}) {
    std::string bytes = sound;
    bytes[place] = byte;
    writeFile(file("C"), bytes);
    EXPECT_RUNTIME_ERROR(use("C"), 55);
  }
}

// Whichever of its files are gone from their places by then.
TEST_F(Tables, ThatAKillLeavesPutAwayAreTold) {
  static int left;
  for (int gone = 1; gone <= 4; ++gone) {
    ASSERT_TRUE(make("C", kClients));
    append("a");
    set("NOTE", "'text'"), __Commit();
    closeAll();
    for (const char* name : {"catalog.plm", "catalog.bck"}) std::filesystem::remove(file(name));
    left = gone;
    const auto die = [](const char* path) {
      if (std::string_view(path).find("/C") == std::string::npos) return kSystem.unlink(path);
      return left-- == 0 ? (_exit(7), 0) : kSystem.unlink(path);
    };
    EXPECT_EXIT((fileSystem.unlink = die, create("C", kClients)), ::testing::ExitedWithCode(7), "");
    const DirectoryReport report = CheckDirectory(".");
    const auto tells = [](const Problem& one) { return one.problem.find("it was put away") != std::string::npos; };
    EXPECT_EQ(std::count_if(report.problems.begin(), report.problems.end(), tells), 1) << gone;
    // The new one is there, and is all that is.
    ASSERT_TRUE(create("C", kClients));
    closeAll();
    EXPECT_TRUE(CheckDirectory(".").sound);
  }
}
