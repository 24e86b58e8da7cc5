// Inside the storage floor: reading what another process may be writing. Before and after something is read, the change
// counters in the writers' journals are looked at; only what was read while none of them moved is believed. Nothing is
// locked, and nothing is written but the wish for a pause.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <exception>
#include <string>

#include "storage/disk_layout.h"
#include "storage/format/journal_head.h"
#include "storage/reading/read_failure.h"

namespace vorne {

class ChangeWatch {
 public:
  using Clock = std::chrono::steady_clock;

  /// @param directory the one that holds the databases
  explicit ChangeWatch(std::string directory);
  ~ChangeWatch();
  ChangeWatch(const ChangeWatch&) = delete;
  ChangeWatch& operator=(const ChangeWatch&) = delete;

  /// Calls `read(changed, attempt)` until nothing changed meanwhile, and passes a ReadFailure on only then. `changed`
  /// says that something may have changed since the last successful reading, `attempt` counts from 0: later ones should
  /// read less. `takes` is how long a writer is to pause for one
  /// reading; `read` may change it.
  /// @throws ReadFailure kInUse after ten seconds, kInterrupted when a dead process left a change half-done
  template <class Read>
  void consistently(const std::chrono::microseconds& takes, Read read) {
    const Clock::time_point deadline = Clock::now() + kPatience;
    for (int attempt = 0;; ++attempt) {
      const State before = settled(deadline);
      std::exception_ptr failure;
      try {
        read(!known_ || before != last_, attempt);
      } catch (const ReadFailure&) {
        failure = std::current_exception();
      }
      const bool unchanged = current() == before;
      known_ = unchanged && failure == nullptr;
      last_ = before;
      if (known_) return;
      if (unchanged) std::rethrow_exception(failure);
      if (Clock::now() >= deadline) throwBusy();
      if (attempt >= kFreeAttempts) askForPause(takes);
    }
  }

  /// Gives the files back until the next reading.
  void rest();

 private:
  static constexpr std::chrono::seconds kPatience{10};
  static constexpr int kFreeAttempts = 3;
  static constexpr std::size_t kJournals = std::size(kJournalNames);

  // What one journal tells; all zero for one that is not there.
  struct Counter {
    std::uint64_t device = 0, inode = 0, session = 0;
    std::uint32_t changes = 0, state = 0;
    bool operator==(const Counter&) const = default;
    bool isQuiet() const { return (changes & 1) == 0 && state == 0; }
  };
  // A journal that came and went between two looks leaves its trace in the directory's time.
  struct State {
    std::array<Counter, kJournals> journals;
    std::int64_t directoryTime = 0;
    bool operator==(const State&) const = default;
  };

  State current();
  Counter counterOf(std::size_t journal);
  State settled(Clock::time_point deadline);
  bool isSettled(const State& state) const;
  void lookForDeadWriters(const State& state);
  void askForPause(std::chrono::microseconds takes);
  [[noreturn]] void throwBusy() const;
  std::string pathOf(std::size_t journal) const;

  std::string directory_;
  std::array<int, kJournals> files_;
  std::array<Counter, kJournals> opened_;  // device and inode of files_
  std::array<Counter, kJournals> dead_;    // half-done changes of writers that are known to be dead
  State last_;
  bool known_ = false;
};

}  // namespace vorne
