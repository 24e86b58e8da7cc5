// The record database through its own calls: what they answer, what they leave in the files, byte for byte.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <sys/mman.h>

#include <set>

#include "storage/databases/tempdb.h"
#include "storage/files/kept_copies.h"
#include "storage/files/system.h"
#include "storage/journal/journal.h"
#include "storage/records/offsets.h"
#include "support/child.h"
#include "support/file_images.h"
#include "support/store.h"
#include "vorne.h"

using namespace vorne;
using testing::ElementsAre;

namespace {

using Strings = std::vector<std::string>;

using images::le;

// A record as written back.
std::string stored(const std::string& bytes, const std::string& spare = "", UInt32 attributes = 0) {
  return images::record(bytes, spare, attributes);
}

class Records : public StoreTest {};

}  // namespace

TEST_F(Records, WriteTheFormat) {
  DmOpenRef db = openStore("Clientes", kTypeData);
  EXPECT_EQ(readFile(file("Clientes")), images::fileOf('V', "", 0, ""));
  const LocalID block = MemHandleToLocalID(DmNewHandle(db, 5));
  ASSERT_EQ(setDatabase("CLIENTES", {.info = &block}), errNone);
  EXPECT_EQ(DmWrite(MemLocalIDToLockedPtr(block), 0, "block", 5), errNone);
  ASSERT_TRUE(put(db, "first") && put(db, "third!") && put(db, "second", 1) && change(db, 0, "1st"));
  CloseCatalog();
  const std::string body = stored("1st", "st", kDirty) + stored("second") + stored("third!");
  EXPECT_EQ(readFile(file("Clientes")), images::fileOf('V', "block", 3, body));
  EXPECT_EQ(readFile(file("Clientes_OS")), images::offsetsOf({25, 38, 52}));

  const std::string catalog = readFile(file("catalog.plm"));
  EXPECT_EQ(catalog.substr(12, 8), le(15360) + le(108));
  EXPECT_EQ(catalog.substr(20, 36), "Clientes" + std::string(28, 0));
  EXPECT_EQ(catalog.substr(56, 16), catalog.substr(72, 16)) << "made and changed at the same time";
  EXPECT_EQ(catalog.substr(88, 20), le(0, 8) + "ATAD" + "tset" + le(0));
  EXPECT_EQ(readFile(file("catalog.bck")), catalog);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory_.path() / "DB"), {}), 4) << "no journal stays";
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
  EXPECT_EQ(DmCreateDatabase(0, "dados", kCreator, kTypeData, 0), errAlreadyExists);
  const std::string longest(31, 'n'), tooLong = longest + "n";
  for (const char* name : {"Dados_os", "DADOS_OS", "", ".", "..", "a/b", "a\\b", "a\tb", "catalog.plm", "catalog.bck",
                           "journal.0", tooLong.c_str()}) {
    EXPECT_EQ(DmCreateDatabase(0, name, kCreator, kTypeData, 0), errArgument) << name;
    EXPECT_EQ(DmFindDatabase(0, name), 0u) << name;
  }
  EXPECT_EQ(readFile(file("catalog.plm")), before);
  // Another type code does not change what the files are.
  EXPECT_EQ(setDatabase("DADOS", {.type = &kTypeIndex}), errNone);
  EXPECT_EQ(DmCreateDatabase(0, "DADOS_OS", kCreator, kTypeIndex, 0), errArgument);
  EXPECT_THAT(readFile("saida.txt"),
              testing::HasSubstr("DADOS_OS n\xE3o pode ter este nome: um arquivo seria tamb\xE9m "
                                 "do banco DADOS"));
  EXPECT_NE(openStore("outro"), nullptr);
  EXPECT_FALSE(std::filesystem::exists(file("outro")));
  EXPECT_EQ(DmCreateDatabase(0, nullptr, 0, 0, 0), errArgument);

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

// An entry changes before its file does: who opens meanwhile must not take the backup's word for it.
TEST_F(Records, ACatalogueInOtherHandsIsNotRestored) {
  put(openStore("A", kTypeData), "one");
  CloseCatalog();
  const std::string whole = readFile(file("catalog.plm"));
  for (const bool isHeld : {true, false}) {
    writeFile(file("catalog.plm"), std::string(whole).replace(20, 1, "B"));
    writeFile(file("catalog.bck"), whole);
    const int other = open(file("catalog.plm").c_str(), O_RDONLY);
    if (isHeld) flock(other, LOCK_SH);
    EXPECT_EQ(OpenCatalog(), errNone);
    EXPECT_EQ(readFile(file("catalog.plm"))[20], isHeld ? 'B' : 'A');
    close(other);
    CloseCatalog();
  }
}

// A database without an offsets file leaves alone what has the name of one.
TEST_F(Records, NothingOfAnotherDatabaseIsTouched) {
  const auto expectThere = [&](const char* after) {
    CloseCatalog();
    EXPECT_THAT(records(openStore("SALE_OS")), ElementsAre("one", "two")) << after;
  };
  put(openStore("SALE_OS", kTypeData), "one");
  put(openStore("SALE_OS"), "two");
  for (const UInt32 type : {kTypeIndex, FourChars("OTHR")}) {
    ASSERT_NE(openStore("SALE", type), nullptr);
    expectThere("making");
    EXPECT_EQ(setDatabase("SALE", {.name = "OTHER"}), errNone);
    EXPECT_EQ(setDatabase("OTHER", {.name = "SALE"}), errNone);
    expectThere("renaming");
    EXPECT_EQ(DmDeleteDatabase(0, DmFindDatabase(0, "SALE")), errNone);
    expectThere("deleting");
    // Killed while it was being emptied, renamed or deleted: what is left is finished.
    openStore("SALE", type);
    const std::pair<bool, void (*)()> kKilled[] = {
        {true,
         [] {
           put(openStore("SALE"), "entry");
           fileSystem.msync = [](void*, std::size_t, int) { return kill(getpid(), SIGKILL); };
           __InternalZap(openStore("SALE"));
         }},
        {false,
         [] {
           HasJournal();
           fileSystem.rename = [](const char* a, const char* b) { return ::rename(a, b) + kill(getpid(), SIGKILL); };
           setDatabase("SALE", {.name = "OTHER"});
         }},
        {false,
         [] {
           setDatabase("OTHER", {.name = "SALE"});
           fileSystem.unlink = [](const char* path) { return ::unlink(path) + kill(getpid(), SIGKILL); };
           DmDeleteDatabase(0, DmFindDatabase(0, "SALE"));
         }},
    };
    for (const auto& [isSale, work] : kKilled) {
      CloseCatalog();
      EXPECT_EQ(runChild(work).status, 1000 + SIGKILL);
      expectThere("recovering");
      EXPECT_EQ(DmFindDatabase(0, "SALE") != 0, isSale);
    }
  }
  // Where both have come together nevertheless, the file is not taken for places of records.
  openStore("ONE", kTypeData);
  CloseCatalog();
  std::filesystem::rename(file("ONE"), file("SALE"));
  std::string catalog = readFile(file("catalog.plm"));
  writeFile(file("catalog.plm"), catalog.replace(catalog.find("ONE"), 4, "SALE"));
  EXPECT_EQ(openStore("SALE"), nullptr);
  EXPECT_EQ(DmDeleteDatabase(0, DmFindDatabase(0, "SALE")), errNone);
  expectThere("opening");
}

// What the count, the places and the marks agree on is believed more than the end that the header tells.
TEST_F(Records, BehindAWrongEndAreFound) {
  const Strings all(40, std::string(40, 'r'));
  for (const UInt32 type : {kTypeData, kTypeIndex})
    for (const UInt32 used : {0u, 1u, 20u, 61u, 1000u}) {
      const char kind = static_cast<char>(KindOfType(type));
      const std::string name = kind + std::to_string(used);
      openStore(name.c_str(), type);
      CloseCatalog();
      std::string bytes = images::dataFile(kind, "0123456789", all);
      if (kind == 'V') writeFile(file(name + "_OS"), images::offsetsFile(bytes));
      images::put(bytes, 16, used, 4);
      writeFile(file(name), bytes);
      ASSERT_NE(openStore(name.c_str()), nullptr) << name;
      EXPECT_EQ(records(openStore(name.c_str())), all) << name;
      EXPECT_THAT(readFile("saida.txt"), testing::HasSubstr(name + ": tamanho usado corrigido de "));
      // What was removed stays so, though its bytes may still stand behind the end.
      CloseCatalog();
      images::put(bytes, 8, 10, 4);
      images::put(bytes, 16, images::places(bytes)[9] + 48, 4);
      writeFile(file(name), bytes);
      EXPECT_EQ(DmNumRecords(openStore(name.c_str())), 10u) << name;
      CloseCatalog();
    }
}

// A process dies in changing record 1; another one that has the file open goes on.
TEST_F(Records, WrittenSinceAKillAreNotPutBack) {
  const Strings all(4, std::string(5000, 'o'));
  for (const std::string write : {"", "n", "w"}) {  // nothing, the change that was begun, something else
    CloseCatalog();
    const std::string name = "A" + write;
    for (const std::string& bytes : all) put(openStore(name.c_str(), kTypeData), bytes);
    CloseCatalog();
    runChild([&] {
      void* data = MemHandleLock(DmQueryRecord(openStore(name.c_str()), 1));
      mprotect(reinterpret_cast<void*>((reinterpret_cast<std::uintptr_t>(data) + 4096) & ~std::uintptr_t{4095}), 4096,
               PROT_READ);
      DmWrite(data, 0, std::string(5000, 'n').data(), 5000);
    });
    if (!write.empty()) {
      std::string bytes = readFile(file(name));
      writeFile(file(name), bytes.replace(images::places(bytes)[1] + 8, 5000, 5000, write[0]));
    }
    EXPECT_EQ(record(openStore(name.c_str()), 1), std::string(5000, write == "w" ? 'w' : 'o')) << write;
  }
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
  EXPECT_EQ(readFile(file("A")).substr(20, 18), stored("012345####"));
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

TEST_F(Records, ReserveSpaceAndTellPlaces) {
  DmOpenRef db = openStore("A", kTypeData);
  ASSERT_TRUE(put(db, "one") && put(db, "two"));
  InCreaseFile(db, 100000, 100000);
  EXPECT_GE(std::filesystem::file_size(file("A")), 100000u);
  EXPECT_GE(std::filesystem::file_size(file("A_OS")), 384688u);
  EXPECT_TRUE(FindEor(db, GetRecOffSet(db, 1)) && !FindEor(db, GetRecOffSet(db, 1) + 1));
  EXPECT_EQ(MemHandleUnlock(DmQueryRecord(db, 1)), errNone);
  ASSERT_TRUE(put(db, "three"));
  CloseCatalog();
  EXPECT_THAT(records(openStore("A")), ElementsAre("one", "two", "three"));
}

TEST_F(Records, PlacesFollowTheBytes) {
  DmOpenRef db = openStore("A", kTypeData);
  for (const char* one : {"one", "two", "three"}) put(db, one);
  const auto places = [&] {
    std::vector<UInt32> all;
    for (UInt32 i = 0; i < vorne::OffsetSlots(*db); ++i) all.push_back(GetRecOffSet(db, i));
    return all;
  };
  EXPECT_EQ(__MoveDataBk(db, 0, 1), 0);
  EXPECT_EQ(__MoveDataBk(db, 11, 1), 1);
  EXPECT_THAT(places(), ElementsAre(20, 31));
  EXPECT_EQ(record(db, 1), "three");
  PutRecOffSet(db, 1, 500, 1, 7);
  EXPECT_THAT(places(), ElementsAre(20, 500, 38));
  PutRecOffSet(db, 0, 600, 0, 2);
  PutRecOffSet(db, 3, 700, 1, 0);
  EXPECT_THAT(places(), ElementsAre(600, 502, 40, 700));
}

TEST_F(Records, TakeAnApplicationInfoBlockLargerThanAnyRecord) {
  const UInt32 size = 150000;
  openStore("LARGE", FourChars("ABCD"));
  CloseCatalog();
  writeFile(file("LARGE"), images::fileOf('X', std::string(size, 0), 0, "", 153600));
  DmOpenRef db = openStore("LARGE");
  const std::string content(size, 'i');
  EXPECT_EQ(DmWrite(MemLocalIDToLockedPtr(db->appInfoID), 0, content.data(), size), errNone);
  ASSERT_TRUE(put(db, "record"));
  CloseCatalog();
  EXPECT_EQ(readFile(file("LARGE")).substr(20, size + 14), content + stored("record"));
}

TEST_F(Records, EndAtABrokenHeaderAndAreKeptInACopy) {
  std::string broken = images::dataFile('V', "", {"one", "two", "three"});
  broken.replace(images::places(broken)[1], 8, "garbage!");
  openStore("V", kTypeData);
  CloseCatalog();
  writeFile(file("V"), broken);
  DmOpenRef db = openStore("V");
  EXPECT_TRUE(put(db, "and on"));
  EXPECT_THAT(records(db), ElementsAre("one", "and on"));
  EXPECT_EQ(readFile(CopiesDirectory() + "/V"), broken);
}

// Packing would write what overlaps once for each record, up to files that fill the disk.
TEST_F(Records, AreNotPackedWhereTheyOverlap) {
  const Strings all(3, std::string(24, 'r'));
  for (const UInt32 type : {kTypeData, kTypeIndex}) {
    const char* name = type == kTypeData ? "V" : "B";
    std::string damaged = images::dataFile(*name, "", all);
    openStore(name, type);
    CloseCatalog();
    if (type == kTypeData)
      writeFile(file("V_OS"), images::offsetsOf({20, 20, 84}));
    else
      images::put(damaged, 52 + 2, 40, 2);
    writeFile(file(name), damaged);
    EXPECT_EQ(InterNalPack(openStore(name)), errNoSuchRecord) << name;
    CloseCatalog();
    EXPECT_EQ(readFile(file(name)), damaged);
  }
  DmOpenRef db = openStore("B");
  EXPECT_EQ(DmRemoveRecord(db, 1), errNone);
  EXPECT_EQ(records(db), Strings(all.begin(), all.end() - 1)) << "the record behind a wrong length stays where it is";
}

TEST_F(Records, CatalogueIsBackedUpAndDatabasesAreRenamed) {
  put(openStore("OLD", kTypeData), "content");
  EXPECT_EQ(VerifyCatalog(), 1) << "no backup yet";
  CloseCatalog();
  DmOpenRef db = openStore("OLD");
  const LocalID id = DmFindDatabase(0, "OLD");
  const UInt16 version = 7;
  openStore("OTHER", kTypeData);
  EXPECT_EQ(setDatabase("OLD", {.name = "other"}), errAlreadyExists);
  EXPECT_EQ(setDatabase("OLD", {.name = "NEW", .version = &version}), errNone);
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

  // An end within an entry: the next one still goes where entries are looked for.
  CloseCatalog();
  std::string catalog = readFile(file("catalog.plm"));
  images::put(catalog, 16, images::get(catalog, 16, 4) + 30, 4);
  writeFile(file("catalog.plm"), catalog);
  openStore("THIRD", kTypeData);
  CloseCatalog();
  EXPECT_NE(openStore("THIRD"), nullptr);
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
  AppendRecord(db, le(0, 8) + le(varString) + le(9999) + le(0, 12) + "cut");
  DmCloseDatabase(db);
  EXPECT_EQ(__Array_Get_Amnt_Itens(restore()), 4) << "what is nested too deep begins anew";
  EXPECT_EQ(TemporaryName("clientes", 'P'), "CLIENTES.tPda");
  const std::string shared(26, 'x');
  EXPECT_EQ(TemporaryName(shared, '?'), std::string(26, 'X') + ".tLog");
  std::set<std::string> names;
  for (const char* more : {"", "1", "2", "22"}) names.insert(TemporaryName(shared + more, 'L'));
  EXPECT_EQ(names.size(), 4u) << "one array does not replace another";
  EXPECT_THAT(names, testing::Each(testing::SizeIs(31)));
}
