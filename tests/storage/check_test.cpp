// Checking and repairing, by damage with coordinates: what is said about it, and which records come through.
#include <sys/stat.h>

#include "check_fixture.h"
#include "storage/files/kept_copies.h"

namespace {

constexpr int kHeader = -1;  // in the table: a place in the file's header instead of a record's

struct Damage {
  const char* file;
  int record;  // from 0, or kHeader
  int offset;  // in the record (its header first), or in the file
  std::string bytes;
  const char* words;           // that tell it
  std::vector<int> lost = {};  // records of the file that a repair cannot save
  const char* without = "";    // a file taken away before
};

const std::string kFF(2, '\xFF'), kZeros(8, '\0');
using images::le;

const Damage kDamages[] = {
    // One field of a record's header.
    {"SALES", 4, 0, le(300, 2), "SALES 5: its header says 300 bytes used of 39 reserved; its data can be kept"},
    {"SALES", 4, 0, le(0, 2), "SALES 5: its header says that none of 39 reserved bytes is used"},
    {"SALES", 4, 2, le(60, 2), "SALES 5: its header says 39 bytes used of 60 reserved, which leads to no other record"},
    {"SALES", 4, 2, le(91, 2), "SALES 5: its header says 39 bytes used of 91 reserved"},  // onto the one after the next
    {"SALES", 4, 2, le(2, 2), "SALES 5: its header says 39 bytes used of 2 reserved"},
    {"SALES", 4, 2, le(0, 2), "SALES 5: its header says 39 bytes used of 0 reserved"},
    {"SALES", 4, 2, le(60, 2), "SALES 5: its header says 39 bytes used of 60 reserved", {}, "SALES_OS"},
    {"SALES", 4, 2, le(91, 2), "SALES 5: its header says 39 bytes used of 91 reserved", {}, "SALES_OS"},
    {"SALES", 4, 0, le(60000, 2) + le(91, 2), "SALES 5: its header says 60000 bytes used of 91", {4}, "SALES_OS"},
    {"SALES", 1, 0, le(157, 2) + le(243, 2), "SALES 2: its header says 157 bytes used of 243", {1}, "SALES_OS"},
    {"SALES", 11, 2, le(60000, 2), "SALES 12: its header says 60000 bytes reserved, 75 are left"},
    {"SALES", 4, 4, le(0x0140, 2), "SALES 5: its header has unknown attributes (0x0140)"},
    {"SALES", 4, 6, "\xFF\x7F", "SALES 5: its header lacks the marks"},
    {"SALES", 4, 4, le(0, 4), "SALES 5: its header lacks the marks of a finished record; its data can be kept"},
    // Whole headers.
    {"SALES", 4, 0, kZeros, "SALES 5: its header is empty; nothing can be read from the 47 bytes up to", {4}},
    {"SALES", 4, 0, kZeros, "SALES 5: its header is empty; nothing can be read from the 47 bytes", {4}, "SALES_OS"},
    {"SALES", 0, 0, "12345678", "SALES 1: its header says 13363 bytes reserved, 648 are left", {0}},
    {"SALES", 11, 0, "87654321", "SALES 12: its header says 14136 bytes used of 13622", {11}, "SALES_OS"},
    {"SALES", 3, 0, std::string(80, '*'), "SALES 4: its header says 10794 bytes", {3, 4}, "SALES_OS"},
    {"INDEX", 4, 0, kZeros, "INDEX 5: its header is empty; its place follows from its neighbours, its data"},
    {"INDEX", 4, 4, le(0, 4), "INDEX 5: its header lacks the marks of a finished record"},
    {"INDEX", 0, 0, kZeros, "INDEX 1: its header is empty; its place follows from its neighbours"},
    {"INDEX", 0, 0, le(20, 2), "INDEX 1: its header says 20 bytes used of 24 reserved, all records have 24"},
    {"CONF", 11, 2, le(25, 2), "CONF 12: its header says 24 bytes used of 25 reserved, all records have 24"},
    {"CONF", 3, 0, "????????", "CONF 4: its header says 16191 bytes reserved"},
    // Headers of files.
    {"SALES", kHeader, 0, "\x03", "SALES -1: its header has version 3, not 2"},
    {"SALES", kHeader, 1, "W", "SALES -1: its header has no known kind (0x57), its type code means 'V'"},
    {"SALES", kHeader, 1, "X", "SALES -1: its header says kind 'X', its type code and its offsets file say 'V'"},
    {"SALES", kHeader, 4, le(44, 4),
     "its header says 44 bytes of application information, the records begin behind 40"},
    {"SALES", kHeader, 4, le(20, 4), "says 20 bytes of application information, the", {}, "SALES_OS"},
    {"SALES", kHeader, 4, le(0xFFFFFFF0, 4), "says 4294967280 bytes of application information", {}, "SALES_OS"},
    {"SALES", kHeader, 8, le(9, 4), "SALES -1: its header counts 9 records, 12 are there"},
    {"SALES", kHeader, 8, le(30, 4), "SALES -1: its header counts 30 records, 12 are there"},
    {"SALES", kHeader, 8, le(1 << 30, 4), "SALES -1: its header counts 1073741824 records, it has no room"},
    {"SALES", kHeader, 12, le(99999, 4), "SALES -1: its header says 99999 bytes, the file has 15360"},
    {"SALES", kHeader, 16, le(20000, 4), "SALES -1: its header says 20000 bytes used, the file has 15360"},
    {"SALES", kHeader, 16, le(20000, 4), "SALES -1: its header says 20000 bytes used", {}, "SALES_OS"},
    {"SALES", kHeader, 16, le(650, 4), "SALES -1: its header says 650 bytes used, its records reach to 716"},
    {"SALES", kHeader, 16, le(30, 4), "SALES -1: its header says 30 bytes used, where 60 are taken before"},
    {"SALES", kHeader, 0, std::string(20, '\0'), "SALES -1: its header has no known kind (0x00)"},
    {"SALES", kHeader, 0, std::string(20, '\0'), "SALES -1: its header has no known kind (0x00)", {}, "SALES_OS"},
    {"SALES", kHeader, 0, std::string(80, '\x07'), "SALES -1: its header has version 7", {0}},
    {"INDEX", kHeader, 8, le(4, 4), "INDEX -1: its header counts 4 records, 12 are there"},
    {"INDEX", kHeader, 4, le(16, 4), "INDEX -1: its header says 16 bytes of application information"},
    {"CONF", kHeader, 16, le(99, 4), "CONF -1: its header says 99 bytes used, its records reach to 408"},
    {"CONF", kHeader, 0, std::string(60, '\0'), "CONF -1: its header has no known kind", {0, 1}},
    // Offsets files.
    {"SALES_OS", kHeader, 20, le(61, 4), "SALES_OS 1: its place is given as 61, the record begins at 60"},
    {"SALES_OS", kHeader, 16, le(40, 4), "SALES_OS -1: it has 5 places for 12 records"},
    {"SALES_OS", kHeader, 16, le(72, 4), "SALES_OS -1: it has 13 places for 12 records"},
    {"SALES_OS", kHeader, 0, std::string(900, '\x11'), "SALES_OS -1: its header says 286331153 bytes"},
};

std::vector<std::string> without(std::vector<std::string> records, const std::vector<int>& lost) {
  for (auto i = lost.rbegin(); i != lost.rend(); ++i) records.erase(records.begin() + *i);
  return records;
}

}  // namespace

TEST_F(CheckTest, TellsAndRepairsDamageByItsPlace) {
  for (const Damage& damage : kDamages) {
    SCOPED_TRACE(std::string(damage.words) + " at " + std::to_string(damage.record) + "+" +
                 std::to_string(damage.offset));
    files = sound;
    files.erase(damage.without);
    std::string& file = files[damage.file];
    const std::size_t place = damage.record == kHeader ? 0 : images::places(file)[damage.record];
    file.replace(place + damage.offset, damage.bytes.size(), damage.bytes);
    store();
    const DirectoryReport checked = CheckDirectory(".");
    EXPECT_THAT(words(checked.problems), HasSubstr(damage.words));
    EXPECT_EQ(stored(), files) << "checking changed something";
    EXPECT_TRUE(checked.lostMore || checked.lostRecords == damage.lost.size()) << checked.lostRecords;

    const DirectoryReport repaired = RepairDirectory(".");
    EXPECT_TRUE(repaired.sound) << words(repaired.problems);
    EXPECT_EQ(repaired.lostRecords, checked.lostRecords);
    EXPECT_EQ(readFile(repaired.copies + "/" + damage.file), file);
    for (const char* name : {"SALES", "INDEX", "CONF"})
      EXPECT_EQ(records(name), without(images::records(sound[name]),
                                       name == std::string(damage.file) ? damage.lost : std::vector<int>{}));
    EXPECT_EQ(readFile("DB/SALES_OS"), images::offsetsFile(readFile("DB/SALES")));
    EXPECT_FALSE(RepairDirectory(".").changed) << "a second repair changed something";
  }
}

// Without an end that can be believed, remains of removed records must not come back, and few records may be the last.
TEST_F(CheckTest, KeepsToTheCountWhereNoEndIsKnown) {
  files.erase("SALES_OS");
  std::string& sales = files["SALES"];
  const std::size_t end = images::get(sales, 16, 4);
  images::put(sales, 16, 20000, 4);
  const std::string cut = sales;
  sales.replace(end, 12, std::string("\x04\0\x04\0\0\0\xFF\xFFgone", 12));
  store();
  EXPECT_TRUE(RepairDirectory(".").sound);
  EXPECT_EQ(records("SALES"), images::records(sound["SALES"]));
  sales = cut;
  sales.replace(images::places(sound["SALES"])[9], 8, kZeros);
  store();
  EXPECT_EQ(RepairDirectory(".").lostRecords, 1U);
  EXPECT_EQ(records("SALES"), without(images::records(sound["SALES"]), {9}));
}

TEST_F(CheckTest, ListsHundredProblemsOfAFileAndCountsTheOthers) {
  files["CONF"] = images::dataFile('X', "", std::vector<std::string>(400, "abc"));
  for (std::size_t i = 1; i < 300; i += 2) files["CONF"][20 + i * 11] = '\0';
  store();
  const DirectoryReport report = CheckDirectory(".");
  EXPECT_EQ(report.problems.size(), 101U);
  EXPECT_EQ(report.problems.back().problem, "... and 50 more of this kind");
  EXPECT_EQ(report.databases.back().damagedRecords, 150U);
}
