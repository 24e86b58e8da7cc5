// Damage with coordinates: each byte of the headers, entries and slots, and every length up to a page. Whatever it is,
// the databases are used without an access outside, and a repair makes the directory sound.
#include "check_fixture.h"
#include "runtime/process.h"
#include "support/store.h"

using namespace vorne;

namespace {

constexpr std::size_t kLengthStep = kSlow ? 13 : 1;  // where it is slow not every length
constexpr std::size_t kFilled = 1024;                // behind that the files hold nothing but zeros

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
    return HasFailure() ? 0 : CheckTest::records("SALES").size();
  }

  std::map<std::string, std::ptrdiff_t> seen_;
};

}  // namespace

TEST_F(Damage, OfAnyByteThatPlacesAreToldBy) {
  // A header and what follows it: the first record's header, an entry of the catalogue, the slots.
  for (const auto& [file, size, least] : {std::tuple("SALES", 20 + 40 + 8, 11u),
                                          {"INDEX", 20, 12u},
                                          {"CONF", 20, 12u},
                                          {"catalog.plm", 20 + 88, 12u},
                                          {"SALES_OS", 20 + 12 * 4, 12u}})
    for (int place = 0; place < size; ++place)
      for (const char mask : {'\x01', '\x80', '\xFF'}) {
        std::string bytes = sound[file];
        bytes[place] = static_cast<char>(bytes[place] ^ mask);
        ASSERT_GE(saved(file, bytes), least) << file << " " << place << " ^ " << +mask;
        ASSERT_TRUE(place >= 20 || seen_["SALES"] + seen_["INDEX"] + seen_["CONF"] == 36) << file << " " << place;
      }
}

TEST_F(Damage, OfAnyLength) {
  std::vector<std::uint32_t> ends = images::places(sound["SALES"]);
  ends.push_back(images::get(sound["SALES"], 16, 4));
  for (const char* name : {"SALES", "catalog.plm", "SALES_OS"})
    for (std::size_t length = 0; length <= 4096; length += length < kFilled ? kLengthStep : 37) {
      const auto whole = std::upper_bound(ends.begin(), ends.end(), length) - ends.begin();
      const std::size_t least = std::string(name) != "SALES" ? 12 : whole > 0 ? static_cast<std::size_t>(whole) - 1 : 0;
      ASSERT_GE(saved(name, sound[name].substr(0, length)), least) << name << " cut to " << length;
    }
}
