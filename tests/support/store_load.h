// A mixed load over three databases, for tests that end the process in the midst of it. The process that works and the
// one that judges what it left run the same code from the same seed: the judge makes no calls, but follows in a model
// what the calls that were reported done must have left.
#pragma once

#include <signal.h>
#include <sys/mman.h>
#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <random>

#include "storage/repair/directory_check.h"
#include "support/child.h"
#include "support/store.h"

namespace load {

/// What one database holds.
struct Store {
  const char* base;
  UInt32 type;
  std::size_t target;  // bytes that the load keeps it at
  bool exists = false, renamed = false;
  UInt16 attributes = 0;
  std::string info;
  std::vector<std::string> records;

  bool operator==(const Store&) const = default;
  std::string name(bool other = false) const { return base + std::string(renamed != other ? "2" : ""); }
  bool isVariable() const { return vorne::KindOfType(type) == vorne::kVariableDatabase; }
  std::size_t bytes() const {
    std::size_t sum = 0;
    for (const std::string& record : records) sum += record.size();
    return sum;
  }
};
using Stores = std::vector<Store>;

/// A database of mixed sizes, one of equal sizes, and a small one that comes and goes.
inline Stores emptyStores(std::size_t target) {
  return {{"VENDAS", vorne::kTypeData, target, {}, {}, {}, {}, {}},
          {"ORDEM", vorne::kTypeIndex, target / 3, {}, {}, {}, {}, {}},
          {"RASCUNHO", vorne::kTypeMemo, 6000, {}, {}, {}, {}, {}}};
}

/// How far the working process got; outlives it.
struct Progress {
  static constexpr UInt32 kMost = 1 << 16;
  std::atomic<UInt32> done;  // calls that came back
  std::atomic<UInt32> refusals;
  std::uint8_t refused[kMost];  // calls that came back with a failure and so must have changed nothing

  void clear() { new (this) Progress{}; }
};

class Load {
  struct Nothing {
    void operator()() const {}
  };

 public:
  /// Works on `stores`, or, with `outcomes`, judges: they become what may be found after the last call that came back
  /// and after the next two. What had not begun cannot be there by chance; a record in its last call may be there
  /// before it.
  Load(Stores& stores, Progress& progress, unsigned seed, std::vector<Stores>* outcomes = nullptr)
      : stores_(stores), progress_(progress), random_(seed), outcomes_(outcomes) {}

  /// A call, and what it changes when it comes back without a failure.
  template <class Call, class Change = Nothing>
  bool step(Call call, Change change = {}) {
    const UInt32 number = number_++ % Progress::kMost;
    if (outcomes_ != nullptr) {
      if (number >= progress_.done) outcomes_->push_back(stores_);
      if (outcomes_->size() == kOutcomes) throw Judged();
    } else {
      if (ahead) ahead(number);
      progress_.refused[number] = !call();
      progress_.refusals += progress_.refused[number];
    }
    const bool made = progress_.refused[number] == 0;
    if (made) change();
    if (outcomes_ == nullptr) progress_.done = number + 1;
    return made;
  }

  /// Opens everything, then makes `operations` random operations.
  void run(UInt32 operations) {
    open();
    for (UInt32 i = 0; i < operations; ++i) operate();
  }
  void open() {
    for (Store& store : stores_)
      if (store.exists) open(store);
  }
  void open(Store& store) {
    step([&] { return (refs_[&store - stores_.data()] = openStore(store.name().c_str())) != nullptr; });
  }
  /// Brings every database to its size.
  void fill() {
    for (Store& store : stores_) {
      if (!store.exists) create(store);
      while (store.bytes() < store.target) append(store, 0);
    }
  }

  void create(Store& store) {
    step([&] { return DmCreateDatabase(0, store.name().c_str(), kCreator, store.type, 0) == errNone; },
         [&] { store.exists = true; });
    open(store);
  }
  void append(Store& store, UInt32) { add(store, static_cast<UInt32>(store.records.size())); }
  void add(Store& store, UInt32 at) {
    const std::string bytes = content(store);
    UInt32 index = at;
    MemHandle handle = nullptr;
    if (!step([&] { return (handle = DmNewRecord(ref(store), &index, size(bytes))) != nullptr; })) return;
    step([&] { return DmWrite(MemHandleLock(handle), 0, bytes.data(), size(bytes)) == errNone; });
    release(store, at, [&] { store.records.insert(store.records.begin() + at, bytes); });
  }
  /// New bytes for a record; in a database of mixed sizes of any length.
  void change(Store& store, UInt32 at) {
    const std::string bytes = content(store);
    std::string& record = store.records[at];
    MemHandle handle = nullptr;
    step([&] { return (handle = DmGetRecord(ref(store), at)) != nullptr; });
    if (!step([&] { return MemHandleResize(handle, size(bytes)) == errNone; })) return;
    step([&] { return DmWrite(MemHandleLock(handle), 0, bytes.data(), size(bytes)) == errNone; },
         [&] { record.replace(0, bytes.size(), bytes.substr(0, record.size())); });
    release(store, at, [&] { record = bytes; });
  }
  /// A few bytes of a record.
  void patch(Store& store, UInt32 at) {
    std::string& record = store.records[at];
    const UInt32 offset = below(size(record));
    const std::string bytes(1 + below(size(record) - offset), static_cast<char>('a' + below(26)));
    void* data = nullptr;
    step([&] { return (data = MemHandleLock(DmQueryRecord(ref(store), at))) != nullptr; });
    step([&] { return DmWrite(data, offset, bytes.data(), size(bytes)) == errNone; },
         [&] { record.replace(offset, bytes.size(), bytes); });
  }
  void remove(Store& store, UInt32 at) { removeAt(store, below(4) == 0 ? size(store.records) - 1 : at); }
  void removeAt(Store& store, UInt32 at) {
    step([&] { return DmRemoveRecord(ref(store), at) == errNone; }, [&] { erase(store, at, at); });
  }
  void removeRange(Store& store, UInt32 at) {
    const UInt32 last = at + below(9);
    step([&] { return ExcluirFaixa(ref(store), at, last) == errNone; }, [&] { erase(store, at, last); });
  }
  void zap(Store& store, UInt32 at) {
    if (store.bytes() > 50000 && below(20) != 0) return remove(store, at);
    step([&] { return __InternalZap(ref(store)), true; }, [&] { store.records.clear(); });
  }
  void pack(Store& store, UInt32) {
    step([&] { return InterNalPack(ref(store)) == errNone; });
  }
  void inform(Store& store, UInt32) {
    const std::string bytes = text(1 + below(600));
    LocalID id = 0;
    if (!step([&] { return (id = MemHandleToLocalID(DmNewHandle(ref(store), size(bytes)))) != 0; })) return;
    step([&] { return DmWrite(MemLocalIDToLockedPtr(id), 0, bytes.data(), size(bytes)) == errNone; });
    step([&] { return setDatabase(store.name(), {.info = &id}) == errNone; }, [&] { store.info = bytes; });
  }
  void attribute(Store& store, UInt32) {
    const auto attributes = static_cast<UInt16>(below(0x10000));
    step([&] { return setDatabase(store.name(), {.attributes = &attributes}) == errNone; },
         [&] { store.attributes = attributes; });
  }
  void rename(Store& store, UInt32) {
    const std::string name = store.name(true);
    step([&] { return setDatabase(store.name(), {.name = name.c_str()}) == errNone; },
         [&] { store.renamed = !store.renamed; });
  }
  void reopen(Store&, UInt32) {
    step([&] { return CloseCatalog(), true; });
    open();
  }
  /// Deletes the small database.
  void drop(Store& store, UInt32 at) {
    if (&store != &stores_.back()) return patch(store, at);
    step([&] { return DmDeleteDatabase(0, DmFindDatabase(0, store.name().c_str())) == errNone; },
         [&] { store = emptyStores(0).back(); });
  }
  UInt32 below(UInt32 n) { return static_cast<UInt32>(random_() % n); }

  std::function<void(UInt32 number)> ahead;  ///< called before each call that the working process makes

 private:
  struct Judged {};
  static constexpr std::size_t kOutcomes = 3;
  friend std::vector<Stores> outcomesOf(Stores, Progress&, unsigned, const std::function<void(Load&, Stores&)>&);

  template <class Container>
  static UInt32 size(const Container& container) {
    return static_cast<UInt32>(container.size());
  }
  DmOpenRef ref(const Store& store) const { return refs_[&store - stores_.data()]; }

  void operate() {
    using L = Load;
    static constexpr void (L::*kOperations[])(Store&, UInt32) = {
        &L::add,    &L::add,    &L::add,    &L::add,    &L::add,    &L::append, &L::append,      &L::append,
        &L::change, &L::change, &L::change, &L::change, &L::change, &L::patch,  &L::patch,       &L::patch,
        &L::remove, &L::remove, &L::remove, &L::drop,   &L::rare,   &L::rare,   &L::removeRange, &L::removeRange};
    const UInt32 which = below(20);
    Store& store = stores_[which < 12 ? 0 : which < 18 ? 1 : 2];
    if (!store.exists) return create(store);
    if (store.records.empty()) return append(store, 0);
    const UInt32 at = below(size(store.records));
    if (store.bytes() > store.target) return removeRange(store, at);
    if (store.bytes() < store.target / 2 && below(2) == 0)
      for (int i = 0; i < 20; ++i) append(store, 0);
    (this->*kOperations[below(std::size(kOperations))])(store, at);
  }
  void rare(Store& store, UInt32 at) {
    static constexpr void (Load::*kOperations[])(Store&, UInt32) = {&Load::zap,       &Load::pack,   &Load::inform,
                                                                    &Load::attribute, &Load::rename, &Load::reopen};
    (this->*kOperations[below(std::size(kOperations))])(store, at);
  }

  std::string text(UInt32 length) {
    std::string bytes(length, 0);
    std::uint32_t state = static_cast<std::uint32_t>(random_());
    for (char& byte : bytes) byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    return bytes;
  }
  // Some carry a table's mark of deletion, by which early versions told a record.
  std::string content(const Store& store) {
    std::string bytes = text(!store.isVariable() ? 90 : below(25) == 0 ? 1 + below(65535) : 1 + below(3000));
    if (bytes.size() >= 2 && below(3) == 0) bytes[bytes.size() - 2] = below(2) == 0 ? '!' : '*';
    return bytes;
  }
  static void erase(Store& store, UInt32 first, UInt32 last) {
    store.records.erase(store.records.begin() + first,
                        store.records.begin() + std::min<std::size_t>(last + 1, store.records.size()));
  }
  // A held record is also written back when another one is asked for.
  template <class Change>
  void release(const Store& store, UInt32 index, Change change) {
    const bool turns = below(4) == 0;
    const bool dirty = below(2) == 0;
    const auto query = [&] { return DmQueryRecord(ref(store), 0) != nullptr; };
    const auto give = [&] { return DmReleaseRecord(ref(store), index, dirty) == errNone; };
    turns ? step(query, change) : step(give, change);
  }
  Stores& stores_;
  Progress& progress_;
  std::mt19937 random_;
  std::vector<Stores>* outcomes_;
  UInt32 number_ = 0;
  DmOpenRef refs_[3] = {};
};

/// What may be found after a process that began with `stores` and ended in the midst of `work`.
inline std::vector<Stores> outcomesOf(Stores stores, Progress& progress, unsigned seed,
                                      const std::function<void(Load&, Stores&)>& work) {
  std::vector<Stores> outcomes;
  try {
    Load judge(stores, progress, seed, &outcomes);
    work(judge, stores);
    outcomes.push_back(stores);
  } catch (const Load::Judged&) {
  }
  return outcomes;
}

/// What the databases hold now, by a plain opening.
inline Stores readStores(Stores stores) {
  for (Store& store : stores) {
    store = {store.base, store.type, store.target, {}, {}, {}, {}, {}};
    const LocalID ids[] = {DmFindDatabase(0, store.name().c_str()), DmFindDatabase(0, store.name(true).c_str())};
    store.renamed = ids[1] != 0;
    store.exists = ids[0] != 0 || store.renamed;
    if (ids[0] != 0 && store.renamed) store.info = "under both names";
    const LocalID id = ids[store.renamed];
    DmOpenRef db = DmOpenDatabase(0, id, 3);
    if (db == nullptr) continue;
    store.records = records(db);
    LocalID info = 0;
    DmDatabaseInfo(0, id, nullptr, &store.attributes, nullptr, nullptr, nullptr, nullptr, nullptr, &info, nullptr,
                   nullptr, nullptr);
    if (info != 0)
      store.info.append(static_cast<const char*>(MemLocalIDToLockedPtr(info)), MemHandleSize(&MemHandles[info - 1]));
  }
  return stores;
}

inline std::string words(const Stores& stores) {
  std::string all;
  for (const Store& store : stores)
    all += "  " + store.name() + ": " + std::to_string(store.records.size()) + " records, " +
           std::to_string(store.bytes()) + " bytes, " + std::to_string(store.info.size()) + " of information";
  return all + "\n";
}
inline std::string words(const vorne::DirectoryReport& report) {
  std::string all;
  for (const vorne::Problem& problem : report.problems) all += "  " + problem.file + ": " + problem.problem + "\n";
  return all;
}

/// True when a plain opening, in a process of its own, finds one of the outcomes that `work` on `stores` may have had
/// (they become it), and the directory is sound afterwards; else tells what is there.
inline bool isOutcome(Stores& stores, Progress& progress, unsigned seed,
                      const std::function<void(Load&, Stores&)>& work) {
  constexpr int kUnsound = 99;
  const std::vector<Stores> outcomes = outcomesOf(stores, progress, seed, work);
  const ChildResult result = runChild([&] {
    const Stores found = readStores(stores);
    CloseCatalog();
    const auto outcome = std::find(outcomes.begin(), outcomes.end(), found);
    const vorne::DirectoryReport report = vorne::CheckDirectory(".");
    std::printf("found\n%s%s", words(found).c_str(), words(report).c_str());
    for (const Stores& wanted : outcomes) std::printf("possible\n%s", words(wanted).c_str());
    std::fflush(stdout);
    _exit(report.sound ? static_cast<int>(outcome - outcomes.begin()) : kUnsound);
  });
  const bool is = result.status >= 0 && result.status < static_cast<int>(outcomes.size());
  if (is) stores = outcomes[static_cast<std::size_t>(result.status)];
  if (!is)
    std::printf("seed %u, %u calls done, status %d:\n%s\n", seed, progress.done.load(), result.status,
                result.output.c_str());
  return is;
}

/// From a microsecond to the longest, every order of magnitude alike.
inline std::chrono::microseconds delay(std::mt19937& random, double longest) {
  return std::chrono::microseconds(1 + static_cast<int>(std::pow(longest, std::uniform_real_distribution<>()(random))));
}

/// Ends this process in that time, wherever it is then.
inline void endIn(std::chrono::microseconds time) {
  itimerval timer = {};
  timer.it_value.tv_usec = static_cast<suseconds_t>(time.count());
  signal(SIGALRM, SIG_DFL);
  setitimer(ITIMER_REAL, &timer, nullptr);
}

/// Runs `body` in a process; returns true when it was killed, by itself or after `patience`.
inline bool killed(const std::function<void()>& body, std::chrono::microseconds patience) {
  const int status = runChild(body, patience).status;
  return status == 1000 + SIGKILL || status == 1000 + SIGALRM;
}

/// The number behind `name` among the arguments.
inline unsigned option(int argc, char** argv, const char* name, unsigned otherwise) {
  for (int i = 1; i + 1 < argc; ++i)
    if (std::strcmp(argv[i], name) == 0) return static_cast<unsigned>(std::strtoul(argv[i + 1], nullptr, 10));
  return otherwise;
}

}  // namespace load
