// Kills a process that writes, at any moment, and looks at what a plain opening finds: every record as it was before or
// after the call that was under way.
//   killed_writer [--kills 300] [--seed 1]
#include "storage/journal/recovery.h"
#include "support/failing_system.h"
#include "support/store_load.h"

using namespace load;

namespace {

constexpr UInt32 kOperations = 400;

struct Totals {
  unsigned kills = 0, inChanges = 0, inOpenings = 0, afterwards = 0;
};

class Killing {
 public:
  explicit Killing(unsigned seed) : seed_(seed), stores_(emptyStores(1500000)) {
    killed([this] { Load(stores_, progress_, seed_).fill(), CloseCatalog(); }, {});
    stores_ = outcomesOf(stores_, progress_, seed_, [](Load& load, Stores&) { load.fill(); }).front();
  }

  /// False when something is not as it must be.
  bool round() {
    std::mt19937 random(++seed_);
    progress_.clear();
    // Killed shortly after a chosen call began, behind a system call that it makes, or at any time.
    const unsigned way = random() % 4;
    const UInt32 chosen = random() % 100;
    const auto own = delay(random, 1000), patience = delay(random, 40000);
    failing::Plan plan{static_cast<unsigned>(random() % 12), random() % 2 == 0};
    const auto work = [&] {
      Load load(stores_, progress_, seed_);
      load.ahead = [&](UInt32 number) {
        if (number == chosen && way == 0) failing::install("kill", plan);
        if (number == chosen && way != 0 && way != 3) endIn(own);
      };
      load.run(kOperations);
    };
    const bool ended = killed(work, way == 3 ? patience : std::chrono::microseconds());
    ++(ended ? totals_.kills : totals_.afterwards);
    totals_.inChanges += !vorne::InterruptedChanges("DB").empty();
    const auto open = [&] {
      Progress none{};
      plan.first *= 5;
      if (way % 2 == 0) failing::install("kill", plan);
      if (way % 2 != 0) endIn(own * 2);
      Load(stores_, none, 0).open();
    };
    if (random() % 4 == 0) totals_.inOpenings += killed(open, {});
    if (random() % 8 == 0) repair();
    const auto same = [](Load& load, Stores&) { load.run(kOperations); };
    return isOutcome(stores_, progress_, seed_, same) && progress_.refusals == 0;
  }

  const Totals& totals() const { return totals_; }

 private:
  // What a repair does must come to the same.
  static void repair() {
    runChild([] {
      vorne::fileSystem.fsync = [](int) { return 0; };
      vorne::RepairDirectory(".");
    });
    for (const auto& entry : std::filesystem::directory_iterator("DB"))
      if (entry.is_directory()) std::filesystem::remove_all(entry);
  }

  unsigned seed_;
  Progress& progress_ = shared<Progress>();
  Stores stores_;
  Totals totals_;
};

}  // namespace

int main(int argc, char** argv) {
  const ScratchDirectory directory;
  const unsigned kills = option(argc, argv, "--kills", kSlow ? 60 : 300);
  Killing killing(option(argc, argv, "--seed", 1));
  bool sound = true;
  while (sound && killing.totals().kills < kills) sound = killing.round();
  const Totals& totals = killing.totals();
  std::printf("%u kills, %u of them inside a protected change, %u openings killed, %u loads came to their end: %s\n",
              totals.kills, totals.inChanges, totals.inOpenings, totals.afterwards,
              sound ? "nothing lost" : "NOT AS IT MUST BE");
  return sound ? 0 : 1;
}
