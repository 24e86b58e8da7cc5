// How many, how large: tables that are full, files that have their largest size, the sizes that growing leads to.
#include "support/file_images.h"
#include "support/store.h"

using namespace vorne;

namespace {

class Limits : public StoreTest {
 protected:
  std::uintmax_t size(const char* name) const { return std::filesystem::file_size(file(name)); }

  // Records of 65535 bytes in a file of holes: only the first header is looked at.
  void makeHuge(UInt32 records, std::uintmax_t fileSize) {
    ASSERT_NE(openStore("HUGE", kTypeIndex), nullptr);
    CloseCatalog();
    std::string image = images::dataFile('B', "", {std::string(65535, 'r')});
    images::put(image, 8, records, 4);
    images::put(image, 12, fileSize, 4);
    images::put(image, 16, 20 + std::uint64_t{65543} * records, 4);
    writeFile(file("HUGE"), image);
    std::filesystem::resize_file(file("HUGE"), fileSize);
  }
};

}  // namespace

TEST_F(Limits, Handles) {
  DmOpenRef db = openStore("A", kTypeData);
  ASSERT_TRUE(put(db, "record"));
  std::vector<bool> given(kHandles + 1);
  for (UInt32 i = 0; i < kHandles; ++i) {
    const LocalID id = MemHandleToLocalID(DmNewHandle(db, 1));
    ASSERT_TRUE(id >= 1 && id <= kHandles && !given[id]) << i << ": " << id;
    given[id] = true;
  }
  const std::string before = readFile(file("A"));
  EXPECT_EQ(DmNewHandle(db, 1), nullptr);
  EXPECT_EQ(DmQueryRecord(db, 0), nullptr);
  EXPECT_FALSE(put(db, "another"));
  EXPECT_EQ(readFile(file("A")), before);
  DmCloseDatabase(db);
  db = openStore("A");
  EXPECT_TRUE(put(db, "another"));
  EXPECT_EQ(records(db), (std::vector<std::string>{"record", "another"}));
}

TEST_F(Limits, DatabasesFoundAtOnce) {
  constexpr UInt32 kAll = kOpenFiles + 3;
  std::vector<std::pair<std::string, std::string>> entries;
  for (UInt32 i = 0; i < kAll; ++i) entries.emplace_back("D" + std::to_string(i), "DATA");
  std::filesystem::create_directory(directory_.path() / "DB");
  writeFile(file("catalog.plm"), images::catalog(entries));
  for (const auto& [name, type] : entries) writeFile(file(name), images::dataFile('V', "", {name}, 20));
  for (UInt32 i = 0; i < kOpenFiles; ++i) ASSERT_EQ(DmFindDatabase(0, entries[i].first.c_str()), i + 1);
  const char* more = entries[kAll - 1].first.c_str();
  EXPECT_EQ(DmFindDatabase(0, more), 0u);
  EXPECT_EQ(DmFindDatabase(0, "d77"), 78u) << "those that are found stay so";
  EXPECT_EQ(DmCreateDatabase(0, "D77", kCreator, kTypeData, 0), errAlreadyExists);
  EXPECT_EQ(DmCreateDatabase(0, more, kCreator, kTypeData, 0), errAlreadyExists);
  EXPECT_EQ(record(openStore("D77"), 0), "D77");
  EXPECT_EQ(DmDeleteDatabase(0, 78), errNone);
  EXPECT_EQ(DmFindDatabase(0, more), 78u);
  EXPECT_EQ(record(openStore(more), 0), more);
  EXPECT_EQ(DmCreateDatabase(0, "NEW", kCreator, kTypeData, 0), errNone);
  EXPECT_EQ(readFile(file("catalog.plm")).substr(20 + 77 * 88, 4), std::string("NEW\0", 4));
}

TEST_F(Limits, LargestFile) {
  makeHuge(4094, 0x0FFEFFFF);
  DmOpenRef db = openStore("HUGE");
  ASSERT_NE(db, nullptr);
  EXPECT_TRUE(put(db, std::string(65535, 'l')));
  EXPECT_EQ(DmNumRecords(db), 4095u);
  EXPECT_EQ(record(db, 4094), std::string(65535, 'l'));
  EXPECT_LE(size("HUGE"), kLargestFile);
  DmCloseDatabase(db);

  makeHuge(4095, kLargestFile);
  const auto header = [&db] { return std::string(db->hFile->mapmem, sizeof(FileHeader)); };
  db = openStore("HUGE");
  ASSERT_NE(db, nullptr);
  const std::string before = header();
  EXPECT_RUNTIME_ERROR(put(db, std::string(65535, 'm')), -1);
  EXPECT_RUNTIME_ERROR(put(db, std::string(65535, 'm'), 4000), -1);
  EXPECT_EQ(MoveFwd(db->hFile, 40000), 0);
  EXPECT_EQ(increasefilesz(db->hFile, INT_MAX), 0);
  EXPECT_EQ(header(), before);
  EXPECT_EQ(size("HUGE"), kLargestFile);
  EXPECT_EQ(DmNumRecords(db), 4095u);
  CloseCatalog();
  std::filesystem::resize_file(file("HUGE"), std::uintmax_t{kLargestFile} + 1);
  EXPECT_RUNTIME_ERROR(openStore("HUGE"), -1);
  EXPECT_EQ(size("HUGE"), std::uintmax_t{kLargestFile} + 1);
}

TEST_F(Limits, SizesThatGrowingLeadsTo) {
  const auto sizesOf = [&](const char* name, UInt32 records) {
    std::vector<std::uintmax_t> sizes;
    DmOpenRef db = openStore(name, kTypeData);
    for (UInt32 i = 0; i < records; ++i) {
      if (sizes.empty() || size(name) != sizes.back()) sizes.push_back(size(name));
      EXPECT_TRUE(put(db, std::string(992, 'g')));
    }
    return sizes;
  };
  using Sizes = std::vector<std::uintmax_t>;
  EXPECT_EQ(sizesOf("A", 300), (Sizes{15360, 30720, 46080, 107520, 168960, 261120, 353280}));
  CloseCatalog();
  EXPECT_EQ(sizesOf("A", 100), (Sizes{353280, 368640, 384000, 445440})) << "small steps again";
  CloseCatalog();

  // A step that is too small, a size that is no multiple, and the same at every opening.
  ASSERT_TRUE(put(openStore("B", kTypeData), std::string(40000, 'g')));
  EXPECT_EQ(size("B"), 40028 + 15360 + (40028 + 15360) % 15360u);
  CloseCatalog();
  writeFile(file("B"), images::dataFile('V', "", {"kept"}, 20000));
  for (const std::uintmax_t wanted : {24640, 33920, 37120}) {
    EXPECT_EQ(record(openStore("B"), 0), "kept");
    EXPECT_EQ(size("B"), wanted);
    CloseCatalog();
  }
}
