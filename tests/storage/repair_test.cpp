// Checking and repairing whatever stands in a data directory: states that a dying process leaves, damaged catalogues,
// files that are none, failing system calls, and garbage.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <random>

#include "check_fixture.h"
#include "storage/files/kept_copies.h"
#include "storage/files/mapped_file.h"
#include "storage/journal/journal.h"
#include "storage/repair/in_use.h"
#include "support/child.h"
#include "support/failing_system.h"
#include "support/store.h"

using testing::ElementsAre;

namespace {

using images::le;

class RepairTest : public CheckTest {
 protected:
  static std::vector<std::string> names() {
    std::vector<std::string> all;
    for (const auto& database : CheckDirectory(".").databases) all.push_back(database.name);
    return all;
  }

  // A repair leaves nothing to be found, and nothing to do for a second one.
  static DirectoryReport expectRepairable() {
    const DirectoryReport repaired = RepairDirectory(".");
    EXPECT_TRUE(repaired.sound) << words(repaired.problems);
    EXPECT_FALSE(RepairDirectory(".").changed);
    return repaired;
  }
};

}  // namespace

TEST_F(RepairTest, TakesWhatADyingProcessLeavesForSound) {
  const std::string begun = le(0x50005) + le(0) + "begun", done = images::record("done");
  const auto grow = [this](const std::string& name, std::size_t at, const std::string& record) {
    std::string& file = files[name];
    images::put(file, 16, images::get(file, 16, 4) + record.size(), 4);
    file.insert(at, record).resize(15360);
  };
  const std::size_t end = images::get(sound["SALES"], 16, 4), middle = images::places(sound["SALES"])[6];
  const std::string unfinished = le(0x180018) + le(0) + std::string(24, 'u');
  const struct {
    const char* words;
    std::function<void()> change;
  } cases[] = {
      {"", [] {}},
      {"SALES -1: it has no records and no table's description",
       [&] { files["SALES"] = "\2V" + le(0, 18), files.erase("SALES_OS"); }},
      {"", [&] { files.erase("catalog.bck"); }},
      {"",  // a shrunk record in whose room another one's remains stand
       [&] {
         files["SALES"] = images::dataFile('V', "", {"first", "abc" + done, "last"});
         images::put(files["SALES"], images::places(files["SALES"])[1], 3, 2);
         files["SALES_OS"] = images::offsetsFile(files["SALES"]);
       }},
      {"",  // of an early version, which marked no records
       [&] {
         for (const std::uint32_t place : images::places(files["SALES"])) {
           files["SALES"].replace(place + 4, 4, 4, '\0');
           files["SALES"][place + 8 + images::get(files["SALES"], place, 2) - 2] = '!';
         }
       }},
      {"catalog.bck -1: it differs", [&] { files["catalog.bck"][30] ^= 1; }},
      {"SALES -1: records that were begun and not finished: 1", [&] { grow("SALES", end, begun); }},
      {"SALES -1: records that were begun and not finished: 1",
       [&] {
         grow("SALES", middle, begun);
         auto slots = images::places(sound["SALES"]);
         for (std::size_t i = 6; i < slots.size(); ++i) slots[i] += begun.size();
         slots.insert(slots.begin() + 6, middle);
         files["SALES_OS"] = images::offsetsOf(slots);
       }},
      {"SALES 13: it was not counted yet", [&] { grow("SALES", end, done); }},
      {"INDEX -1: records that were begun and not finished: 1", [&] { grow("INDEX", 20 + 32 * 5, unfinished); }},
      {"INDEX -1: records that were begun and not finished: 1", [&] { grow("INDEX", 20 + 32 * 12, unfinished); }},
      {"INDEX -1: the 40 bytes behind its last record", [&] { grow("INDEX", 20 + 32 * 12, std::string(40, 'z')); }},
      {"SALES_OS -1: it has 0 places for 12 records; the next opening", [&] { files.erase("SALES_OS"); }},
      {"SALES_OS -1: it has 11 places for 12 records", [&] { images::put(files["SALES_OS"], 16, 64, 4); }},
      {"CONF -1: its header says 15360 bytes, the file has 30720", [&] { files["CONF"].resize(30720); }},
      {"SALES -1: what follows its last record", [&] { files["SALES"][end + 3] = 'x'; }},
      {"STRAY -1: it is an empty database", [&] { files["STRAY"] = "\2X" + le(0, 18); }},
      {"notes.txt -1: it belongs to no database", [&] { files["notes.txt"] = "buy paper"; }},
  };
  for (const auto& [expected, change] : cases) {
    SCOPED_TRACE(expected);
    files = sound;
    change();
    store();
    const DirectoryReport checked = CheckDirectory(".");
    EXPECT_TRUE(checked.sound) << words(checked.problems);
    EXPECT_THAT(words(checked.notes), HasSubstr(expected));
    EXPECT_EQ(checked.notes.empty(), *expected == '\0') << words(checked.notes);
    EXPECT_TRUE(!expectRepairable().changed || *expected != '\0');
    // A plain opening finds what a repair does, and goes on behind it.
    const auto repaired = stored();
    store();
    for (const auto& database : checked.databases) {
      SCOPED_TRACE(database.name);
      auto wanted = images::records(repaired.at(database.name));
      wanted.emplace_back(24, '+');
      const DmOpenRef db = openStore(database.name.c_str());
      EXPECT_TRUE(put(db, wanted.back()));
      EXPECT_EQ(::records(db), wanted);
    }
    CloseCatalog();
  }
}

TEST_F(RepairTest, PutsTheCatalogueRight) {
  const std::string entry = sound["catalog.plm"].substr(20, 88), name(32, 'N');
  const struct {
    const char* words;
    std::size_t place;
    std::string bytes;
    std::vector<std::string> names = {"SALES", "INDEX", "CONF"};
    const char* without = "";
  } cases[] = {
      {"its name cannot be", 20, "../DB"},
      {"its name cannot be", 20, name},
      {"its name cannot be", 20, std::string("catalog.plm", 12)},
      {"catalog.plm 1: the data file of SALFS is missing", 23, "F"},
      {"catalog.plm 2: SALES has another entry", 108, entry},
      {"sales is spelled SALES", 20, "sales"},
      {"SALES_OS shares its file", 108, "SALES_OS" + entry.substr(8)},
      {"the data file of CONF is missing", 0, "", {"SALES", "INDEX"}, "CONF"},
      {"it is missing, or empty", 0, "", {"CONF", "INDEX", "SALES"}, "catalog.plm"},
      {"says 284 bytes used, its entries reach to 372", 16, le(284)},
      {"says 300 bytes used, its entries reach to 372", 16, le(300)},
      {"says 20 bytes used, its entries reach to 372", 16, le(1)},
      {"says 380 bytes used, which ends within an entry", 16, le(380)},
      {"no entry; by its kind 'V' its type code is taken to be DATA",
       0,
       le(0, 15360),
       {"CONF", "INDEX", "SALES"},
       "catalog.bck"},
      {"says 4294967295 bytes", 0, std::string(4000, '\xFF'), {"CONF", "INDEX", "SALES"}},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.words);
    files = sound;
    files["catalog.plm"].replace(row.place, row.bytes.size(), row.bytes);
    files.erase(row.without);
    store();
    EXPECT_THAT(words(CheckDirectory(".").problems), HasSubstr(row.words));
    EXPECT_EQ(stored(), files);
    expectRepairable();
    EXPECT_EQ(names(), row.names);
  }
}

TEST_F(RepairTest, LosesNoFileToADamagedCatalogue) {
  for (const std::string& damaged : {std::string(sound["catalog.plm"]).replace(16, 4, le(1)),
                                     std::string(15360, '\xFF'), std::string(15360, '\0')}) {
    files["catalog.plm"] = damaged;
    store();
    for (const char* name : {"SALES", "INDEX", "CONF"}) EXPECT_NE(openStore(name), nullptr) << name;
    CloseCatalog();
    EXPECT_TRUE(CheckDirectory(".").sound);
  }
  files.erase("catalog.bck");
  store();
  EXPECT_NE(openStore("SALES", vorne::kTypeData), nullptr);
  CloseCatalog();
  for (const char* name : {"SALES", "SALES_OS"})
    EXPECT_EQ(readFile(vorne::CopiesDirectory() + "/" + name), sound[name]);
}

TEST_F(RepairTest, NeverFollowsOrChangesWhatIsNoFile) {
  writeFile("outside", sound["SALES"].substr(0, 300));
  for (const char* name : {"SALES", "SALES_OS", "INDEX", "CONF"}) std::filesystem::remove(std::string("DB/") + name);
  std::filesystem::create_symlink("../outside", "DB/SALES");
  ASSERT_EQ(mkfifo("DB/INDEX", 0600), 0);
  std::filesystem::create_directory("DB/CONF");
  std::filesystem::create_symlink("nowhere", "DB/dangling");
  EXPECT_THAT(words(CheckDirectory(".").problems), HasSubstr("INDEX is not a file"));
  const DirectoryReport repaired = expectRepairable();
  EXPECT_THAT(words(repaired.notes), HasSubstr("SALES -1: it is a symbolic link"));
  EXPECT_EQ(readFile("outside"), sound["SALES"].substr(0, 300));
  EXPECT_TRUE(std::filesystem::is_symlink("DB/SALES") && std::filesystem::is_symlink("DB/dangling"));
  EXPECT_TRUE(std::filesystem::is_fifo("DB/INDEX") && std::filesystem::is_directory("DB/CONF"));
}

TEST_F(RepairTest, PutsSecondNamesOfAFileAway) {
  std::filesystem::create_hard_link("DB/SALES", "DB/TRADE");
  EXPECT_THAT(words(CheckDirectory(".").notes), HasSubstr("TRADE -1: it is a second name of the file SALES"));
  EXPECT_EQ(readFile(expectRepairable().copies + "/TRADE"), sound["SALES"]);
  EXPECT_FALSE(std::filesystem::exists("DB/TRADE"));
}

TEST_F(RepairTest, FinishesAnInterruptedChangeAndLeavesLivingOnesAlone) {
  const auto interrupt = [] {
    std::snprintf(wcDir, sizeof wcDir, "%s/DB", std::filesystem::current_path().c_str());
    const pmymap map = mapeararquivo("SALES");
    vorne::KeepBytes(map, 100, 50);
    std::memset(map->mapmem + 100, 0, 50);
    return map;
  };
  runChild(interrupt);
  EXPECT_EQ(words(CheckDirectory(".").problems),
            "SALES -1: a change was interrupted half-way; a repair, or the program's next start, finishes it\n");
  // It cannot be finished now, nor taken for damage.
  vorne::fileSystem.lseek = [](int, off_t, int) { return off_t{-1}; };
  const auto halfway = stored();
  RepairDirectory(".");
  EXPECT_EQ(stored(), halfway);
  vorne::fileSystem.lseek = vorne::kSystem.lseek;
  EXPECT_THAT(words(RepairDirectory(".").problems), HasSubstr("half-way (repaired)"));
  EXPECT_EQ(records("SALES"), images::records(sound["SALES"]));
  EXPECT_TRUE(CheckDirectory(".").sound);

  const vorne::MapOwner map(interrupt());
  const auto living = stored();
  EXPECT_TRUE(CheckDirectory(".").inUse);
  EXPECT_TRUE(RepairDirectory(".").inUse);
  EXPECT_EQ(stored(), living);
  vorne::CloseJournal();
  const int catalog = open("DB/catalog.plm", O_RDONLY);
  ASSERT_EQ(flock(catalog, LOCK_SH), 0);
  EXPECT_TRUE(RepairDirectory(".").inUse);
  close(catalog);
}

// While it repairs it keeps others out; who comes before its second look takes nothing from what it tells.
TEST_F(RepairTest, HoldsTheDatabasesWhileItRepairs) {
  files["SALES"].replace(images::places(sound["SALES"])[4], 8, 8, '\0');
  store();
  int program = -1;
  bool holds = false;
  const DirectoryReport told = RepairDirectory(".", {[&](const vorne::CheckProgress&) {
                                                 if (program >= 0) return;
                                                 if (vorne::IsInUse("DB")) return void(holds = true);
                                                 program = open("DB/catalog.plm", O_RDONLY);
                                                 flock(program, LOCK_SH);
                                               }});
  EXPECT_TRUE(holds && program >= 0 && told.sound && told.changed && !told.inUse) << words(told.problems);
  EXPECT_EQ(told.lost(), 1u);
  EXPECT_THAT(words(told.problems), HasSubstr("(repaired)"));
  close(program);
}

// A program puts the file of an entry in its place while it is looked for.
TEST_F(RepairTest, LooksAgainBeforeItCallsAnythingLost) {
  static std::string late;
  late = std::exchange(files["CONF"], "");
  files.erase("CONF");
  store();
  vorne::fileSystem.read = [](int file, void* to, std::size_t size) {
    if (!std::filesystem::exists("DB/CONF")) writeFile("DB/CONF", late);
    return vorne::kSystem.read(file, to, size);
  };
  const DirectoryReport checked = CheckDirectory(".");
  EXPECT_TRUE(checked.sound) << words(checked.problems);
  EXPECT_EQ(checked.lost(), 0u);
  // No size tells that it was written in between.
  writeFile("DB/CONF", std::string(late).replace(8, 1, "\5"));
  const DirectoryReport again = CheckDirectory(".", {[](const vorne::CheckProgress& at) {
                                                 if (at.file == "CONF") writeFile("DB/CONF", late);
                                               }});
  EXPECT_TRUE(again.sound) << words(again.problems);
}

// Each system call of a repair fails once: every file is the old one or the repaired one, and the next repair does it
// all.
TEST_F(RepairTest, SurvivesEveryFailingSystemCall) {
  files["SALES"].replace(images::places(sound["SALES"])[4], 8, 8, '\0');
  files["INDEX"][20] = 9;
  files["catalog.plm"][23] = 'F';
  store();
  expectRepairable();
  const auto good = stored();
  for (const char* kind : {"open", "close", "read", "write", "fsync", "rename", "mkdir", "stat"})
    for (failing::Plan plan{0}; plan.first <= plan.calls; ++plan.first) {
      SCOPED_TRACE(testing::Message() << kind << ", call " << plan.first);
      store();
      plan.calls = 0;
      failing::install(kind, plan);
      RepairDirectory(".");
      useSystem();
      for (const auto& [name, bytes] : stored()) EXPECT_TRUE(bytes == files[name] || bytes == good.at(name)) << name;
      EXPECT_FALSE(readFile("DB/SALES") == good.at("SALES") && readFile("DB/SALES_OS") == files["SALES_OS"]);
      EXPECT_TRUE(readFile("DB/SALES") == good.at("SALES") || std::filesystem::exists("DB/SALES_OS"));
      EXPECT_TRUE(RepairDirectory(".").sound);
      EXPECT_EQ(stored(), good);
      if (HasFailure()) return;
    }
}

// Bytes overwritten among the records cost the records that they belong to at most, with or without the offsets file.
TEST_F(RepairTest, LosesNoRecordThatWasNotDamaged) {
  std::mt19937 random(20260315);
  for (int round = 0; round < 1000; ++round) {
    files = sound;
    if (round % 2 != 0) files.erase("SALES_OS");
    const std::string name = round % 3 != 0 ? "SALES" : "INDEX";
    const std::vector<std::uint32_t> places = images::places(sound[name]);
    const std::size_t end = images::get(sound[name], 16, 4);
    const std::size_t from = places[0] + random() % (end - places[0]);
    const std::size_t to = std::min<std::size_t>(end, from + 1 + random() % (1 << random() % 8));
    const bool zeros = random() % 4 == 0;
    for (std::size_t i = from; i < to; ++i) files[name][i] = zeros ? '\0' : static_cast<char>(random());
    std::vector<std::string> untouched;
    for (std::size_t i = 0; i < places.size(); ++i) {
      const std::size_t next = i + 1 < places.size() ? places[i + 1] : end;
      if (to <= places[i] || from >= next) untouched.push_back(images::records(sound[name])[i]);
    }
    store();
    expectRepairable();
    const std::vector<std::string> saved = records(name);
    auto expected = untouched.begin();
    for (const std::string& record : saved) expected += expected != untouched.end() && record == *expected;
    EXPECT_TRUE(expected == untouched.end()) << "round " << round << ": " << *expected;
  }
}
