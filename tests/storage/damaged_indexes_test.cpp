// Indexes that do not fit their tables: what openings, seeks, walks and readers notice, and that it is mended then.
#include <gmock/gmock.h>

#include "index_fixture.h"
#include "storage/format/keys.h"
#include "storage/reading/table_reader.h"
#include "storage/repair/directory_check.h"

using namespace vorne;

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
