// Cuts the power while a process writes: what was not flushed is on the disk or is not, page by page.
// The repair must end with a sound directory whose databases can be opened and read to the end; how much it could not
// save is told. A directory with everything on the disk holds what a killed process leaves: nothing is lost.
//   power_loss [--images 200] [--seed 1]
#include <set>

#include "support/recording_system.h"
#include "support/store_load.h"

using namespace load;

namespace {

constexpr UInt32 kOperations = 60;
constexpr unsigned kImages = 5;  // from one moment

struct Totals {
  unsigned images = 0, damaged = 0, databases = 0, lostDatabases = 0, incomplete = 0;
  std::size_t records = 0, lost = 0;
};

// The records of `wanted` that are not among those of `found`.
std::size_t missing(const Store& wanted, const Store& found) {
  std::multiset<std::string> there(found.records.begin(), found.records.end());
  return static_cast<std::size_t>(std::count_if(wanted.records.begin(), wanted.records.end(), [&](const auto& record) {
    const auto at = there.find(record);
    return at == there.end() || (there.erase(at), false);
  }));
}

class PowerLoss {
 public:
  explicit PowerLoss(unsigned seed) : seed_(seed), stores_(emptyStores(150000)) {
    std::filesystem::create_directory("DB");
    std::filesystem::create_directory("recorded");
    const auto fill = [](Load& load, Stores&) {
      load.fill();
      load.step([] { return CloseCatalog(), true; });
    };
    work(fill, {});
    stores_ = outcomesOf(stores_, progress_, seed_, fill).front();
  }

  /// False when something is not as it must be.
  bool round() {
    std::mt19937 random(++seed_);
    if (random() % 4 == 0) recording::settle();
    const UInt32 chosen = random() % 150;
    const auto own = delay(random, 1000);
    const auto run = [](Load& load, Stores&) { load.run(kOperations); };
    work(run, [=](UInt32 number) {
      if (number == chosen) endIn(own);
    });
    bool sound = inImage(0, 1, [&] { return isOutcome(stores_, progress_, seed_, run); });
    for (unsigned i = 0; sound && i < kImages; ++i) sound = inImage(random(), 0.1 + 0.2 * i, [&] { return repair(); });
    return sound;
  }

  /// A packed database takes the old one's place, which must not come to the disk before its records.
  bool isPackedSafely() {
    recording::settle();
    work(
        [](Load& load, Stores& stores) {
          load.open();
          for (Store& store : stores) load.pack(store, 0);
        },
        {});
    return inImage(0, 0, [&] { return repair(); }) && totals_->lost == 0;
  }

  const Totals& totals() const { return *totals_; }

 private:
  void work(const std::function<void(Load&, Stores&)>& what, const std::function<void(UInt32)>& ahead) {
    progress_.clear();
    runChild([&] {
      recording::install(seed_);
      Stores stores = stores_;
      Load load(stores, progress_, seed_);
      load.ahead = ahead;
      what(load, stores);
    });
  }

  template <class Body>
  bool inImage(std::mt19937::result_type seed, double pages, Body body) {
    recording::makeImage("image/DB", seed, pages);
    std::filesystem::current_path("image");
    const bool sound = body();
    std::filesystem::current_path("..");
    if (sound) std::filesystem::remove_all("image");
    return sound;
  }

  bool repair() {
    const ChildResult result = runChild([&] {
      vorne::fileSystem.fsync = [](int) { return 0; };
      const vorne::DirectoryReport first = vorne::RepairDirectory("."), second = vorne::RepairDirectory(".");
      if (!first.sound || !second.sound || !second.copies.empty())
        std::printf("%s again:\n%s", words(first).c_str(), words(second).c_str());
      for (const vorne::DatabaseReport& database : vorne::ListDirectory(".").databases)
        if (DmOpenDatabase(0, DmFindDatabase(0, database.name.c_str()), 3) == nullptr)
          std::printf("%s cannot be opened\n", database.name.c_str());
      const Stores found = readStores(stores_);
      CloseCatalog();
      if (!vorne::CheckDirectory(".").sound) std::printf("%s", words(vorne::CheckDirectory(".")).c_str());
      count(first, found);
    });
    const bool sound = result.status == kCameBack && result.output.empty();
    if (!sound) std::printf("seed %u, status %d:\n%s", seed_, result.status, result.output.c_str());
    return sound;
  }

  void count(const vorne::DirectoryReport& report, const Stores& found) {
    Totals& totals = *totals_;
    ++totals.images;
    totals.damaged += !report.problems.empty();
    std::size_t lost = 0;
    for (std::size_t i = 0; i < found.size(); ++i) {
      if (!stores_[i].exists) continue;
      ++totals.databases;
      totals.lostDatabases += !found[i].exists;
      totals.records += stores_[i].records.size();
      lost += missing(stores_[i], found[i]);
    }
    totals.lost += lost;
    totals.incomplete += lost != 0;
  }

  unsigned seed_;
  Progress& progress_ = shared<Progress>();
  Totals* totals_ = &shared<Totals>();
  Stores stores_;
};

}  // namespace

int main(int argc, char** argv) {
  const ScratchDirectory directory;
  const unsigned images = option(argc, argv, "--images", kSlow ? 60 : 200);
  PowerLoss power(option(argc, argv, "--seed", 1));
  bool sound = power.isPackedSafely();
  while (sound && power.totals().images < images) sound = power.round();
  const Totals& totals = power.totals();
  std::printf(
      "%u images, %u with damage, %u of them not whole after the repair: %zu of %zu records and %u of %u databases "
      "lost: %s\n",
      totals.images, totals.damaged, totals.incomplete, totals.lost, totals.records, totals.lostDatabases,
      totals.databases, sound ? "every directory sound" : "NOT AS IT MUST BE");
  return sound ? 0 : 1;
}
