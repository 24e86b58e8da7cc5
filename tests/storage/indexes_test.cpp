// Indexes through the calls that scripts make: the bytes they leave, where a seek ends, what waits and what is noticed.
#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "index_fixture.h"
#include "storage/format/keys.h"
#include "storage/records/waiting_entries.h"

using namespace vorne;

TEST_F(Indexes, WriteTheFormat) {
  makeTable({"AB"});
  set("BORN", "d38053");
  set("PRICE", "3.5");
  set("VIP", "T");
  __Commit();
  ASSERT_TRUE(makeIndex("byname", " name + DTOS( Born )+str(price,6,2)+VIP"));
  EXPECT_EQ(records(index()), Strings{entry(0, "AB   20040307  3.50\1")});
  EXPECT_EQ(visible(__IndexKey(nullptr)), "NAME+BORN+PRICE+VIP");
  __dbCloseAll();
  const std::string file = readFile(this->file("BYNAME"));
  EXPECT_EQ(file[1], 'B');
  std::string texts = "BYNAME|4|20|1|2|3|4|||||";
  std::replace(texts.begin(), texts.end(), '|', '\0');
  EXPECT_EQ(file.substr(28, 32), "T" + std::string(31, 0));
  EXPECT_EQ(file.substr(92, texts.size()), texts);
  EXPECT_EQ(file.substr(92 + texts.size(), 8 + 4 + 20),
            std::string("\x18\0\x18\0\0\0\xFF\xFF", 8) + entry(0, "AB   20040307  3.50\1"));
}

TEST_F(Indexes, EqualKeysAreOneRun) {
  makeTable({"B", "A", "B", "C", "B", "D"});
  ASSERT_TRUE(makeIndex("I", "NAME"));
  EXPECT_EQ(order(), "2 1 3 5 4 6 ");
  const auto position = [](const std::string& key, DmComparF* compare) {
    std::string sought = entry(0, key);
    return DmFindSortPosition(index(), sought.data(), nullptr, compare, static_cast<std::int16_t>(key.size()));
  };
  // A function that only behaves like the usual one goes through the entries one by one.
  DmComparF* const other = [](void* a, void* b, std::int16_t n, void* x, void* y, MemHandle h) {
    return __SCmpFunc(a, b, n, x, y, h);
  };
  for (const std::string row : {"A|1", "B|4", "B    |4", "BB|4", "C|5", "E|6", " |0", "|6", "B    much longer|4"})
    for (DmComparF* compare : {&__SCmpFunc, other})
      EXPECT_EQ(std::to_string(position(split(row)[0], compare)), split(row)[1]) << row;
  std::string b = entry(0, "B    ");
  EXPECT_EQ(__FindSequential(index(), b.data(), nullptr, __SCmpFunc, 5), 1u);
  // Record, key, whether its entry is found, and where the search ended (9: nowhere).
  for (const std::string row : {"0|B    |1|1", "2|B    |1|2", "4|B    |1|3", "3|B    |0|0", "1|A    |1|0",
                                "1|AA   |0|0", "5|D    |1|5", "0|     |0|9"}) {
    UInt32 place = 9;
    const Strings part = split(row + "||");
    const int found = FindKeyInIndexFile(index(), entry(std::stoi(part[0]), part[1]).c_str(), 5, &place);
    EXPECT_EQ(std::to_string(found) + "|" + std::to_string(place), part[2] + "|" + part[3]) << row;
  }
  UInt32 place = 0;
  EXPECT_TRUE(FindRecnoInIndexFile(index(), 3, &place) && place == 4 && !FindRecnoInIndexFile(index(), 6, &place));
}

TEST_F(Indexes, Seek) {
  makeTable({"BB", "CAT", "BA", "DOG", "CAR", "CA", "Z"});
  ASSERT_TRUE(makeIndex("I", "NAME"));  // BA BB CA CAR CAT DOG Z
  remove(4);
  remove(6);
  // Key, s for soft, h for hidden deleted records, where that leads. A soft seek that had to pass over a deleted record
  // stays at that place of the order, on no record.
  for (const std::string row : {"BA||3@1 found", "CA||6@3 found", "C||6@3 found", "C|h|5@4 found", "CA   ||6@3 found",
                                "CA   and more||6@3 found", "CA   |h|0@3 eof", "||3@1 found", "CB||0@0 eof", "CB|s|4@6",
                                "CB|sh|0@6", "D|sh|0@6", "A|s|3@1", "ZZ|s|0@0 eof"}) {
    const Strings part = split(row + "||");
    __Set(number(11), __INIT_BOOL(part[1].ends_with('h')));
    EXPECT_EQ(seek(part[0], part[1].starts_with('s')), part[2]) << row;
  }
  // An entry that is missing: behind the last one the table's count still lets a soft seek look, and notice it.
  DmRemoveRecord(index(), 6);
  EXPECT_EQ(seek("Z", true), "7@7 found");
  __dbZap();
  EXPECT_EQ(seek("A"), "0@0 eof bof");
  EXPECT_RUNTIME_ERROR(__Seek(text("X"), text("A")), 11);
  append("A");
  EXPECT_RUNTIME_ERROR(__Seek(nullptr, number(1)), 3);
  __ClearIndex(S_GLOB->TBL_this);
  EXPECT_RUNTIME_ERROR(__Seek(nullptr, text("A")), 4);
  __dbCloseAll();
  EXPECT_RUNTIME_ERROR(__Seek(nullptr, text("A")), 2);
}

TEST_F(Indexes, EntriesWaitAsIfTheyHadBeenPutInOneByOne) {
  DmOpenRef db = openStore("I", kTypeIndex);
  const LocalID block = MemHandleToLocalID(DmNewHandle(db, 80));
  DmSetDatabaseInfo(0, DmFindDatabase(0, "I"), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &block,
                    nullptr, nullptr, nullptr);
  const auto mark = [this] { return readFile(file("I")).substr(84, 4); };
  const auto before = [](const std::string& a, const std::string& b) { return a.compare(4, 9, b, 4, 9) < 0; };
  std::mt19937 random(5);
  Strings model;
  for (int step = 0; step < 6000; ++step) {
    std::string one = entry(static_cast<std::int32_t>(random() % 5),
                            std::to_string(1000 + random() % (step < 3000 ? 40 : 8999)) + "KEY");
    if (random() % 8 >= 3) {
      InsertEntry(db, one);
      model.insert(std::upper_bound(model.begin(), model.end(), one, before), one);
    } else {
      if (!model.empty() && random() % 4 != 0) one = model[random() % model.size()];
      RemoveEntry(db, one);
      const auto found = std::find(model.rbegin(), model.rend(), one);
      if (found != model.rend()) model.erase(found.base() - 1);
    }
    if (random() % 100 != 0) continue;
    EXPECT_EQ(mark(), "TIAW");
    ASSERT_EQ(records(db), model) << step;
    EXPECT_EQ(mark(), std::string(4, 0));
  }
  // What is announced and never told leaves the mark, an emptied index needs none.
  MarkBehind(db);
  EXPECT_EQ(DmNumRecords(db), model.size());
  EXPECT_EQ(mark(), "TIAW");
  InsertEntry(db, entry(1, "KEYKEY9"));
  __InternalZap(db);
  EXPECT_EQ(mark(), std::string(4, 0));
  EXPECT_EQ(DmNumRecords(db), 0u);
}

TEST_F(Indexes, AreNamedAndClosed) {
  makeTable({"C", "A", "B"});
  ASSERT_TRUE(makeIndex("I", "NAME") && makeIndex("P", "PRICE+NAME"));
  use("T", "SECOND");
  ASSERT_TRUE(makeIndex("D", "DTOS(BORN)+NAME"));
  __TBL_Select(text("T"));
  EXPECT_EQ(visible(__TBL_SetOrder(nullptr, text("d"))), "P");
  EXPECT_TRUE(__DBDROPINDEX(text("p"), text("SECOND"))->objData.mbool);
  EXPECT_EQ(numberOf(__IndexOrd()), 2);
  // An area writes back a key that another one has changed since.
  const auto write = [](const char* alias, const char* field, const char* word) {
    __TBL_Select(text(alias));
    set(field, word);
    __Commit();
  };
  for (const char* alias : {"SECOND", "T"}) __TBL_Select(text(alias)), go(1);
  write("T", "NAME", "'0'");
  EXPECT_EQ(order(), "1 2 3 ");
  write("SECOND", "PRICE", "2");
  EXPECT_EQ(order(), "2 3 1 ");
  // Written to while they are closed.
  reopen();
  EXPECT_EQ(__CloseAllIdx(0), 2);
  EXPECT_EQ(__GetFirstOpenIDX(0), -1);
  append("B");
  EXPECT_EQ(__UseIndex(0, "I"), 0);
  EXPECT_EQ(order(), "2 3 4 1 ");
  reopen();
  EXPECT_EQ(log(), "");
}

TEST_F(Indexes, RefuseWhatCannotBe) {
  makeTable({"A", "B"});
  EXPECT_FALSE(makeIndex("invalid_index", "NAME"));
  ASSERT_TRUE(makeIndex("I", "NAME"));
  for (const std::string row : {"J|NAME+NONE|45", "J|NAME+|45", "J|UPPER(NAME)|45", "J|D_E_L_E_T_|45", "J| |48",
                                "J|NOTE|19", "|NAME|47", "I|NAME|49"}) {
    const Strings part = split(row + "||");
    EXPECT_EXIT((dup2(2, 1), makeIndex(part[0].c_str(), part[1].c_str())), testing::ExitedWithCode(0),
                "RunTimeError = " + part[2] + "($|[^0-9])");
  }
  EXPECT_RUNTIME_ERROR(__DBCREATEINDEX(text("J"), nullptr), 44);
  EXPECT_RUNTIME_ERROR(__DBDROPINDEX(text("")), 43);
  EXPECT_RUNTIME_ERROR(__OpenIDX(0, -1), 16);
  EXPECT_RUNTIME_ERROR(__GetFirstOpenIDX(250), 14);
  for (Obj_Node* none : {text("J"), number(2)}) EXPECT_RUNTIME_ERROR(__TBL_SetOrder(nullptr, none), 32);
  EXPECT_FALSE(__DBDROPINDEX(text("J"))->objData.mbool);
  EXPECT_EQ(visible(__TBL_SetOrder(nullptr, number(0))), "I");
  EXPECT_EQ(visible(__TBL_SetOrder(nullptr, text("INVALID_INDEX"))), "INVALID_INDEX");
  EXPECT_EQ(numberOf(__IndexOrd()) + numberOf(__TBL_INDEX_POS()), 0);
  EXPECT_EQ(visible(__IndexKey(nullptr)) + visible(__IndexKey(nullptr, text("i"))), "NAME");
}

TEST_F(Indexes, AreSortedWhereTheyLie) {
  makeTable({"C", "A", "B"});
  makeIndex("I", "NAME");
  const std::span<const char> first = BytesOf(index(), 0), last = BytesOf(index(), 2);
  std::swap_ranges(const_cast<char*>(&*first.begin()), const_cast<char*>(&*first.end()),
                   const_cast<char*>(&*last.begin()));
  EXPECT_EQ(order(), "1 3 2 ");
  EXPECT_EQ(OrdenarIndice(index()), 1);
  EXPECT_EQ(order(), "2 3 1 ");
}
