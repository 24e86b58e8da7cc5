// What is left when the system fails: every call of every kind once and for ever, and a disk that is really full.
#include "support/failing_system.h"

#include <sys/file.h>

#include "runtime/process.h"
#include "storage/journal/journal_file.h"
#include "storage/journal/recovery.h"
#include "storage/repair/in_use.h"
#include "support/file_images.h"
#include "support/small_disk.h"
#include "support/store_load.h"

using namespace load;

namespace {

constexpr unsigned kSeed = 7;
// What is left when a call fails shows without a disk, and much faster.
const bool kInMemory = access("/dev/shm", W_OK) == 0 && setenv("TMPDIR", "/dev/shm", 0) == 0;

// Everything that touches files, on files that grow several times.
void task(Load& load, Stores& stores) {
  for (Store& store : stores) load.create(store);
  for (UInt32 i = 0; i < 40; ++i) {
    bBatchOper = i < 36;
    for (Store& store : stores) load.append(store, 0);
    load.add(stores[0], i);
    load.add(stores[1], i / 2);
  }
  const auto each = [&](void (Load::*operation)(Store&, UInt32)) {
    for (Store& store : stores)
      if (!store.records.empty()) (load.*operation)(store, load.below(static_cast<UInt32>(store.records.size())));
  };
  for (const auto operation :
       {&Load::inform, &Load::change, &Load::patch, &Load::rename, &Load::remove, &Load::attribute, &Load::pack,
        &Load::append, &Load::add, &Load::drop, &Load::removeRange, &Load::inform})
    each(operation);
  load.reopen(stores[0], 0);
  each(&Load::change);
  load.step([] { return VerifyCatalog() == 1 && RestoreCatalog() == 1; });
  if (!stores[2].exists) load.create(stores[2]);
  for (const auto operation : {&Load::append, &Load::zap}) each(operation);
  for (Store& store : stores) load.append(store, 0);
  load.step([] { return CloseCatalog(), true; });
}

// The same on what a process left that died in the midst of a change.
void goOn(Load& load, Stores& stores) {
  load.open();
  for (Store& store : stores) load.append(store, 0);
  load.step([] { return CloseCatalog(), true; });
}

class FailingSystem : public testing::Test {
 protected:
  using Task = void (*)(Load&, Stores&);

  // Leaves a directory in which a removal from one of the databases is half-way, and returns what it holds once that is
  // finished. Killed behind its last store, it is taken back to where half of the bytes have moved, or half of the
  // header is stored.
  Stores interrupt(std::size_t which) {
    const auto begin = [](Load& load, Stores& stores) {
      for (Store& store : stores)
        for (int i = (load.create(store), 0); i < 8; ++i) load.append(store, 0);
    };
    Stores stores = emptyStores(0);
    const std::string name = stores[which].name();
    progress_.clear();
    runChild([&] {
      Load load(stores, progress_, kSeed);
      begin(load, stores);
      std::filesystem::copy("DB", "before");
      vorne::fileSystem.msync = [](void*, std::size_t, int) { return kill(getpid(), SIGKILL); };
      load.removeAt(stores[which], 3);
    });
    const std::string before = readFile("before/" + name);
    std::string bytes = readFile("DB/" + name);
    const std::uint32_t place = images::places(before)[3], moved = images::get(bytes, 16, 4) - place;
    EXPECT_TRUE(moved != 0 && moved <= vorne::kLargestProtected / 2) << moved << ": it is to be one piece";
    if (which == 0)
      bytes = std::string(before).replace(place, moved / 2, bytes, place, moved / 2);
    else
      bytes.replace(offsetof(FileHeader, NumberOfRecords), 4, before, offsetof(FileHeader, NumberOfRecords), 4);
    writeFile("DB/" + name, bytes);
    EXPECT_EQ(vorne::InterruptedChanges("DB"), std::vector<std::string>{name});
    return outcomesOf(stores, progress_, kSeed, [&](Load& load, Stores& judged) {
      begin(load, judged);
      load.removeAt(judged[which], 3);
    })[1];
  }

  // Works in a child, under what `prepare` brings about; it may end only in the ways that are told to programs.
  ChildResult work(Task task, const Stores& start, const std::function<void()>& prepare) {
    progress_.clear();
    const ChildResult result = runChild([&] {
      vorne::fileSystem.fsync = [](int) { return 0; };
      prepare();
      Stores stores = start;
      Load load(stores, progress_, kSeed);
      task(load, stores);
    });
    const bool told = result.status == 0 && result.output.ends_with("\nRunTimeError = -1");
    const bool killed = result.status == 1000 + SIGKILL;
    EXPECT_TRUE(told || killed || result.status == kCameBack) << result.status << " " << result.output;
    return result;
  }
  // With the system as it should be, all that was reported done is there, and the directory is sound.
  void expectNothingLost(Task task, const Stores& start) {
    Stores stores = start;
    EXPECT_TRUE(isOutcome(stores, progress_, kSeed, task));
  }

  // Lets every call of that kind fail once, then once and for ever.
  void walk(const failing::Kind& kind, Task task, const Stores& start) {
    std::filesystem::rename("DB", "start");
    failing::plan = &shared<failing::Plan>();
    for (const bool forever : {false, true})
      for (unsigned n = 0;; n += kSlow ? 4 : 1) {
        SCOPED_TRACE(testing::Message() << "call " << n << (forever ? " and all later ones fail" : " fails"));
        std::filesystem::copy("start", "DB");
        *failing::plan = {n, forever};
        const ChildResult result = work(task, start, kind.install);
        expectNothingLost(task, start);
        std::filesystem::remove_all("DB");
        if (HasFailure()) return;
        if (failing::plan->calls > n) continue;
        EXPECT_EQ(result.status, kCameBack);
        EXPECT_EQ(progress_.refusals, 0u);
        break;
      }
  }

  ScratchDirectory directory_;
  static inline Progress& progress_ = shared<Progress>();
};

struct SystemCall : FailingSystem, testing::WithParamInterface<failing::Kind> {};

}  // namespace

TEST_P(SystemCall, FailsAtAnyTime) {
  std::filesystem::create_directory("DB");
  walk(GetParam(), task, emptyStores(0));
}
TEST_P(SystemCall, FailsInARecovery) {
  for (const std::size_t which : {0, 1}) {
    walk(GetParam(), goOn, interrupt(which));
    for (const char* directory : {"start", "before"}) std::filesystem::remove_all(directory);
  }
}
INSTANTIATE_TEST_SUITE_P(Every, SystemCall, testing::ValuesIn(failing::kKinds),
                         [](const auto& kind) { return std::string(kind.param.name); });

using HalfWay = StoreTest;
TEST_F(HalfWay, AZapLeavesPlacesThatTheNextOpeningForgets) {
  put(openStore("A", vorne::kTypeData), "record");
  CloseCatalog();
  const std::string places = readFile(file("A_OS"));
  __InternalZap(openStore("A"));
  CloseCatalog();
  writeFile(file("A_OS"), places);
  openStore("A");
  CloseCatalog();
  EXPECT_TRUE(vorne::CheckDirectory(".").sound);
}

TEST_F(HalfWay, AWriteOfWhichAPartIsStored) {
  const std::string old(12000, 'o'), fresh(12000, 'f');
  const auto write = [&](void* data) { DmWrite(data, 0, fresh.data(), 12000); };
  const auto fill = [](void* data) { DmSet(data, 0, 12000, 'f'); };
  put(openStore("A", vorne::kTypeData), old);
  CloseCatalog();
  for (const std::function<void(void*)>& change :
       {std::function<void(void*)>(write), std::function<void(void*)>(fill)}) {
    // The process dies when it comes to a page in the midst of the record.
    const ChildResult result = runChild([&] {
      void* data = MemHandleLock(DmQueryRecord(openStore("A"), 0));
      mprotect(openStore("A")->hFile->mapmem + 4096, 4096, PROT_READ);
      change(data);
    });
    EXPECT_NE(result.status, kCameBack);
    EXPECT_NE(readFile(file("A")).find('f'), std::string::npos);
    EXPECT_EQ(record(openStore("A"), 0), old);
    CloseCatalog();
  }
}

TEST_F(HalfWay, ANewRecordWhoseEndIsStoredFirst) {
  // Without its first bytes, which stand before a page's end: the mark near the record's end would tell it.
  const std::string marked = std::string(9998, 'n') + "!n";
  put(openStore("A", vorne::kTypeData), std::string(4096 - 20 - 8 - 8 - 12, 'o'));
  const ChildResult result = runChild([&] {
    UInt32 index = kAppend;
    void* data = MemHandleLock(DmNewRecord(openStore("A"), &index, 10000));
    mprotect(openStore("A")->hFile->mapmem, 4096, PROT_READ);
    DmWrite(data, 0, marked.data(), 10000);
  });
  EXPECT_NE(result.status, kCameBack);
  CloseCatalog();
  EXPECT_EQ(records(openStore("A")).size(), 1u);
}

TEST_F(HalfWay, AnEndKeepsTheJournalOnlyOfAChangeUnderWay) {
  const auto journals = [] { return std::filesystem::exists("DB/journal.0"); };
  for (const bool underWay : {false, true})
    for (const auto end : {+[] { __RuntimeError(5, -1); }, +[] { vorne::EndProcess(0); }, +[] { CloseCatalog(); }}) {
      runChild([&] {
        const DmOpenRef db = openStore("A", vorne::kTypeData);
        vorne::HasJournal();
        if (underWay) vorne::KeepBytes(db->hFile, vorne::kHeaderSize, 4);
        if (journals()) end();
      });
      EXPECT_EQ(journals(), underWay);
      EXPECT_EQ(vorne::InterruptedChanges("DB").size(), underWay ? 1u : 0u);
      OpenCatalog();
      EXPECT_FALSE(journals());
      CloseCatalog();
    }
}

TEST_F(HalfWay, AMoveInPiecesThatASmallJournalHolds) {
  std::vector<std::string> all;
  for (int i = 0; i < 100; ++i) all.push_back(std::string(1000, 'a') + std::to_string(i));
  for (const std::string& one : all) put(openStore("A", vorne::kTypeData), one);
  CloseCatalog();
  // The process dies when it comes to a page in the midst of what moves.
  const ChildResult result = runChild([] {
    vorne::fileSystem.fallocate = [](int to, off_t at, off_t length) {
      return length > 4096 ? (errno = ENOSPC, -1) : vorne::kSystem.fallocate(to, at, length);
    };
    mprotect(openStore("A")->hFile->mapmem + 40960, 4096, PROT_READ);
    DmRemoveRecord(openStore("A"), 1);
  });
  EXPECT_NE(result.status, kCameBack);
  EXPECT_EQ(vorne::InterruptedChanges("DB").size(), 1u);
  all.erase(all.begin() + 1);
  EXPECT_EQ(records(openStore("A")), all);
}

TEST_F(HalfWay, WhatAPackLeavesGoesWhenNobodyElseIsThere) {
  openStore("A", vorne::kTypeData);
  for (const bool isAlone : {false, true}) {
    if (isAlone) CloseCatalog();
    writeFile(file("journal.new"), "half of a copy");
    EXPECT_EQ(runChild([] { rwCatalog = nullptr, _exit(OpenCatalog()); }).status, 0);
    EXPECT_EQ(std::filesystem::exists(file("journal.new")), !isAlone);
  }
}

TEST_F(HalfWay, WithoutMemoryFilesAreHeldInLessOrNot) {
  static std::size_t most;
  vorne::fileSystem.mmap = [](std::size_t length, int to) {
    return length > most ? (errno = ENOMEM, MAP_FAILED) : vorne::kSystem.mmap(length, to);
  };
  most = 200'000;
  for (int i = 0; i < 2000; ++i) put(openStore("A", vorne::kTypeData), std::to_string(i));
  EXPECT_EQ(records(openStore("A")).size(), 2000u);
  CloseCatalog();
  most = 0;
  EXPECT_THAT(runChild([] { openStore("A"); }).output,
              "catalog.plm: Cannot allocate memory (15360 bytes)\nRunTimeError = -1");
  vorne::fileSystem = vorne::kSystem;
}

// Another program goes on writing before anybody opens the catalogue again.
TEST_F(HalfWay, TheJournalOfAProcessThatDiedInAChangeIsTakenByNobody) {
  openStore("A", vorne::kTypeData);
  runChild([] {
    const pmymap map = openStore("A")->hFile;
    vorne::KeepBytes(map, vorne::kHeaderSize, 4);
    kill(getpid(), SIGKILL);
  });
  EXPECT_TRUE(vorne::HasJournal());
  EXPECT_EQ(vorne::InterruptedChanges("DB"), std::vector<std::string>{"A"});
  CloseCatalog();
  OpenCatalog();
  EXPECT_EQ(vorne::InterruptedChanges("DB"), std::vector<std::string>());
}

// Another process comes between two steps of this one.
TEST_F(HalfWay, FilesThatAnotherProcessPutsInTheirPlaceAreNotTakenForOurs) {
  static int comes;
  static const auto replace = [](const char* path) {
    std::ofstream("DB/other").close();
    std::filesystem::resize_file("DB/other", sizeof(vorne::JournalFile));
    std::filesystem::rename("DB/other", path);
  };
  openStore("A", vorne::kTypeData);
  CloseCatalog();
  writeFile(file("reserve.plm"), "");
  runChild([] {
    vorne::fileSystem.rename = [](const char* from, const char* to) {
      if (std::string_view(from).ends_with("reserve.plm")) replace(from);
      return vorne::kSystem.rename(from, to);
    };
    vorne::KeepBytes(openStore("A")->hFile, vorne::kHeaderSize, 4);
    kill(getpid(), SIGKILL);
  });
  EXPECT_EQ(vorne::InterruptedChanges("DB"), std::vector<std::string>{"A"});
  OpenCatalog(), CloseCatalog();
  // A dead process's journal is let go, one that came in its place is not; an empty one goes.
  replace("DB/journal.0");
  comes = 1;
  vorne::fileSystem.flock = [](int to, int how) {
    if (comes-- == 1) replace("DB/journal.0");
    return vorne::kSystem.flock(to, how);
  };
  OpenCatalog(), CloseCatalog();
  EXPECT_TRUE(std::filesystem::exists("DB/journal.0"));
  writeFile(file("journal.0"), "");
  // Who asks whether a program is there holds its lock for an instant.
  comes = 1;
  vorne::fileSystem.flock = [](int to, int how) {
    return (how & LOCK_SH) != 0 && comes-- == 1 ? (errno = EWOULDBLOCK, -1) : vorne::kSystem.flock(to, how);
  };
  OpenCatalog();
  EXPECT_TRUE(vorne::IsInUse("DB"));
  EXPECT_FALSE(std::filesystem::exists("DB/journal.0"));
  CloseCatalog();
  // Nothing is stored in one that tells nothing: it may have no space, on a full disk.
  replace("DB/journal.0");
  vorne::fileSystem.mmap = [](std::size_t length, int to) {
    return ::mmap(nullptr, length, length == sizeof(vorne::JournalFile) ? PROT_READ : PROT_READ | PROT_WRITE,
                  MAP_SHARED, to, 0);
  };
  EXPECT_EQ(runChild([] { _exit(OpenCatalog()); }).status, 0);
  vorne::fileSystem = vorne::kSystem;
}

// No more space on the disk; memory has some.
void fillDisk() {
  vorne::fileSystem.fallocate = [](int to, off_t at, off_t length) {
    const std::string path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(to));
    return path.starts_with("/memfd:") ? vorne::kSystem.fallocate(to, at, length) : (errno = ENOSPC, -1);
  };
  vorne::fileSystem.write = [](int, const void*, std::size_t) -> ssize_t { return errno = ENOSPC, -1; };
}

TEST_F(HalfWay, RecordsAreReadAndRemovedOnAFullDisk) {
  std::vector<std::string> all;
  for (int i = 0; i < 4000; ++i) put(openStore("A", vorne::kTypeData), all.emplace_back("record " + std::to_string(i)));
  CloseCatalog();
  // The offsets cannot be had again, be their file empty or too small.
  for (const std::string& left :
       {std::string(), images::fileOf('\0', "", 0, "").substr(0, 20) + std::string(15340, 0)}) {
    writeFile(file("A_OS"), left);
    const ChildResult result = runChild([&] {
      openStore("C", vorne::kTypeData);  // the catalogue has space for one more then
      vorne::HasJournal();
      fillDisk();
      const DmOpenRef db = openStore("A");
      EXPECT_EQ(records(db), all);
      EXPECT_EQ(DmRemoveRecord(db, 1), errNone);
      all.erase(all.begin() + 1);
      EXPECT_EQ(records(db), all);
      std::fflush(stdout);
      if (HasFailure()) _exit(1);
      DmCreateDatabase(0, "B", 0, vorne::kTypeData, 0);
    });
    EXPECT_THAT(result.output, testing::EndsWith("B: No space left on device (20 bytes)\nRunTimeError = -1"));
    all.erase(all.begin() + 1);
    EXPECT_EQ(records(openStore("A")), all);
    CloseCatalog();
    EXPECT_EQ(images::get(readFile(file("A_OS")), 16, 4), 20 + 4 * all.size());
  }
}

TEST_F(FailingSystem, DiskIsFull) {
  const SmallDisks disks(directory_.path());
  disks.each([&] {
    work(task, emptyStores(0), [] {});
    disks.makeRoom();
    expectNothingLost(task, emptyStores(0));
  });
}
