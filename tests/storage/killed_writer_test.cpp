// Kills a process that writes, at any moment, and looks at what a plain opening finds: every record as it was before or
// after the call that was under way.
//   killed_writer [--kills 300] [--seed 1]
#include "support/kill_rounds.h"

using namespace load;

namespace {

constexpr UInt32 kOperations = 400;

class Killing : public KillRounds {
 public:
  explicit Killing(unsigned seed) : KillRounds(seed, {100, 1000, 40000}), stores_(emptyStores(1500000)) {
    killed([this] { Load(stores_, progress_, seed_).fill(), CloseCatalog(); }, {});
    stores_ = outcomesOf(stores_, progress_, seed_, [](Load& load, Stores&) { load.fill(); }).front();
    progress_.clear();
  }

 private:
  void work(const Ahead& ahead) override {
    Load load(stores_, progress_, seed_);
    load.ahead = ahead;
    load.run(kOperations);
  }
  void open() override {
    Progress none{};
    Load(stores_, none, 0).open();
  }
  bool judge(bool, std::mt19937& random) override {
    if (random() % 8 == 0) repair();
    const auto same = [](Load& load, Stores&) { load.run(kOperations); };
    const bool is = isOutcome(stores_, progress_, seed_, same) && progress_.refusals == 0;
    progress_.clear();
    return is;
  }
  // What a repair does must come to the same.
  static void repair() {
    runChild([] {
      vorne::fileSystem.fsync = [](int) { return 0; };
      vorne::RepairDirectory(".");
    });
    for (const auto& entry : std::filesystem::directory_iterator("DB"))
      if (entry.is_directory()) std::filesystem::remove_all(entry);
  }

  Progress& progress_ = shared<Progress>();
  Stores stores_;
};

}  // namespace

int main(int argc, char** argv) {
  const ScratchDirectory directory;
  return Killing(option(argc, argv, "--seed", 1)).run(option(argc, argv, "--kills", kSlow ? 60 : 300));
}
