// Rounds in which a process that works is killed, its opening sometimes too, and what is left is judged.
#pragma once

#include "storage/journal/recovery.h"
#include "support/failing_system.h"
#include "support/store_load.h"

namespace load {

class KillRounds {
 public:
  /// Kills until there were as many as `--kills` says; returns the exit status. Tells what came of it.
  int run(unsigned kills) {
    bool sound = true;
    while (sound && kills_ < kills) sound = round();
    std::printf("%u kills, %u of them inside a protected change, %u openings killed, %u loads came to their end: %s\n",
                kills_, inChanges_, inOpenings_, afterwards_, sound ? "nothing lost" : "NOT AS IT MUST BE");
    return sound ? 0 : 1;
  }

 protected:
  using Ahead = std::function<void(UInt32 number)>;
  /// Of the load: how many calls it makes; the longest time that one call and that all of them take, in microseconds.
  struct Bounds {
    UInt32 calls;
    double call, all;
  };
  KillRounds(unsigned seed, Bounds bounds) : seed_(seed), bounds_(bounds) {}
  virtual ~KillRounds() = default;

  /// The load, which calls `ahead` before each call.
  virtual void work(const Ahead& ahead) = 0;
  virtual void open() = 0;
  /// False when what is left is not as it must be; `ended`: the load was killed.
  virtual bool judge(bool ended, std::mt19937& random) = 0;

  unsigned seed_;

 private:
  bool round() {
    std::mt19937 random(++seed_);
    // Killed shortly after a chosen call began, behind a system call that it makes, or at any time.
    const unsigned way = random() % 4;
    const UInt32 chosen = random() % bounds_.calls;
    const auto own = delay(random, bounds_.call), patience = delay(random, bounds_.all);
    failing::Plan plan{static_cast<unsigned>(random() % 12), random() % 2 == 0};
    const auto ahead = [&](UInt32 number) {
      if (number == chosen && way == 0) failing::install("kill", plan);
      if (number == chosen && (way == 1 || way == 2)) endIn(own);
    };
    const bool ended = killed([&] { work(ahead); }, way == 3 ? patience : std::chrono::microseconds());
    ++(ended ? kills_ : afterwards_);
    inChanges_ += !vorne::InterruptedChanges("DB").empty();
    const auto opening = [&] {
      plan.first *= 5;
      if (way % 2 == 0) failing::install("kill", plan);
      if (way % 2 != 0) endIn(own * 3);
      open();
    };
    if (random() % 4 == 0) inOpenings_ += killed(opening, {});
    return judge(ended, random);
  }

  Bounds bounds_;
  unsigned kills_ = 0, inChanges_ = 0, inOpenings_ = 0, afterwards_ = 0;
};

}  // namespace load
