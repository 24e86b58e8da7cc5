// Indexes where there is no room: nothing is left half-made, and every table stays open to programs.
#include <gmock/gmock.h>

#include "index_fixture.h"
#include "storage/files/system.h"
#include "storage/repair/directory_check.h"
#include "support/small_disk.h"

using namespace vorne;

namespace {

// No more space on the disk, also for what file systems write that cannot reserve it.
void fillDisk(int reserving) {
  static int error;
  error = reserving;
  fileSystem.fallocate = [](int, off_t, off_t) { return errno = error, -1; };
  fileSystem.write = [](int file, const void* bytes, std::size_t length) -> ssize_t {
    return length < 200 ? kSystem.write(file, bytes, length) : (errno = ENOSPC, -1);
  };
}

}  // namespace

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
