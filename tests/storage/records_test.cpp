// The record database through its own calls: what they answer, what they leave in the files, byte for byte.
#include <gmock/gmock.h>

#include <random>

#include "storage/tempdb.h"
#include "support/store.h"

using namespace vorne;
using testing::ElementsAre;

namespace {

using Strings = std::vector<std::string>;

// The bytes as digits; the zeros that fill a file are only counted.
std::string hex(const std::string& bytes) {
  const std::size_t end = bytes.find_last_not_of('\0') + 1;
  std::string text = std::to_string(bytes.size()) + ":";
  char two[3];
  for (const unsigned char byte : bytes.substr(0, end)) {
    std::snprintf(two, sizeof two, "%02x", byte);
    text += two;
  }
  return text;
}

std::string little(UInt32 value, int bytes = 4) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> 8 * i);
  return text;
}

// A file header, a record as written back.
std::string header(char type, UInt32 appInfo, UInt32 records, UInt32 used, UInt32 allocated = 15360) {
  return std::string(1, type == 0 ? 0 : 2) + type + little(0, 2) + little(appInfo) + little(records) +
         little(allocated) + little(used);
}
std::string stored(const std::string& bytes, const std::string& spare = "", UInt32 attributes = 0) {
  const auto size = static_cast<UInt32>(bytes.size());
  return little(size, 2) + little(static_cast<UInt32>(size + spare.size()), 2) + little(attributes, 2) + "\xFF\xFF" +
         bytes + spare;
}

class Records : public StoreTest {};

}  // namespace

TEST_F(Records, WriteTheFormat) {
  DmOpenRef db = openStore("Clientes", kTypeData);
  EXPECT_EQ(hex(readFile(file("Clientes")).substr(0, 20)), hex(header('V', 0, 0, 20)));
  const LocalID block = MemHandleToLocalID(DmNewHandle(db, 5));
  ASSERT_EQ(DmSetDatabaseInfo(0, DmFindDatabase(0, "CLIENTES"), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                              nullptr, &block, nullptr, nullptr, nullptr),
            errNone);
  EXPECT_EQ(DmWrite(MemLocalIDToLockedPtr(block), 0, "block", 5), errNone);
  ASSERT_TRUE(put(db, "first") && put(db, "third!") && put(db, "second", 1) && change(db, 0, "1st"));
  CloseCatalog();
  const std::string body = "block" + stored("1st", "st", kDirty) + stored("second") + stored("third!");
  const auto used = static_cast<UInt32>(20 + body.size());
  EXPECT_EQ(hex(readFile(file("Clientes"))), hex(header('V', 5, 3, used) + body + std::string(15360 - used, 0)));
  EXPECT_EQ(hex(readFile(file("Clientes_OS"))),
            hex(header(0, 0, 0, 32) + little(25) + little(38) + little(52) + std::string(15360 - 32, 0)));

  const std::string catalog = readFile(file("catalog.plm"));
  EXPECT_EQ(hex(catalog.substr(12, 8)), hex(little(15360) + little(108)));
  EXPECT_EQ(catalog.substr(20, 36), "Clientes" + std::string(28, 0));
  EXPECT_EQ(catalog.substr(56, 16), catalog.substr(72, 16)) << "made and changed at the same time";
  EXPECT_EQ(hex(catalog.substr(88, 20)), hex(std::string(8, 0) + "ATAD" + "tset" + std::string(4, 0)));
  EXPECT_EQ(readFile(file("catalog.bck")), catalog);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory_.path() / "DB"), {}), 4)
      << "nothing else stays";
}

TEST_F(Records, KindFollowsTheTypeAndNamesAreOneInAnyCase) {
  const struct {
    const char* name;
    UInt32 type;
    char kind;
  } kRows[] = {{"DADOS", kTypeData, 'V'},
               {"TEXTOS", kTypeMemo, 'V'},
               {"ORDEM", kTypeIndex, 'B'},
               {"OUTRO", FourChars("ABCD"), 'X'}};
  for (const auto& row : kRows) {
    ASSERT_EQ(DmCreateDatabase(0, row.name, kCreator, row.type, 0), errNone);
    EXPECT_EQ(readFile(file(row.name)), std::string("\x02") + row.kind + std::string(18, 0));
  }
  const std::string before = readFile(file("catalog.plm"));
  for (const char* taken : {"dados", "Dados_os", "DADOS_OS"})
    EXPECT_EQ(DmCreateDatabase(0, taken, kCreator, kTypeData, 0), errAlreadyExists) << taken;
  EXPECT_EQ(readFile(file("catalog.plm")), before);
  // Another type code does not change what the files are.
  EXPECT_EQ(DmSetDatabaseInfo(0, DmFindDatabase(0, "DADOS"), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                              nullptr, nullptr, nullptr, &kTypeIndex, nullptr),
            errNone);
  EXPECT_EQ(DmCreateDatabase(0, "DADOS_OS", kCreator, kTypeIndex, 0), errAlreadyExists);
  EXPECT_NE(openStore("outro"), nullptr);
  EXPECT_FALSE(std::filesystem::exists(file("outro")));
  EXPECT_EQ(DmCreateDatabase(0, nullptr, 0, 0, 0), errArgument);
  for (const char* name : {"", "..", "a/b", "catalog.plm", "journal.0"})
    EXPECT_RUNTIME_ERROR(DmCreateDatabase(0, name, 0, 0, 0), -1);

  // A freed entry is the next one's; an entry whose file has vanished is none.
  EXPECT_EQ(DmDeleteDatabase(0, DmFindDatabase(0, "textos")), errNone);
  EXPECT_EQ(DmDeleteDatabase(0, 5121), errArgument);
  EXPECT_EQ(readFile(file("catalog.plm")).substr(20 + 88, 88), std::string(88, 0));
  EXPECT_EQ(DmCreateDatabase(0, "NOVO", kCreator, kTypeData, 0), errNone);
  EXPECT_EQ(readFile(file("catalog.plm")).substr(20 + 88, 4), "NOVO");
  std::filesystem::remove(file("ORDEM"));
  EXPECT_EQ(DmFindDatabase(0, "ORDEM"), 0u);
  EXPECT_EQ(readFile(file("catalog.plm")).substr(20 + 2 * 88, 88), std::string(88, 0));
}

TEST_F(Records, AnswersAtTheEdges) {
  DmOpenRef db = openStore("A", kTypeData);
  DmOpenRef fixed = openStore("B", kTypeIndex);
  ASSERT_TRUE(put(db, "0123456789") && put(fixed, "entry 1") && put(fixed, "entry 2"));
  const MemHandle handle = DmGetRecord(db, 0);
  void* data = MemHandleLock(handle);
  UInt16 attributes = 0;
  DmRecordInfo(db, 0, &attributes);
  EXPECT_EQ(attributes, kBusy);
  EXPECT_EQ(MemPtrRecoverHandle(data), handle);
  EXPECT_EQ(DmWrite(data, 8, "abcd", 4), errWriteOutOfBounds);
  EXPECT_EQ(DmWrite(data, 0xFFFFFFFF, "abcd", 4), errWriteOutOfBounds);
  EXPECT_EQ(DmSet(data, 6, 4, '#'), errNone);
  EXPECT_EQ(DmSet(&attributes, 0, 1, 0), errArgument);
  EXPECT_EQ(DmReleaseRecord(db, 1, 0), errArgument);
  EXPECT_EQ(DmReleaseRecord(db, 0, 0), errNone);
  EXPECT_EQ(DmReleaseRecord(db, 0, 0), errNoSuchRecord);
  EXPECT_EQ(hex(readFile(file("A")).substr(20, 18)), hex(stored("012345####")));
  EXPECT_EQ(MemPtrUnlock(data), errArgument);

  // The dirty bit outlives a look, other bits than the known ones are never stored.
  attributes = 0xFFFF;
  EXPECT_EQ(DmSetRecordInfo(db, 0, &attributes), errNone);
  DmGetRecord(db, 0);
  EXPECT_EQ(DmReleaseRecord(db, 0, 0), errNone);
  DmRecordInfo(db, 0, &attributes);
  EXPECT_EQ(attributes, kDirty);

  UInt32 index = kAppend;
  EXPECT_EQ(DmNewRecord(db, &index, 65536), nullptr);
  EXPECT_EQ(DmNewRecord(fixed, &index, 8), nullptr) << "a place is computed from the first record's size";
  EXPECT_EQ(MemHandleResize(DmQueryRecord(fixed, 1), 8), errWriteOutOfBounds);
  EXPECT_EQ(MemHandleResize(DmQueryRecord(fixed, 0), 6), errWriteOutOfBounds);
  EXPECT_EQ(DmQueryRecord(db, 1), nullptr);
  EXPECT_EQ(DmRemoveRecord(db, 1), errNoSuchRecord);
  EXPECT_EQ(ExcluirFaixa(db, 1, 9), errNoSuchRecord);
  EXPECT_EQ(DmOpenDatabase(0, 0, 0), nullptr);
  EXPECT_EQ(DmCloseDatabase(nullptr), errArgument);
  EXPECT_RUNTIME_ERROR(GetRecOffSet(db, 1), -1);
  ASSERT_TRUE(put(db, "") && put(db, std::string(65535, 'x')));
  EXPECT_THAT(records(db), ElementsAre("012345####", std::string(1, 0), std::string(65535, 'x')));

  // Two users of one database: it stays open until the last one has closed it.
  DmOpenRef again = openStore("a");
  EXPECT_EQ(again, db);
  EXPECT_EQ(DmCloseDatabase(again), errNone);
  EXPECT_EQ(record(db, 0), "012345####");
  EXPECT_EQ(DmDeleteDatabase(0, DmFindDatabase(0, "A")), errNone);
  EXPECT_EQ(DmNumRecords(db), 0u);
  EXPECT_FALSE(std::filesystem::exists(file("A_OS")));
}

TEST_F(Records, TakeAnApplicationInfoBlockLargerThanAnyRecord) {
  const UInt32 size = 150000;
  openStore("LARGE", FourChars("ABCD"));
  CloseCatalog();
  writeFile(file("LARGE"), header('X', size, 0, 20 + size, 153600) + std::string(153580, 0));
  DmOpenRef db = openStore("LARGE");
  const std::string content(size, 'i');
  EXPECT_EQ(DmWrite(MemLocalIDToLockedPtr(db->appInfoID), 0, content.data(), size), errNone);
  ASSERT_TRUE(put(db, "record"));
  CloseCatalog();
  EXPECT_EQ(readFile(file("LARGE")).substr(20, size + 14), content + stored("record"));
}

TEST_F(Records, AreWhatASimpleModelSays) {
  for (const UInt32 type : {kTypeData, kTypeIndex}) {
    const bool variable = type == kTypeData;
    std::mt19937 random(variable ? 1 : 2);
    const auto below = [&](std::size_t n) { return static_cast<UInt32>(random() % n); };
    const auto content = [&] {
      return std::string(variable ? 1 + below(300) : 26, static_cast<char>('a' + below(26)));
    };
    Strings model;
    for (int round = 0; round < 8; ++round) {
      DmOpenRef db = openStore(variable ? "V" : "B", type);
      ASSERT_EQ(records(db), model);
      for (int step = 0; step < 300; ++step) {
        const UInt32 what = model.empty() ? 0 : below(12);
        const UInt32 at = model.empty() ? kAppend : below(model.size());
        const auto place = model.begin() + (model.empty() ? 0 : at);
        if (what < 4) {
          model.push_back(content());
          ASSERT_TRUE(put(db, model.back()));
        } else if (what < 7) {
          ASSERT_TRUE(put(db, *model.insert(place, content()), at));
        } else if (what < 9) {
          model.erase(place);
          ASSERT_EQ(DmRemoveRecord(db, at), errNone);
        } else if (what < 11) {
          *place = content();
          ASSERT_TRUE(change(db, at, *place));
        } else if (below(10) == 0) {
          const UInt32 last = at + below(9);
          model.erase(place, model.begin() + std::min<std::size_t>(last + 1, model.size()));
          ASSERT_EQ(ExcluirFaixa(db, at, last), errNone);
        }
      }
      ASSERT_EQ(round == 3 ? InterNalPack(db) : errNone, errNone);
      if (round == 5) {  // a larger application-info block moves every record
        const LocalID block = MemHandleToLocalID(DmNewHandle(db, 300));
        ASSERT_EQ(DmSetDatabaseInfo(0, DmFindDatabase(0, db->fName), nullptr, nullptr, nullptr, nullptr, nullptr,
                                    nullptr, nullptr, &block, nullptr, nullptr, nullptr),
                  errNone);
      }
      ASSERT_EQ(records(db), model);
      DmCloseDatabase(db);
      if (round % 2 == 1) CloseCatalog();
    }
    DmOpenRef db = openStore(variable ? "V" : "B");
    __InternalZap(db);
    ASSERT_TRUE(put(db, "after a zap, 26 characters"));
    EXPECT_THAT(records(db), ElementsAre("after a zap, 26 characters"));
  }
}

TEST_F(Records, AreFoundAgainAtOpen) {
  const std::string large(20000, 'L');
  const auto build = [&] {
    DmOpenRef db = openStore("V", kTypeData);
    __InternalZap(db);
    for (const std::string& bytes : {std::string("one"), large, std::string("three"), std::string("four")})
      put(db, bytes);
    CloseCatalog();
  };
  const std::string begun = little(3, 2) + little(3, 2) + std::string(4, 0) + "new";
  // What happens to the files, and what is there when they are opened.
  const struct {
    const char* what;
    std::function<void()> damage;
    Strings wanted;
  } kRows[] = {
      {"no offsets file", [&] { std::filesystem::remove(file("V_OS")); }, {"one", large, "three", "four"}},
      {"short offsets file",
       [&] { writeFile(file("V_OS"), header(0, 0, 0, 28) + std::string(8, 0)); },
       {"one", large, "three", "four"}},
      {"stale bytes behind the end",
       [&] {
         std::string bytes = readFile(file("V"));
         writeFile(file("V"), bytes.replace(20 + 4 * 8 + 20012, 9, "leftovers"));
       },
       {"one", large, "three", "four"}},
      {"a record begun in the middle",
       [&] {
         std::string bytes = readFile(file("V"));
         bytes.insert(31, begun).resize(bytes.size() - begun.size());
         writeFile(file("V"), bytes.replace(16, 4, little(20 + 4 * 8 + 20012 + 11)));
       },
       {"one", large, "three", "four"}},
      {"a record written and not counted",
       [&] {
         std::string bytes = readFile(file("V"));
         writeFile(file("V"), bytes.replace(8, 4, little(3)));
       },
       {"one", large, "three", "four"}},
      {"a broken header",
       [&] {
         std::string bytes = readFile(file("V"));
         writeFile(file("V"), bytes.replace(31 + 20008, 8, "garbage!"));
       },
       {"one", large}},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    build();
    row.damage();
    std::filesystem::remove(file("V_OS.kept"));
    if (row.wanted.size() != 4 || std::string(row.what).find("begun") != std::string::npos)
      std::filesystem::remove(file("V_OS"));
    DmOpenRef db = openStore("V");
    EXPECT_EQ(records(db), row.wanted);
    EXPECT_TRUE(put(db, "and on")) << "the chain goes on behind what was found";
    EXPECT_EQ(record(db, static_cast<UInt32>(row.wanted.size())), "and on");
    CloseCatalog();
  }
}

TEST_F(Records, CatalogueIsBackedUpAndDatabasesAreRenamed) {
  put(openStore("OLD", kTypeData), "content");
  EXPECT_EQ(VerifyCatalog(), 1) << "no backup yet";
  CloseCatalog();
  DmOpenRef db = openStore("OLD");
  const LocalID id = DmFindDatabase(0, "OLD");
  const UInt16 version = 7;
  const auto rename = [&](const char* name) {
    return DmSetDatabaseInfo(0, id, name, nullptr, &version, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                             nullptr, nullptr);
  };
  openStore("OTHER", kTypeData);
  EXPECT_EQ(rename("other"), errAlreadyExists);
  EXPECT_EQ(rename("NEW"), errNone);
  EXPECT_EQ(VerifyCatalog(), 0);
  EXPECT_EQ(record(db, 0), "content");
  EXPECT_TRUE(std::filesystem::exists(file("NEW_OS")) && !std::filesystem::exists(file("OLD")));
  char name[32];
  UInt16 read = 0;
  EXPECT_EQ(DmDatabaseInfo(0, id, name, nullptr, &read, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                           nullptr),
            errNone);
  EXPECT_EQ(std::string(name) + std::to_string(read), "NEW7");
  EXPECT_EQ(RestoreCatalog(), 1);
  EXPECT_EQ(VerifyCatalog(), 1);
}

TEST_F(Records, KeepTheArraysThatAFatalErrorSaves) {
  const auto restore = [] { return __RestoreArray(text("VENDA")); };
  EXPECT_EQ(restore()->objVarType, varNil);
  CloseCatalog();
  Obj_Node* inner = __CreateArray(text("caixa 1"), number(2.5), __INIT_BOOL(1), __INIT_DATE(40179), __INIT_NUL());
  __AAdd(inner, __CreateArray(text(std::string_view("a\0b", 3)), __INIT_NUL()));
  Obj_Node* array = __CreateArray(inner, __CreateArray(number(7), __INIT_NUL()), __INIT_NUL());
  EXPECT_RUNTIME_ERROR((__RegisterArray(text("VENDA"), array), __RuntimeError(3, -1)), -1);
  Obj_Node* back = restore();
  ASSERT_EQ(__Array_Get_Amnt_Itens(back), 2);
  Obj_Node* first = __GET_ARRAY_EL(back, 0);
  EXPECT_EQ(visible(__GET_ARRAY_EL(first, 0)), "caixa 1");
  EXPECT_EQ(numberOf(__GET_ARRAY_EL(first, 1)), 2.5);
  EXPECT_TRUE(__GET_ARRAY_EL(first, 2)->objData.mbool);
  EXPECT_EQ(__GET_ARRAY_EL(first, 3)->objData.mdt, 40179);
  EXPECT_EQ(visible(__ARRAY_EL(first, number(5), number(1), __INIT_NUL())), "a");
  EXPECT_EQ(numberOf(__ARRAY_EL(back, number(2), number(1), __INIT_NUL())), 7);
  EXPECT_EQ(restore()->objVarType, varNil) << "it comes back once";

  // A damaged copy gives back what it holds, never more.
  DmOpenRef db = OpenTemporary("VENDA", 'L', IfExists::Replace);
  AppendRecord(db, std::string("\xFF\xFF\xFF\x7F"));
  for (int i = 0; i < 200; ++i) AppendRecord(db, std::string("\x01\x00\x00\x00", 4));
  AppendRecord(db, std::string(8, 0) + little(varString) + little(9999) + std::string(12, 0) + "cut");
  DmCloseDatabase(db);
  EXPECT_EQ(__Array_Get_Amnt_Itens(restore()), 4) << "what is nested too deep begins anew";
  EXPECT_EQ(TemporaryName("clientes", 'P'), "CLIENTES.tPda");
  EXPECT_EQ(TemporaryName(std::string(40, 'x'), '?'), std::string(26, 'X') + ".tLog");
}
