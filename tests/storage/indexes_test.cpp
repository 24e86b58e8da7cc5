// Indexes through the calls that scripts make: the bytes they leave, where a seek ends, what waits and what is noticed.
#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "storage/files/system.h"
#include "storage/format/keys.h"
#include "storage/journal/journal.h"
#include "storage/reading/table_reader.h"
#include "storage/records/records.h"
#include "storage/records/waiting_entries.h"
#include "storage/repair/directory_check.h"
#include "storage/tables/index_upkeep.h"
#include "support/file_images.h"
#include "support/small_disk.h"
#include "support/tables.h"

using namespace vorne;

namespace {

using Strings = std::vector<std::string>;

std::string entry(std::int32_t record, const std::string& key) {
  std::string bytes(4, '\0');
  Store(bytes.data(), record);
  return bytes + key;
}
void makeTable(const Strings& names) {
  make("T", "{{'NAME','C',5,0},{'BORN','D',8,0},{'PRICE','N',6,2},{'VIP','L',1,0},{'NOTE','M',4,0}}");
  for (const std::string& one : names) append(one);
}
VORNE_RDD& area() {
  return *AreaAt(S_GLOB->TBL_this);
}
DmOpenRef index(int number = 0) {
  return IndexAt(area(), number)->IDX_dbRef;
}
// Record numbers (from 1) in the order of an index.
std::string order(int number = 0) {
  std::string all;
  for (const std::string& one : records(index(number))) all += std::to_string(Load<std::int32_t>(one.data()) + 1) + " ";
  return all;
}
// Whether it was found, the record that is current, its place in the order, and the flags of both ends.
std::string seek(const std::string& key, bool soft = false) {
  const bool found = __Seek(nullptr, text(key), __INIT_BOOL(soft))->objData.mbool != 0;
  const VORNE_RDD& a = area();
  return std::to_string(a.TBL_recpos + 1) + "@" + std::to_string(OrderOf(a)->IDX_recID + 1) +
         (found && a.TBL_found ? " found" : "") + (a.TBL_eof ? " eof" : "") + (a.TBL_bof ? " bof" : "");
}
class Indexes : public TableTest {
 protected:
  static void reopen() {
    __dbCloseAll();
    use("T");
  }
  std::string log() const { return readFile(directory_.path() / "saida.txt"); }
};

}  // namespace

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

TEST_F(Indexes, WhatDoesNotFitIsNoticedAndMadeAnew) {
  fileSystem.fsync = [](int) { return 0; };
  makeTable({"C", "A", "B", "B"});
  ASSERT_TRUE(makeIndex("I", "NAME"));
  closeAll();
  const std::string sound = readFile(file("I"));
  const std::size_t begin = 20 + static_cast<unsigned char>(sound[4]), stride = 8 + 4 + 5;
  const auto changed = [&](std::size_t at, const std::string& bytes) {
    std::string damaged = sound;
    return damaged.replace(at, bytes.size(), bytes);
  };
  const std::string noMatch = "the index does not match its table: ";
  const struct {
    std::string bytes, words, told;
  } kRows[] = {
      {sound, "", ""},
      {changed(84, "TIAW"), "tabela T refeito: ficou atr", noMatch + "the program ended before it had all changes"},
      {changed(8, "\3").replace(16, 1, 1, static_cast<char>(begin + 3 * stride)), "outro n",
       noMatch + "it has 3 entries for 4 records"},
      {changed(begin + 8, "\x09"), "uma entrada para cada", noMatch + "its entry names record 10 of 4"},
      {changed(begin + 8 + 3, "\x80"), "uma entrada para cada", noMatch + "its entry names record 2147483650 of 4"},
      {changed(begin + 2 * stride, "\xFF"), "cabe",
       "its header says 255 bytes used of 9 reserved; its place follows from its neighbours, its data can be kept"},
      {changed(begin + 12, "Z"), "chaves que", noMatch + "record 2 has another key"},
      {changed(begin + 8, sound.substr(begin + 8 + 3 * stride, 9)), "uma entrada para cada",
       noMatch + "the entry of record 3 is out of order"},
      {changed(begin + 8 + 2 * stride, sound.substr(begin + 8 + stride, 9)), "uma entrada para cada",
       noMatch + "record 3 has two entries"},
  };
  for (const auto& row : kRows) {
    std::filesystem::remove(directory_.path() / "saida.txt");
    writeFile(file("I"), row.bytes);
    // Without any program running it is found and repaired too.
    const DirectoryReport told = CheckDirectory(directory_.path());
    EXPECT_EQ(told.problems.empty() ? "" : told.problems[0].problem, row.told);
    const DirectoryReport repaired = RepairDirectory(directory_.path());
    EXPECT_TRUE(repaired.problems.size() == told.problems.size() && readFile(file("I")) == sound);
    EXPECT_TRUE(CheckDirectory(directory_.path()).sound);
    writeFile(file("I"), row.bytes);
    reopen();
    EXPECT_EQ(order(), "2 3 4 1 ") << row.words;
    EXPECT_EQ(log().empty(), row.words.empty());
    EXPECT_NE(log().find(row.words), std::string::npos) << log();
    closeAll();
    EXPECT_TRUE(readFile(file("I")) == sound) << row.words;
  }
  // It is the table's places that are wrong, in the third one to none or to another record.
  const std::string places = readFile(file("T_OS"));
  for (const std::string& place : {std::string(4, '\0'), places.substr(20, 4)}) {
    writeFile(file("I"), sound);
    writeFile(file("T_OS"), std::string(places).replace(20 + 2 * 4, 4, place));
    reopen();
    go(3);
    EXPECT_EQ(visible(__GetField(nullptr, text("NAME"))), "B");
    closeAll();
    EXPECT_TRUE(readFile(file("I")) == sound && readFile(file("T_OS")) == places);
  }
  // A key of other fields than the table has: left alone, and told.
  writeFile(file("I"), changed(92 + 6, "9"));
  reopen();
  EXPECT_EQ(area().TBL_appinfo->TBL_numIndexes, 0u);
  EXPECT_NE(log().find("campos da chave"), std::string::npos);
  // One whose head names no table, told once and not at every opening.
  for (const std::string& bytes : {sound.substr(0, 50), changed(20 + 8, "Q")}) {
    closeAll();
    writeFile(file("I"), bytes);
    reopen();
    EXPECT_EQ(area().TBL_appinfo->TBL_numIndexes, 0u);
    EXPECT_NE(log().find("o cabe"), std::string::npos);
    EXPECT_EQ(log().find("o cabe"), log().rfind("o cabe"));
  }
}

// Key fields numbered from 0, by a length that only this makes and by the keys alone: used, and left so.
TEST_F(Indexes, KeepNumbersFromZero) {
  const auto makeIt = [](const char* structure) {
    make("T", structure);
    for (const char* name : {"'C'", "'A'", "'B'"}) {
      __DBAPPEND();
      set("NAME", name);
      __Commit();
    }
  };
  for (const char* structure : {"{{'NAME','C',5,0},{'OTHER','C',9,0}}", "{{'OTHER','C',5,0},{'NAME','C',5,0}}"}) {
    makeIt(structure);
    ASSERT_TRUE(makeIndex("I", "NAME"));
    closeAll();
    std::string bytes = readFile(file("I"));
    --bytes[20 + 78];
    writeFile(file("I"), bytes);
    const std::uint32_t field = structure[3] == 'N' ? 0 : 1;
    EXPECT_EQ(TableReader(".", "T").indexes().at(0).fields.at(0), field);
    Dictionary dictionary(".");
    dictionary.renew(Dictionary::Heads::kOfIndexes);
    const StoredDatabase& table = *dictionary.find("T");
    EXPECT_EQ(dictionary.describeIndexes(table, dictionary.describe(table)->fields).at(0).keyFields.at(0).KeyField,
              field + 1);
    EXPECT_TRUE(CheckDirectory(".", {}).sound);
    const std::size_t place = bytes.rfind('B');
    writeFile(file("I"), std::string(bytes).replace(place, 1, "Z"));
    EXPECT_FALSE(CheckDirectory(".", {}).sound);
    EXPECT_TRUE(RepairDirectory(".", {}).sound);
    EXPECT_EQ(readFile(file("I")).substr(20, 80), bytes.substr(20, 80));
    EXPECT_EQ(readFile(file("I"))[place], 'B');
    reopen();
    use("T", "AGAIN");
    ASSERT_EQ(area().TBL_appinfo->TBL_numIndexes, 1u) << log();
    EXPECT_EQ(order() + visible(__IndexKey(nullptr, number(1))) + log(), "2 3 1 NAME");
    __DBAPPEND();
    set("NAME", "'AA'");
    __Commit();
    __TBL_CreateOrChangeMyAppInfo(area().TBL_appinfo);
    EXPECT_EQ(order(), "2 4 3 1 ");
    closeAll();
    EXPECT_EQ(readFile(file("I"))[20 + 78], bytes[20 + 78]);
  }
  // Without entries the length alone tells.
  __DBCREATE(text("T"), value("{{'OTHER','C',9,0},{'NAME','C',5,0}}"));
  __DBUSEAREA(__INIT_BOOL(1), nullptr, text("T"));
  ASSERT_TRUE(makeIndex("I", "NAME"));
  __dbCloseAll();
  CloseCatalog();
  std::string bytes = readFile(file("I"));
  --bytes[20 + 78];
  writeFile(file("I"), bytes);
  EXPECT_TRUE(CheckDirectory(".", {}).sound);
  reopen();
  EXPECT_EQ(visible(__IndexKey(nullptr, number(1))), "NAME");
}

// In a large index only some entries are looked at; whatever meets a record twice or not at all makes it anew.
TEST_F(Indexes, DamageThatIsMetLaterIsMendedThen) {
  constexpr int kRecords = 65600, kMissing = 6;
  bBatchOper = 1;
  makeTable({});
  char name[6];
  // The last ones have a key in fours.
  constexpr int kFour = kRecords - 3, kUnlike = kFour - 4;
  for (int i = 1; i <= kRecords; ++i)
    append((std::snprintf(name, sizeof name, "%05d", i < kUnlike ? i : i < kFour ? kUnlike : kFour), name));
  ASSERT_TRUE(makeIndex("I", "NAME"));
  closeAll();
  const std::string sound = readFile(file("I"));
  const std::size_t begin = 20 + static_cast<unsigned char>(sound[4]), stride = 8 + 4 + 5;
  std::string bytes = sound;
  bytes.replace(begin + (kMissing - 1) * stride, stride, bytes.substr(begin + kMissing * stride, stride));
  // This one names a record that an entry far away names as well.
  constexpr int kTwice = 65591;
  images::put(bytes, begin + (kTwice - 1) * stride + 8, 9, 4);
  // Here one entry is written over as a whole, by one far away: searches that come by are led astray.
  constexpr int kOver = 30001;
  const auto overwritten = [&](int entry, int by) {
    return std::string(sound).replace(begin + (entry - 1) * stride, stride, sound, begin + (by - 1) * stride, stride);
  };
  const std::string whole = overwritten(kOver, 60001);
  // Two keys that are wrong and stand in order: behind their own place, and before it.
  std::string keys = sound;
  keys[begin + 40008 * stride + 16] = keys[begin + 50009 * stride + 16] = ':';
  keys[begin + 50009 * stride + 15] = '0';
  const auto byOrder = [] { __TBL_SetOrder(nullptr, number(1)); };
  const auto seeks = [&](const std::string& key, const char* expected, bool soft = false) {
    byOrder();
    EXPECT_EQ(seek(key, soft), expected);
  };
  const auto skips = [](int from, int step) {
    for (int i = 1; i <= 20; ++i) {
      __TBL_Skip(nullptr, number(step));
      EXPECT_EQ(numberOf(__TBL_RecNo()), from + i * step);
    }
  };
  // A neighbour's bytes, or those of an equal key, stand in order there.
  const std::string before = overwritten(kOver, kOver - 1), behind = overwritten(kOver, kOver + 1),
                    like = overwritten(kFour, kFour + 3), unlike = overwritten(kFour, kUnlike + 1),
                    likeBack = overwritten(kFour + 3, kFour);
  // A key that no record has, out of order where a search comes by first.
  const std::string none = std::string(sound).replace(begin + 32791 * stride + 12, 5, "3278:");
  std::string header = overwritten(kOver, kOver);
  header[begin + (kOver - 1) * stride] = 11;
  for (const std::string& damaged : {whole, before, behind, like, unlike, header}) {
    writeFile(file("I"), damaged);
    TableReader reader(".", "T");
    for (int i = kOver - 40; i < kOver + 40; ++i)
      EXPECT_EQ(reader.find(0, RangesOfText(reader.fields()[0], std::to_string(i))).count(), 1u) << i;
    EXPECT_EQ(reader.find(0, {{"30000", "30005"}}).count(), 6u);
    EXPECT_EQ(reader.find(0, RangesOfText(reader.fields()[0], "65597")).count(), 4u);
  }
  writeFile(file("I"), keys);
  for (const char* key : {"40009", "50010", "5001"})
    EXPECT_EQ(TableReader(".", "T").find(0, {{key, key}}).count(), key[4] == 0 ? 10u : 1u) << key;
  // The one in a long range whose record an entry outside of it names as well.
  writeFile(file("I"), bytes);
  const KeyList range = TableReader(".", "T").find(0, {{"30000", "65591"}});
  EXPECT_EQ(range.position(range.count() - 1), kTwice - 1u);
  // A header that is wrong hides no entry.
  writeFile(file("I"), std::string(sound).replace(begin + kRecords / 2 * stride, 1, "\xFF"));
  reopen(), byOrder();
  for (const std::string key : {"10001", "30001", "32801", "65590"}) EXPECT_EQ(seek(key), key + "@" + key + " found");
  closeAll();
  const std::tuple<const char*, const std::string&, std::function<void()>> kWays[] = {
      {"seek", bytes, [&] { seeks(std::to_string(kTwice), "65591@65591 found"); }},
      {"seek what is missing", bytes, [&] { seeks("00006", "6@6 found"); }},
      {"seek past a deleted record", bytes,
       [&] {
         remove(kTwice - 1);
         __Set(number(11), __INIT_BOOL(1));
         seeks("6559", "65591@65591 found");
         __Set(number(11), __INIT_BOOL(0));
       }},
      {"walk", bytes,
       [&] {
         byOrder(), __TBL_GoTop();
         for (int i = 1; i < kMissing + 1; ++i) __TBL_Skip();
       }},
      {"walk from one entry to its double far away", bytes,
       [&] {
         byOrder(), seek("00008");
         for (int i = 8; i < kTwice; ++i) __TBL_Skip();
         EXPECT_EQ(numberOf(__TBL_RecNo()), int{kTwice});
       }},
      {"search", bytes, [&] { go(kMissing), byOrder(); }},
      {"merge", bytes,
       [&] {
         for (const char* key : {"X", "00006"}) {
           go(kMissing);
           set("NAME", std::string("'") + key + "'");
           __Commit();
           DmSyncDatabase(index());
         }
         byOrder(), __TBL_GoTop();
       }},
      {"keys: seek what is behind its place", keys, [&] { seeks("40009", "40009@40009 found"); }},
      {"keys: seek what is before its place", keys, [&] { seeks("50010", "50010@50010 found"); }},
      {"keys: seek softly", keys, [&] { seeks("50010", "50010@50010 found", true); }},
      {"keys: seek the first of several", keys, [&] { seeks("5001", "50010@50010 found"); }},
      {"whole: seek what is missing", whole, [&] { seeks("30001", "30001@30001 found"); }},
      {"whole: seek what is beside it", whole, [&] { seeks("30002", "30002@30002 found"); }},
      {"whole: walk to it", whole, [&] { seeks("29990", "29990@29990 found"), skips(29990, 1); }},
      {"whole: walk back to it", whole, [&] { seeks("30010", "30010@30010 found"), skips(30010, -1); }},
      {"walk to one written over by its neighbour", behind,
       [&] { seeks("29990", "29990@29990 found"), skips(29990, 1); }},
      {"walk back to one", before, [&] { seeks("30010", "30010@30010 found"), skips(30010, -1); }},
      {"seek the first of equal keys", like, [&] { seeks("65597", "65597@65597 found"); }},
      {"walk to one of equal keys", like, [&] { seeks("65580", "65580@65580 found"), skips(65580, 1); }},
      {"walk back to one", likeBack,
       [&] {
         byOrder(), __TBL_GoBottom();
         EXPECT_EQ(numberOf(__TBL_RecNo()), int{kRecords});
       }},
      {"seek what no record has", none, [&] { seeks("3278:", "0@0 eof"); }},
      {"seek behind other equal keys", unlike, [&] { seeks("65597", "65597@65597 found"); }},
      {"seek what is missing behind its double", before, [&] { seeks("30001", "30001@30001 found"); }},
      {"whole: merge", whole,
       [&] {
         go(64000), set("NAME", "'30000'"), __Commit();
         byOrder(), __TBL_GoTop();
       }},
  };
  for (const auto& [words, damaged, meet] : kWays) {
    std::filesystem::remove(directory_.path() / "saida.txt");
    writeFile(file("I"), damaged);
    reopen();
    EXPECT_EQ(log(), "") << words;
    meet();
    EXPECT_NE(log().find("uma entrada para cada registro"), std::string::npos) << words;
    EXPECT_EQ(seek("00006"), "6@6 found") << words;
    closeAll();
  }
  bBatchOper = 0;
}

// Opening passes over some keys of an index long before it is too large for having its records counted.
TEST_F(Indexes, KeysThatOpeningPassesOverAreLookedAtBySeeks) {
  constexpr int kRecords = 5000, kPassedOver = 6;
  bBatchOper = 1;
  makeTable({});
  char name[6];
  for (int i = 1; i <= kRecords; ++i) append((std::snprintf(name, sizeof name, "%05d", 2 * i), name));
  bBatchOper = 0;
  ASSERT_TRUE(makeIndex("I", "NAME"));
  closeAll();
  std::string bytes = readFile(file("I"));
  // Wrong, and in order.
  for (const char last : {'3', '1'}) {
    bytes[20 + static_cast<unsigned char>(bytes[4]) + kPassedOver * (8 + 4 + 5) - 1] = last;
    writeFile(file("I"), bytes);
    reopen();
    EXPECT_EQ(log(), "");
    __TBL_SetOrder(nullptr, number(1));
    EXPECT_EQ(seek("00012", last == '1'), "6@6 found");
    closeAll();
    std::filesystem::remove(directory_.path() / "saida.txt");
  }
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

// A process that died while it made an index leaves a database without a description, or with an empty one.
TEST_F(Indexes, TakeTheNameOfOneThatWasNeverFinished) {
  makeTable({"B", "A"});
  for (const UInt32 block : {0u, 80u}) {
    ASSERT_EQ(DmCreateDatabase(0, "I", 0, kTypeIndex, 0), errNone);
    if (block != 0) DmNewHandle(openStore("I"), block);
    closeAll();
    use("T");
    EXPECT_TRUE(makeIndex("I", "NAME"));
    EXPECT_EQ(records(index()).size(), 2u);
    __DBDROPINDEX(text("I"));
  }
}

// No more space on the disk, also for what file systems write that cannot reserve it.
void fillDisk(int reserving) {
  static int error;
  error = reserving;
  fileSystem.fallocate = [](int, off_t, off_t) { return errno = error, -1; };
  fileSystem.write = [](int file, const void* bytes, std::size_t length) -> ssize_t {
    return length < 200 ? kSystem.write(file, bytes, length) : (errno = ENOSPC, -1);
  };
}

TEST_F(Indexes, AFullDiskKeepsNothingHalfMadeAndNoTableClosed) {
  for (const int reserving : {ENOSPC, EOPNOTSUPP}) {
    makeTable(Strings(2000, "ana"));
    makeIndex("I", "NAME");
    const std::string sound = readFile(file("I"));
    reopen();
    // Making one: it is taken back.
    fillDisk(reserving);
    EXPECT_EXIT((dup2(STDERR_FILENO, STDOUT_FILENO), makeIndex("J", "NAME+STR(PRICE)")), testing::ExitedWithCode(0),
                "(journal|J): No space left on device \\([0-9]+ bytes\\)\nRunTimeError");
    fileSystem = kSystem;
    closeAll();
    EXPECT_EQ(DmFindDatabase(0, "J"), 0u);
    // Opening with one that cannot be finished: the table is there without it, until there is space again.
    CloseCatalog();
    std::string behind = images::fileOf('B', sound.substr(20, images::get(sound, 4, 4)), 0, "");
    writeFile(file("I"), behind.replace(20 + kEntriesWaitAt, 4, "TIAW"));
    reopen();
    EXPECT_EQ(area().TBL_appinfo->TBL_numIndexes, 1u);
    closeAll();
    writeFile(file("I"), sound.substr(0, 20000));
    OpenCatalog();
    HasJournal();
    fillDisk(reserving);
    // The second time it is known to be cut, and behind.
    for (int i = 0; i < 2; ++i) {
      reopen();
      EXPECT_EQ(area().TBL_appinfo->TBL_numIndexes, 0u);
      EXPECT_EQ(RecordCount(area()), 2000);
      EXPECT_EQ(readFile(file("I")).size(), 20000u);
    }
    EXPECT_EXIT((dup2(STDERR_FILENO, STDOUT_FILENO), __TBL_SetOrder(nullptr, text("i"))), testing::ExitedWithCode(0),
                "ndice I n.o aberto: I: No space left on device \\([0-9]+ bytes\\)\nRunTimeError = 32");
    EXPECT_EXIT((dup2(STDERR_FILENO, STDOUT_FILENO), __Reindex()), testing::ExitedWithCode(0),
                "ndice I n.o aberto: I: No space left on device \\([0-9]+ bytes\\)\nRunTimeError = -1");
    remove(7);
    EXPECT_THAT(log(), testing::HasSubstr("\xCDndice I n\xE3o aberto: I: No space left on device"));
    fileSystem = kSystem;
    // Files cut behind what is used of them lack nothing.
    closeAll();
    CloseCatalog();
    for (const char* name : {"T", "catalog.plm"}) {
      const std::string bytes = readFile(file(name));
      writeFile(file(name), bytes.substr(0, images::get(bytes, 16, 4) + 200));
    }
    fillDisk(reserving);
    reopen();
    EXPECT_EQ(RecordCount(area()), 2000);
    fileSystem = kSystem;
    reopen();
    EXPECT_EQ(DmNumRecords(index()), 2000u);
    // One that was left out can be dropped.
    __dbCloseAll();
    CloseCatalog();
    writeFile(file("I"), behind);
    OpenCatalog();
    HasJournal();
    fillDisk(reserving);
    reopen();
    EXPECT_TRUE(__DBDROPINDEX(text("I"))->objData.mbool);
    EXPECT_FALSE(std::filesystem::exists(file("I")) || __DBDROPINDEX(text("I"))->objData.mbool);
    fileSystem = kSystem;
    __dbCloseAll();
    __TBL_DeleteDatabase(text("T"));
    CloseCatalog();
  }
}

// A program on a disk that it fills, started again on one that others have filled, and on one that has space again.
TEST_F(Indexes, AProgramGoesOnOnAFullDisk) {
  const SmallDisks disks(directory_.path());
  int& stored = shared<int>();
  const auto program = [](const std::function<void()>& body) {
    const ChildResult result = runChild([&] {
      body();
      __dbCloseAll();
      CloseCatalog();
      if (HasFailure()) _exit(1);
    });
    const bool done = result.status == kCameBack;
    EXPECT_TRUE(done || result.status == 0) << result.status;
    EXPECT_THAT(result.output, testing::ContainsRegex(
                                   done ? "^$" : "^[^:]+: No space left on device .[0-9]+ bytes.\nRunTimeError = "));
    return done;
  };
  disks.each([&] {
    stored = 0;
    const bool isMade = program([&] {
      makeTable({});
      for (; stored < 900; ++stored) append("a" + std::to_string(stored % 50));
      makeIndex("I", "NAME");
    });
    std::ofstream("fill") << std::string(1 << 20, ' ');
    if (stored > 2) {
      EXPECT_TRUE(program([&] {
        reopen();
        const int count = RecordCount(area());
        EXPECT_GE(count, stored);
        __TBL_GoTo(nullptr, number(2));
        set("NAME", "'zz'");
        __Commit();
        remove(1);
        __dbPack();
        EXPECT_EQ(RecordCount(area()), count - 1);
      }));
      program([&] { reopen(), append("b"); });
      program([&] { reopen(), makeIndex("J", "PRICE"); });
    }
    disks.makeRoom();
    std::filesystem::remove("fill");
    EXPECT_TRUE(program([&] {
      if (stored == 0) __TBL_DeleteDatabase(text("T")), makeTable({});
      reopen();
      append("c");
      EXPECT_TRUE(!isMade || static_cast<int>(DmNumRecords(index())) == RecordCount(area()));
      makeIndex("K", "NAME");
    }));
    EXPECT_TRUE(CheckDirectory(".").sound);
  });
}

// Of a table that the catalogue has lost all files make room for a new one, or none.
TEST_F(Indexes, StayWithATableThatCannotMakeRoom) {
  makeTable({"ana"});
  makeIndex("I", "NAME");
  closeAll();
  CloseCatalog();
  std::map<std::string, std::string> before;
  for (const char* name : {"T", "T_OS", "T_M", "I"}) before[name] = readFile(file(name));
  for (const char* name : {"catalog.plm", "catalog.bck"}) std::filesystem::remove(file(name));
  for (const bool isRead : {true, false}) {
    // Another user's file, which can be copied but has no second name, and does not leave its place.
    if (isRead) {
      fileSystem.link = [](const char*, const char* to) {
        return errno = std::filesystem::exists(to) ? EEXIST : EPERM, -1;
      };
      fileSystem.unlink = [](const char* path) {
        return std::string_view(path).ends_with("DB/I") ? (errno = EPERM, -1) : kSystem.unlink(path);
      };
    } else {
      fileSystem.open = [](const char* path, int flags, mode_t mode) {
        return std::string_view(path).ends_with("DB/I") ? (errno = EACCES, -1) : kSystem.open(path, flags, mode);
      };
    }
    EXPECT_EXIT((dup2(STDERR_FILENO, STDOUT_FILENO), make("T", "{{'A','C',5,0}}")), testing::ExitedWithCode(0),
                isRead ? "^I: Operation not permitted" : "^I: Permission denied");
    fileSystem = kSystem;
    for (const auto& [name, bytes] : before) EXPECT_EQ(readFile(file(name)), bytes) << name;
    for (const auto& entry : std::filesystem::directory_iterator(file(""))) EXPECT_FALSE(entry.is_directory()) << entry;
  }
  // A database of its own in the place of its offsets file is none that a new one may write over.
  std::filesystem::rename(file("T"), file("S_OS"));
  EXPECT_EQ(DmCreateDatabase(0, "S", 0, kTypeData, 0), errAlreadyExists);
  EXPECT_EQ(DmCreateDatabase(0, "S_OS_OS", 0, kTypeData, 0), errArgument);
  EXPECT_EQ(readFile(file("S_OS")), before["T"]);
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
