// Damage with coordinates: each byte of the headers, entries and slots, and every length up to a page. Whatever it is,
// the databases are used without an access outside, and a repair makes the directory sound.
#include "check_fixture.h"
#include "runtime/process.h"
#include "support/store.h"

using namespace vorne;

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr std::size_t kLengthStep = 13;  // slow: not every length
#else
constexpr std::size_t kLengthStep = 1;
#endif
constexpr std::size_t kFilled = 1024;  // behind that the files hold nothing but zeros

struct Ended {};

class Damage : public CheckTest {
 protected:
  void SetUp() override {
    CheckTest::SetUp();
    __BeginGlobal();
    endProcessHook = [](int) { throw Ended{}; };
    testing::internal::CaptureStdout();
  }
  void TearDown() override {
    testing::internal::GetCapturedStdout();
    endProcessHook = nullptr;
    __EndGlobal();
    CheckTest::TearDown();
  }

  /// How many records a program saw.
  static std::ptrdiff_t use(const std::string& name) {
    std::ptrdiff_t seen = 0;
    try {
      DmOpenRef db = openStore(name.c_str());
      if (db == nullptr) return 0;
      const auto all = ::records(db);
      seen = std::ssize(all) - std::count(all.begin(), all.end(), "(none)");
      const std::size_t size = all.empty() ? 8 : all[0].size();
      put(db, std::string(size, '+'));
      put(db, std::string(size, '*'), 1);
      DmRemoveRecord(db, 2);
      change(db, 0, std::string(size, '-'));
      DmCloseDatabase(db);
    } catch (const Ended&) {
    }
    return seen;
  }

  /// `name` with other bytes: records that a repair saves of SALES; the others' must all be there.
  std::size_t saved(const std::string& name, const std::string& bytes) {
    files = sound;
    files[name] = bytes;
    store();
    for (const auto& [database, unused] : sound)
      if (!database.starts_with("catalog") && database != "SALES_OS") seen_[database] = use(database);
    CloseCatalog();
    EXPECT_TRUE(RepairDirectory(".").sound);
    store();
    EXPECT_TRUE(RepairDirectory(".").sound);
    EXPECT_EQ(CheckTest::records("INDEX").size() + CheckTest::records("CONF").size(), 24u);
    return CheckTest::records("SALES").size();
  }

  std::map<std::string, std::ptrdiff_t> seen_;
};

}  // namespace

TEST_F(Damage, OfAnyByteThatPlacesAreToldBy) {
  // A header and what follows it: the first record's header, an entry of the catalogue, the slots.
  const struct {
    const char* file;
    std::size_t bytes;
    std::size_t least;  // records that are saved, whichever byte it is
  } kRows[] = {{"SALES", 20 + 40 + 8, 11},
               {"INDEX", 20, 12},
               {"CONF", 20, 12},
               {"catalog.plm", 20 + 88, 12},
               {"SALES_OS", 20 + 12 * 4, 12}};
  for (const auto& row : kRows)
    for (std::size_t place = 0; place < row.bytes; ++place)
      for (const char mask : {'\x01', '\x80', '\xFF'}) {
        SCOPED_TRACE(std::string(row.file) + " " + std::to_string(place) + " ^ " + std::to_string(mask));
        std::string bytes = sound[row.file];
        bytes[place] = static_cast<char>(bytes[place] ^ mask);
        EXPECT_GE(saved(row.file, bytes), row.least);
        EXPECT_TRUE(place >= kHeaderSize || seen_["SALES"] + seen_["INDEX"] + seen_["CONF"] == 36);
        if (HasFailure()) return;
      }
}

TEST_F(Damage, OfAnyLength) {
  std::vector<std::size_t> ends = {20 + 40};
  for (const std::string& record : images::records(sound["SALES"])) ends.push_back(ends.back() + 8 + record.size());
  for (const char* name : {"SALES", "catalog.plm", "SALES_OS"})
    for (std::size_t length = 0; length <= 4096; length += length < kFilled ? kLengthStep : 37) {
      SCOPED_TRACE(std::string(name) + " cut to " + std::to_string(length));
      const auto whole = std::upper_bound(ends.begin(), ends.end(), length) - ends.begin();
      const std::size_t least = std::string(name) != "SALES" ? 12 : whole > 0 ? static_cast<std::size_t>(whole) - 1 : 0;
      EXPECT_GE(saved(name, sound[name].substr(0, length)), least);
      if (HasFailure()) return;
    }
}
