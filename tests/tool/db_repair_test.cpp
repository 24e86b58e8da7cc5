// What `tellira db check` finds of damage to what the files mean, what a repair makes of it, and that every verb works
// afterwards.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <thread>

#include "run_tool.h"
#include "support/file_images.h"

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr const char* kHead = "CODE,PRICE,SINCE,SOLD,NOTES\n";
const Words kFields = {"CODE:C:6", "PRICE:N:8:2", "SINCE:D", "SOLD:L", "NOTES:M"};

std::string row(int i) {
  const std::string number = std::to_string(i);
  return "C" + number + "," + number + ".50,2004-03-1" + number + ",true,text " + number + "\n";
}
std::string rows() {
  std::string all = kHead;
  for (int i = 1; i <= 5; ++i) all += row(i);
  return all;
}
std::string with(std::string text, const std::string& part, const std::string& other) {
  return text.replace(text.find(part), part.size(), other);
}

}  // namespace

class DbRepair : public ToolTest {
 protected:
  void SetUp() override {
    Words create{"create", "T"};
    create.insert(create.end(), kFields.begin(), kFields.end());
    ok(create);
    ok({"import", "T", "-"}, rows());
    ok({"index", "create", "T", "X", "CODE,PRICE"});
    ok({"index", "create", "T", "Y", "SINCE"});
  }
  void remove(const Words& names) const {
    for (const std::string& name : names) std::filesystem::remove(path(name));
  }
  void patch(const std::string& name, std::size_t place, const std::string& bytes) const {
    std::string file = readFile(path(name));
    writeFile(path(name), file.replace(place, bytes.size(), bytes));
  }
  /// A place in the record of row `i`, from its first field on.
  std::size_t place(int i, std::size_t offset) const {
    return readFile(path("T")).find(std::string("C") + std::to_string(i) + '\0') + offset;
  }
  json report(const Words& options, int status) const {
    Words words{"check", "--json"};
    words.insert(words.end(), options.begin(), options.end());
    const Ran ran = db(words);
    EXPECT_EQ(ran.status, status) << ran.out << ran.err;
    return json::parse(ran.out);
  }
  static std::string problems(const json& report) {
    std::string all;
    for (const json& one : report["problems"])
      all += one["file"].get<std::string>() + (one["record"].is_null() ? "" : " " + one["record"].dump()) + ": " +
             one["problem"].get<std::string>() + "\n";
    return all;
  }
  /// A file of that name among the copies, empty without one.
  std::string copyOf(const std::string& name) const {
    for (const auto& entry : std::filesystem::directory_iterator(directory / "DB"))
      if (std::filesystem::exists(entry.path() / name)) return entry.path() / name;
    return {};
  }
  // Every verb does its work on the table.
  void useTable(const std::string& expected) const {
    EXPECT_EQ(ok({"export", "T"}), expected);
    EXPECT_TRUE(json::parse(ok({"check", "--json"}))["sound"]);
    EXPECT_THAT(ok({"list"}) + ok({"schema", "T"}), HasSubstr("tellira db create T CODE:C:6"));
    ok({"import", "T", "-"}, kHead + row(9));
    ok({"index", "create", "T", "Z", "PRICE,SINCE"});
    EXPECT_EQ(json::parse(ok({"seek", "T", "Z", "9.5", "--json"}))["record"]["NOTES"], "text 9");
    ok({"index", "drop", "T", "Z"});
    ok({"delete", "T", "1"});
    ok({"pack", "T", "--yes"});
    ok({"check"});
  }
};

TEST_F(DbRepair, FindsWhatIsLostAndRepairsTheRest) {
  struct Damage {
    const char* file;
    std::size_t at = 0;
    std::string bytes = {};  // that stand there instead; without any the file is taken away, or emptied
  };
  constexpr std::size_t kEmptied = 1;
  const std::string zeros(8, '\0'), infinite = "\x7F\xF0" + zeros.substr(2);
  const auto memos = images::places(readFile(path("T_M"))), records = images::places(readFile(path("T")));
  const std::size_t key = readFile(path("Y")).find(std::string("Y\0001\0008", 5)) + 6,
                    c3 = readFile(path("X")).find("C3");
  // What is lost of an export afterwards: words that are empty then, or what stands for them; * where the table is
  // gone.
  const struct {
    std::vector<Damage> damage;
    int lost;
    const char *words, *lostWords = "";
  } cases[] = {
      {{{"T"}}, 11, "T: the table is gone; X tells of 5 records", "*"},
      {{{"T"}, {"T_OS"}, {"X"}, {"Y"}}, 8, "T: the table is gone; nothing tells|X: the ind", "*"},
      {{{"T"}, {"catalog.bck"}, {"catalog.plm", 20, std::string(88, '\0')}}, 11, "with it: X, Y, T_M, T_OS", "*"},
      {{{"T_M"}}, 6, "T 5: field NOTES holds memo text 5|T_M: the memo", "text 1|text 2|text 3|text 4|text 5"},
      {{{"T_M"}, {"catalog.plm"}, {"catalog.bck"}}, 5, "T_M: the memo texts of", "text 1|text 2|text 3|text 4|text 5"},
      {{{"T_M", memos[1], zeros}}, 1, "T_M 2: its header is empty", "text 2"},
      {{{"T_M", 0, std::string(memos[0] + 12, '#')}}, 1, "T_M 1: its header", "text 1"},
      {{{"T_M", 0, std::string(memos[1] + 12, '\0')}}, 2, "T_M 1: its header is empty", "text 1|text 2"},
      {{{"X"}}, 1, "X: the index is gone with its file; `tellira db index create"},
      {{{"X", 0, std::string(90, '#')}}, 0, "by its entries it is an index of T with the key CODE,PRICE"},
      {{{"X", 0, std::string(107, '#')}, {"X", c3, "?"}}, 1, "X: its description cannot be read, nor told"},
      {{{"X", 0, std::string(190, '#')}}, 1, "X: its description cannot"},
      {{{"X", kEmptied}}, 1, "X: its description cannot be read"},
      {{{"X", 0, std::string(15360, '\0')}}, 1, "X: its description"},
      {{{"Y", key, "9"}}, 0, "Y: its table has no such key fields"},
      {{{"T", records[2], "\xEE\xEE\x11"}, {"T", 8, "\4"}}, 1, "T 3: its header says", "*"},
      {{{"T", records[2], "\xEE\xEE\x11"}, {"T", 8, "\3"}, {"T_OS"}}, 1, "T 3: its header says", "*"},
      {{{"T", records[2], "\xEE\xEE\x11"}, {"T", 8, "\4"}, {"T_OS"}}, 1, "T: X tells of 5 records, 4 are", "*"},
      {{{"T", place(2, 3), infinite}}, 1, "T 2: field PRICE holds no number", "2.50>0.00"},
      {{{"T", place(3, 11), infinite}}, 1, "T 3: field SINCE holds no date", "2004-03-13"},
      {{{"T", place(4, 19), "\x9"}}, 0, "T 4: field SOLD holds neither true nor false"},
      {{{"T", place(1, 20), std::string("\0\0\1\0", 4)}}, 1, "memo text 256, of which there are 5", "text 1"},
      {{{"T", place(5, 2), "555555"}}, 3, "T 5: field CODE holds a text of 8|T 5: field PRICE|T 5: field SINCE", "*"},
      {{{"T", place(2, 24), "?"}}, 0, "T 2: its deletion mark is missing"},
      {{{"T", 16, std::string(4, '\0')}}, 0, "T: its header says 0 bytes used"},
      {{{"T", records[4] + 2, std::string("\0\xD7", 2)}, {"X", 8, "\xC8" + std::string(11, '\0')}},
       0,
       "T 5: its header says 55040|X 6: its header is empty|X: the index does not match its table: it has 200 entries"},
  };
  const std::filesystem::path sound = directory / "sound";
  std::filesystem::rename(directory / "DB", sound);
  for (const auto& row : cases) {
    SCOPED_TRACE(row.words);
    std::filesystem::remove_all(directory / "DB");
    std::filesystem::copy(sound, directory / "DB");
    for (const auto& [file, at, bytes] : row.damage) {
      if (!bytes.empty())
        patch(file, at, bytes);
      else if (at == kEmptied)
        writeFile(path(file), "");
      else
        remove({file});
    }
    const json told = report({}, 1), repaired = report({"--repair", "--yes"}, row.lost == 0 ? 0 : 1);
    for (const std::string& words : split(row.words)) EXPECT_THAT(problems(told), HasSubstr(words));
    EXPECT_EQ(told["lost"], row.lost) << problems(told);
    EXPECT_EQ(repaired["lost"], row.lost);
    EXPECT_EQ(problems(repaired), problems(told));
    EXPECT_EQ(report({"--repair", "--yes"}, 0)["problems"], json::array());
    if (*row.lostWords == '*') continue;
    std::string expected = rows();
    for (const std::string& lost : split(row.lostWords))
      expected =
          with(expected, lost.substr(0, lost.find('>')), lost.substr(std::min(lost.find('>'), lost.size() - 1) + 1));
    useTable(expected);
    ok({"drop", "T", "--yes"});
    EXPECT_EQ(ok({"list", "--json"}), "[]\n");
  }
}

// One bit of a type code or of a header: what all else tells counts, for the check, for a program that opens it, for
// drop.
TEST_F(DbRepair, BelievesNothingThatAllElseSpeaksAgainst) {
  ok({"create", "E", "CODE:C:6"});
  const std::string catalog = readFile(path("catalog.plm"));
  const auto typeOf = [&](const char* name) { return catalog.find(name + std::string(1, '\0')) + 77; };
  const struct {
    const char *file, *words;
    std::size_t place;
    int mask;
  } cases[] = {
      {"catalog.plm", "the type code of T is 0x44415041, it is DATA", typeOf("T"), 0x04},
      {"catalog.plm", "the type code of T_M is 0x", typeOf("T_M"), 0x80},
      {"catalog.plm", "the type code of X is 0x", typeOf("X"), 0x01},
      {"T", "T: its header has no known kind", 1, 0x01},
      {"T", "T: its header says 149 bytes of application information, the records begin behind 157", 4, 0x08},
      {"T", "bytes used, where 177 are taken before anything else", 17, 0x01},
      {"X", "X: its header says 71 bytes of application information", 4, 0x10},
      {"E", "E: its header says 130 bytes used, where 131", 4, 0x01},
      {"E", "E: its header says 65390 bytes of app", 5, 0xFF},
      {"E", "E: the 1 bytes behind its last record", 16, 0x01},
  };
  const std::filesystem::path sound = directory / "sound";
  std::filesystem::rename(directory / "DB", sound);
  const auto damage = [&](const auto& row) {
    std::filesystem::remove_all(directory / "DB");
    std::filesystem::copy(sound, directory / "DB");
    patch(row.file, row.place, {static_cast<char>(readFile(path(row.file))[row.place] ^ row.mask)});
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.words);
    damage(row);
    const json told = report({}, 1);
    EXPECT_THAT(problems(told), HasSubstr(row.words));
    EXPECT_EQ(told["lost"], 0);
    report({"--repair", "--yes"}, 0);
    EXPECT_EQ(ok({"export", "T"}), rows());
    damage(row);
    ok({"delete", "T", "1"}), ok({"recall", "T", "1"}), ok({"pack", "E", "--yes"});
    EXPECT_EQ(ok({"export", "T", "--order", "X"}), rows());
    if (row.place != typeOf("T_M")) ok({"check"});
    damage(row);
    ok({"drop", "T", "--yes"}), ok({"drop", "E", "--yes"});
    EXPECT_EQ(ok({"list", "--json"}), "[]\n");
  }
}

TEST_F(DbRepair, DescribesATableAnewOnceItsRecordsFit) {
  const std::string before = readFile(path("T"));
  Words describe{"describe", "t"};
  describe.insert(describe.end(), kFields.begin(), kFields.end());
  EXPECT_THAT(db(describe).err, HasSubstr("T is described so already"));
  EXPECT_THAT(db({"describe", "T", "A:C:6"}).err, HasSubstr("T has a description that its records fit"));
  patch("T", 92, std::string(50, '#'));
  // Of one second, the tenth copies are later than the ninth.
  for (const char* copies : {"repair-29990101_000000-9", "repair-29990101_000000-10"}) {
    std::filesystem::create_directory(path(copies));
    writeFile(path(copies) + "/T", before);
  }
  EXPECT_THAT(problems(report({"--repair", "--yes"}, 1)),
              AllOf(HasSubstr("`tellira db describe T FIELD:TYPE:LEN[:DEC] ...`"), HasSubstr("_000000-10\n")));
  const std::string damaged = readFile(path("T"));
  const Ran wrong = db({"describe", "T", "CODE:C:6", "SINCE:D", "NOTES:M"});
  EXPECT_EQ(wrong.status, 1);
  EXPECT_THAT(wrong.out, HasSubstr("T, record 5: bytes that belong to no field"));
  EXPECT_THAT(wrong.err, HasSubstr("T: 5 of 5 records do not fit these fields; nothing was changed"));
  EXPECT_EQ(readFile(path("T")), damaged);
  EXPECT_THAT(db({"describe", "T", "CODE:C:6", "PRICE:N:8:2", "SINCE:N:8:2", "SOLD:L", "NOTES:M"}).err,
              HasSubstr("the keys of the index Y are not made of these fields"));
  EXPECT_EQ(readFile(path("T")), damaged);
  ok(describe);
  useTable(rows());
  // Fields that leave one out make no numbers that anybody stores.
  ok({"create", "U", "A:C:5", "B:M", "C:N:10:2"});
  std::string lines = "A,B,C\n";
  for (int i = 0; i < 30; ++i) lines += "a,b,1.5\n";
  ok({"import", "U", "-"}, lines);
  patch("U", 92, std::string(20, '#'));
  const Ran many = db({"describe", "U", "A:C:5", "C:N:10:2"});
  EXPECT_THAT(many.err, HasSubstr("30 of 30 records do not fit"));
  EXPECT_EQ(std::count(many.out.begin(), many.out.end(), '\n'), 21);
  ok({"describe", "U", "A:C:5", "B:M", "C:N:10:2"});
  // One that does not fit does not speak against the others.
  writeFile(path("T"), before);
  remove({"T_OS", "X", "Y"});
  patch("T", 92, std::string(50, '#'));
  patch("T", place(2, 3), "\x7F\xF8");
  const Ran misfit = db(describe);
  EXPECT_EQ(misfit.status, 1);
  EXPECT_EQ(misfit.out, "T, record 2: field PRICE holds no number\n");
  EXPECT_EQ(report({}, 1)["lost"], 3) << "the number, and two indexes";
}

TEST_F(DbRepair, NeverTakesATableOfWhichNothingIsLeftForSound) {
  ok({"create", "S", "CODE:C:6"});
  ok({"import", "S", "-"}, "CODE\na\n");
  for (const char* name : {"S", "S_OS"}) writeFile(path(name), std::string(15360, '\0'));
  EXPECT_THAT(problems(report({"--repair", "--yes"}, 1)), HasSubstr("S: nothing can be read of it; "));
  EXPECT_THAT(ok({"check"}), HasSubstr("S: it has no records and no table's description; "));
  ok({"describe", "S", "CODE:C:6"});
  EXPECT_EQ(ok({"export", "S"}), "CODE\n");
  patch("S", 20, std::string(90, '#'));
  EXPECT_THAT(ok({"check"}), HasSubstr("S: what it tells of itself is no table's description; "));
  ok({"describe", "S", "CODE:C:6"});
  remove({"T", "T_OS"});
  EXPECT_THAT(db({"create", "T", "A:C:3"}).err,
              HasSubstr("drop these memo texts of no table first (`tellira db drop T_M`)"));
  writeFile(path("U_M_OS"), readFile(path("T_M_OS")));
  EXPECT_EQ(db({"list"}).err, "") << "alone it is no database";
  ok({"drop", "T_M", "--yes"}), ok({"create", "T", "A:C:3"});
  ok({"import", "T", "-"}, "A\nx\n");
  remove({"catalog.plm", "catalog.bck"});
  EXPECT_THAT(db({"list"}).err, HasSubstr("the catalogue does not name"));
  EXPECT_THAT(db({"create", "T", "A:C:3"}).err, HasSubstr("Files as they were before are in " + path("repair-")));
  ok({"create", "MEMOS", "A:C:3", "B:M"}), ok({"create", "MEMOS_M_OA", "A:C:3"});
  ok({"import", "MEMOS", "-"}, "B\nx\n");
  patch("catalog.plm", readFile(path("catalog.plm")).find("MEMOS_M_OA"), "MEMOS_M_OS");
  patch("MEMOS_M_OS", 0, "\2B");
  ok({"index", "create", "T", "Q", "A"});
  writeFile(path("Q"), std::string(90, '#'));
  EXPECT_THAT(db({"index", "create", "T", "Q", "A"}).err, HasSubstr("or drop this index of no table first"));
  EXPECT_THAT(db({"pack", "MEMOS", "--yes"}).err, StartsWith("Falhou Abertura de MEMOS_M\nremoved 0 of 1 record"));
}

// The old table is in its place or, as a whole, among the copies; and so is what is dropped with an empty one.
TEST_F(DbRepair, MakesRoomForATableWithoutLosingOneThatTheCatalogueLost) {
  const Words all = {"T", "T_OS", "X", "Y", "T_M", "T_M_OS"};
  std::map<std::string, std::string> before;
  for (const std::string& name : all) before[name] = readFile(path(name));
  const auto latest = [this] {
    std::string copies;
    for (const auto& entry : std::filesystem::directory_iterator(directory / "DB"))
      if (entry.is_directory()) copies = std::max(copies, entry.path().string());
    return copies;
  };
  const auto expectCopies = [&](std::size_t from) {
    for (; from < all.size(); ++from) EXPECT_EQ(readFile(latest() + "/" + all[from]), before[all[from]]) << all[from];
  };
  remove({"catalog.plm", "catalog.bck", "T_M"});
  // Through a link, which leads to the same file from everywhere.
  std::filesystem::rename(path("T"), directory / "T");
  std::filesystem::create_symlink("../T", path("T"));
  std::filesystem::create_directory(path("T_M"));
  EXPECT_EQ(db({"create", "T", "A:M"}).status, 3);
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(readFile(path(all[i])), before[all[i]]) << all[i];
  std::filesystem::remove(path("T_M"));
  writeFile(path("T_M"), before["T_M"]);
  EXPECT_THAT(ok({"list"}), Not(HasSubstr("repair-")));
  ok({"create", "T", "A:C:3"});
  expectCopies(0);
  EXPECT_THAT(ok({"check"}), HasSubstr("1 database, 0 records"));
  // Also when the entries of its indexes are there.
  for (const auto& [name, bytes] : before) writeFile(path(name), bytes);
  report({"--repair", "--yes"}, 0);
  const std::string catalog = readFile(path("catalog.plm"));
  for (const char* file : {"catalog.plm", "catalog.bck"})
    for (const char* name : {"T", "T_M"}) patch(file, catalog.find(name + std::string(4, '\0')), std::string(4, '\0'));
  ok({"create", "T", "A:C:3"});
  expectCopies(0);
  EXPECT_THAT(ok({"check"}), HasSubstr("1 database, 0 records"));
  for (const auto& [name, bytes] : before) writeFile(path(name), bytes);
  remove({"T_OS"});
  writeFile(path("T"), "\2V" + std::string(18, '\0'));
  EXPECT_THAT(problems(report({"--repair", "--yes"}, 1)), HasSubstr("as it was before, is in "));
  const json told = report({}, 1);
  EXPECT_THAT(problems(told), HasSubstr("T: X tells of 5 records, 0 are there"));
  EXPECT_EQ(told["lost"], 10);
  ok({"drop", "T", "--yes"});
  expectCopies(2);
  // Of a table that was emptied nothing is missed. Of one that is damaged it is, however its memo's file is spelled.
  const std::string last = latest();
  for (const bool isDamaged : {false, true}) {
    ok({"create", "E", "A:C:3", "B:M"}), ok({"import", "E", "-"}, "A,B\na,text\n");
    ok({"delete", "E", "1"}), ok({"pack", "E", "--yes"});
    const std::string texts = readFile(path("E_M"));
    if (isDamaged) {
      std::filesystem::rename(path("E_M"), path("e_m"));
      patch("catalog.plm", readFile(path("catalog.plm")).find("E_M"), "e_m");
      patch("E", 0, std::string(4, '\0'));
    }
    ok({"drop", "E", "--yes"});
    EXPECT_EQ(latest() != last, isDamaged);
    EXPECT_EQ(isDamaged ? readFile(latest() + "/e_m") : texts, texts);
  }
}

// What goes by the name of its memo texts, its indexes or its files may be all that a repair is going to need.
TEST_F(DbRepair, AsksForARepairWhereATableIsThereThatTheCatalogueLost) {
  ok({"create", "Q_OS", "A:C:3"});
  const std::string catalog = readFile(path("catalog.plm")), texts = readFile(path("T_M"));
  for (const char* file : {"catalog.plm", "catalog.bck"})
    patch(file, catalog.find("T" + std::string(4, '\0')), std::string(4, '\0'));
  for (const char* name : {"T", "T_OS"})
    EXPECT_THAT(db({"create", name, "A:C:3"}).err, HasSubstr("let `tellira db check --repair`")) << name;
  ok({"drop", "T_M", "--yes"}), ok({"drop", "X", "--yes"});
  ASSERT_EQ(readFile(copyOf("T_M")), texts);
  for (const char* file : {"T_M", "T_M_OS", "X"}) std::filesystem::copy(copyOf(file), path(file));
  // A database in the place of its offsets file keeps it from having an entry, and what belongs to it from going.
  for (const char* file : {"catalog.plm", "catalog.bck"}) patch(file, catalog.find("Q_OS"), "T_OS");
  std::filesystem::rename(path("Q_OS"), path("T_OS"));
  std::filesystem::rename(path("Q_OS_OS"), path("T_OS_OS"));
  for (int i = 0; i < 2; ++i)
    EXPECT_THAT(problems(report({"--repair", "--yes"}, 3)),
                HasSubstr("T: it cannot be read: it and the database T_OS"));
  ok({"drop", "T_OS", "--yes"});
  report({"--repair", "--yes"}, 0);
  EXPECT_EQ(ok({"export", "T", "--order", "X"}), rows());
}

// Whether the catalogue is lost, or names a file on a disk that is not there.
TEST_F(DbRepair, TakesNoFileThatItDoesNotReadForMissing) {
  const std::filesystem::path sound = directory / "sound", away = directory / "away";
  std::filesystem::rename(directory / "DB", sound);
  for (const bool isLost : {true, false})
    for (const std::string file : {"T", "T_M", "X"}) {
      SCOPED_TRACE(file + (isLost ? ", without a catalogue" : ""));
      std::filesystem::remove_all(directory / "DB");
      std::filesystem::copy(sound, directory / "DB");
      if (isLost) remove({"catalog.plm", "catalog.bck"});
      std::filesystem::rename(path(file), away);
      std::filesystem::create_symlink(isLost ? "../away" : "nowhere", path(file));
      const json told = report({"--repair", "--yes"}, 3);
      EXPECT_THAT(problems(told), HasSubstr(file + ": it cannot be read: a symbolic link"));
      EXPECT_EQ(told["lost"], 0);
      // To a link that nothing asks for, a catalogue without it is whole.
      report({"--repair", "--yes"}, isLost && file == "X" ? 0 : 3);
      std::filesystem::rename(away, path(file));
      report({"--repair", "--yes"}, 0);
      EXPECT_EQ(ok({"export", "T", "--order", "X"}), rows());
    }
}

// A program that finds no index of the table in it appends without it.
TEST_F(DbRepair, KnowsAnIndexWithADamagedNameBehindItsRecords) {
  patch("X", 28, "U");
  ok({"import", "T", "-"}, kHead + row(6));
  const json told = report({}, 1);
  EXPECT_EQ(problems(told),
            "X: its description is damaged; by its entries it is an index of T with the key CODE,PRICE\n");
  EXPECT_EQ(told["lost"], 0);
  report({"--repair", "--yes"}, 0);
  EXPECT_EQ(ok({"export", "T", "--order", "X"}), rows() + row(6));
}

TEST_F(DbRepair, MissesNoChangesThatALivingProgramHas) {
  patch("X", 84, "TIAW");
  const int program = open(path("catalog.plm").c_str(), O_RDONLY);
  ASSERT_EQ(flock(program, LOCK_SH), 0);
  EXPECT_THAT(ok({"check"}), HasSubstr("note: X: the program that has it open has not put all changes into it yet"));
  close(program);
  EXPECT_THAT(problems(report({}, 1)), HasSubstr("the program ended before it had all changes"));
}

TEST_F(DbRepair, ReadersLookAgainForWhatComesAndGoes) {
  const struct {
    const char *makes, *drops;
    Words reads;
    const char* never;
  } cases[] = {{"index create T Z CODE", "index drop T Z", {"seek", "T", "Z", "C1"}, "cannot be read"},
               {"create NEW A:M", "drop NEW --yes", {"list"}, "does not name"}};
  for (const auto& row : cases) {
    std::thread writer([&] {
      const std::string db = TOOL " db ";
      EXPECT_EQ(std::system(("cd " + directory.string() + "; for i in $(seq 20); do " + db + row.makes + " && " + db +
                             row.drops + " || exit; done 2>said")
                                .c_str()),
                0);
    });
    for (int i = 0; i < 30; ++i) EXPECT_THAT(db(row.reads).err, Not(HasSubstr(row.never)));
    writer.join();
  }
}
