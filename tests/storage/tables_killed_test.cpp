// Kills a process that works on a table with memo texts and two indexes, at any moment, and looks at what a plain
// opening finds: every record and text as it was before or after the call that was under way, and every index as one
// made anew.
//   tables_killed [--kills 300] [--seed 1]
#include "storage/format/record_bytes.h"
#include "support/kill_rounds.h"
#include "support/tables.h"

using namespace load;

namespace {

constexpr UInt32 kOperations = 150, kFewRows = 20, kManyRows = 120;
constexpr char kStructure[] = "{{'NAME','C',40,0},{'BORN','D',8,0},{'PRICE','N',9,2},{'VIP','L',1,0},{'NOTE','M',4,0}}";
constexpr const char* kFields[] = {"NAME", "BORN", "PRICE", "VIP"};
constexpr int kNote = 5;

struct Row {
  std::string words[std::size(kFields)] = {"''", "d0", "0", "F"};  // values as words
  UInt32 memo = 0;                                                 // number of its text, from 1
  bool deleted = false;

  bool operator==(const Row&) const = default;
};

struct Index {
  const char *name, *key;
};
constexpr Index kIndexes[] = {{"BYNAME", "NAME+DTOS(BORN)"}, {"BYPRICE", "STR(PRICE,9,2)"}};

struct State {
  std::vector<Row> rows;
  std::vector<std::string> memos;
  bool indexed[std::size(kIndexes)] = {};

  bool operator==(const State&) const = default;
};

void use() {
  EndGuard::arm();
  __BeginGlobal();
  ::use("T");
}
VORNE_RDD& area() {
  return *vorne::AreaAt(0);
}

// Made by one process and judged by another, as the loads of store_load.h.
class Work {
 public:
  Work(State& state, std::atomic<UInt32>& done, unsigned seed, std::vector<State>* outcomes = nullptr)
      : state_(state), done_(done), random_(seed), outcomes_(outcomes) {}

  /// Until the outcomes are known: the states before and after the call under way, and those that it may pass.
  void run() {
    step(use);
    while (operations_++ < kOperations) operate();
    if (outcomes_ != nullptr) outcomes_->push_back(state_);
  }
  struct Judged {};
  std::function<void(UInt32 number)> ahead;  ///< called before each call that the working process makes

 private:
  using Changes = std::initializer_list<std::function<void()>>;
  /// A call, and what it changes one after the other.
  template <class Call>
  void step(Call call, Changes changes = {}) {
    const UInt32 number = number_++;
    const bool underWay = outcomes_ != nullptr && number >= done_;
    if (underWay) outcomes_->push_back(state_);
    if (outcomes_ == nullptr && ahead) ahead(number);
    if (outcomes_ == nullptr) call();
    for (const auto& change : changes) {
      change();
      if (underWay) outcomes_->push_back(state_);
    }
    if (underWay) throw Judged();
    if (outcomes_ == nullptr) done_ = number + 1;
  }

  void operate() {
    using W = Work;
    static constexpr void (W::*kKinds[])() = {&W::append, &W::append, &W::append, &W::change, &W::change, &W::change,
                                              &W::change, &W::mark,   &W::seek,   &W::seek,   &W::rare};
    if (state_.rows.size() < kFewRows) return append();
    if (state_.rows.size() > kManyRows) return below(3) == 0 ? pack() : mark();
    (this->*kKinds[below(std::size(kKinds))])();
  }
  void rare() {
    static constexpr void (Work::*kKinds[])() = {&Work::pack, &Work::reopen, &Work::reopen, &Work::indexAnew};
    if (below(20) == 0) return zap();
    (this->*kKinds[below(std::size(kKinds))])();
  }

  void append() {
    step([] { __DBAPPEND(); });
    at_ = state_.rows.size();
    buffer_ = {};
    for (UInt32 field = 0; field < std::size(kFields); ++field) set(field);
    if (below(2) == 0) setNote();
    if (below(20) == 0) setMark(true);
    commit();
  }
  void change() {
    load();
    for (UInt32 sets = 1 + below(3); sets > 0; --sets) set(below(std::size(kFields)));
    if (below(3) == 0) setNote();
    commit();
  }
  void mark() {
    load();
    setMark(!buffer_.deleted);
    commit();
  }
  void seek() {
    const UInt32 order = 1 + below(std::size(kIndexes));
    const std::string key = state_.rows[below(size(state_.rows))].words[0];
    step([&] {
      if (vorne::IndexAt(area(), static_cast<int>(order) - 1) == nullptr) return;
      __TBL_SetOrder(nullptr, number(order));
      __Seek(nullptr, value(key), __INIT_BOOL(1));
    });
  }
  void pack() {
    step([] { __dbPack(); }, {[&] { std::erase_if(state_.rows, [](const Row& row) { return row.deleted; }); }});
  }
  void zap() {
    step([] { __dbZap(); }, {[&] { state_.rows.clear(); }, [&] { state_.memos.clear(); }});
  }
  void reopen() {
    step([] { closeAll(), use(); });
  }
  void indexAnew() {
    const UInt32 which = below(std::size(kIndexes));
    bool& made = state_.indexed[which];
    if (made)
      step([&] { __DBDROPINDEX(text(kIndexes[which].name)); }, {[&] { made = false; }});
    else
      step([&] { __DBCREATEINDEX(text(kIndexes[which].name), text(kIndexes[which].key)); }, {[&] { made = true; }});
  }

  void load() {
    at_ = below(size(state_.rows));
    step([&] { __TBL_GoTo(nullptr, number(static_cast<double>(at_ + 1))); });
    buffer_ = state_.rows[at_];
  }
  void set(UInt32 field) {
    const std::string words[] = {"'" + letters(below(40)) + "'", "d" + std::to_string(30000 + below(9000)),
                                 std::to_string(below(999)) + ".25", below(2) == 0 ? "T" : "F"};
    step([&] { __SetField(nullptr, text(kFields[field]), value(words[field])); });
    buffer_.words[field] = words[field];
  }
  void setMark(bool deleted) {
    step([&] { deleted ? __TBL_Delete() : __TBL_Recall(); });
    buffer_.deleted = deleted;
  }
  // A text that has a place changes there at once, except the last one.
  void setNote() {
    const std::string words = letters(1 + below(below(8) == 0 ? 20000 : 300));
    step([&] { __SetField(nullptr, number(kNote), text(words)); }, {[&] {
           const bool appends = buffer_.memo == 0 || buffer_.memo >= state_.memos.size();
           if (appends) buffer_.memo = size(state_.memos) + 1;
           state_.memos.resize(std::max<std::size_t>(buffer_.memo, state_.memos.size()));
           state_.memos[buffer_.memo - 1] = words;
         }});
  }
  void commit() {
    step([] { __Commit(); }, {[&] {
           if (at_ == state_.rows.size())
             state_.rows.push_back(buffer_);
           else if (buffer_.deleted)
             state_.rows[at_].deleted = true;
           else
             state_.rows[at_] = buffer_;
         }});
  }

  UInt32 below(UInt32 n) { return static_cast<UInt32>(random_() % n); }
  template <class Container>
  static UInt32 size(const Container& container) {
    return static_cast<UInt32>(container.size());
  }
  std::string letters(UInt32 length) {
    return std::string(length, static_cast<char>('a' + below(26))).replace(0, length / 2, length / 2, 'A');
  }

  State& state_;
  std::atomic<UInt32>& done_;
  std::mt19937 random_;
  std::vector<State>* outcomes_;
  UInt32 number_ = 0, operations_ = 0;
  Row buffer_;
  std::size_t at_ = 0;
};

std::vector<State> outcomesOf(State state, std::atomic<UInt32>& done, unsigned seed) {
  std::vector<State> outcomes;
  try {
    Work(state, done, seed, &outcomes).run();
  } catch (const Work::Judged&) {
  }
  return outcomes;
}

State readState() {
  State state;
  const vorne::Fields fields = vorne::FieldsOf(area());
  const int count = vorne::RecordCount(area());
  for (int i = 0; i < count; ++i) {
    Row row;
    __TBL_GoTo(nullptr, number(i + 1));
    for (std::size_t field = 0; field < std::size(kFields); ++field)
      row.words[field] = describe(__GetField(nullptr, text(kFields[field])));
    row.memo = vorne::MemoIn(fields[kNote - 1], area().TBL_buff);
    row.deleted = __TBL_Deleted()->objData.mbool != 0;
    state.rows.push_back(row);
  }
  // Read as a script would, from a buffer that names one text after the other.
  for (UInt32 memo = 1; memo <= DmNumRecords(area().TBL_memo); ++memo) {
    vorne::Store(area().TBL_buff + fields[kNote - 1].iOffset, memo);
    state.memos.push_back(visible(ReadMemo(0, kNote)));
  }
  for (std::size_t i = 0; i < std::size(kIndexes); ++i) state.indexed[i] = __GetIdxInd(0, kIndexes[i].name) >= 0;
  return state;
}

// Every index is in order, and has the entries of one made anew.
bool indexesFit() {
  const auto byKey = [](const std::string& a, const std::string& b) { return a.substr(4) < b.substr(4); };
  std::vector<std::vector<std::string>> kept, anew;
  const auto read = [](auto& all) {
    for (int i = 0; vorne::IndexAt(area(), i) != nullptr; ++i)
      all.push_back(records(vorne::IndexAt(area(), i)->IDX_dbRef));
  };
  read(kept);
  __Reindex();
  read(anew);
  bool fit = true;
  for (auto& entries : kept) fit = fit && std::is_sorted(entries.begin(), entries.end(), byKey);
  for (auto* all : {&kept, &anew})
    for (auto& entries : *all) std::sort(entries.begin(), entries.end());
  return fit && kept == anew;
}

// A reopening in a process of its own: the number of the outcome that it finds, as its exit status.
ChildResult reopened(const std::vector<State>& outcomes) {
  return runChild([&] {
    std::filesystem::remove("saida.txt");
    use();
    const State found = readState();
    const bool fit = indexesFit();
    closeAll();
    const std::string log = readFile("saida.txt");
    const auto outcome = std::find(outcomes.begin(), outcomes.end(), found);
    const vorne::DirectoryReport report = vorne::CheckDirectory(".");
    std::printf("found %zu records, %zu texts\n%s%s", found.rows.size(), found.memos.size(), log.c_str(),
                words(report).c_str());
    for (const State& wanted : outcomes)
      std::printf("possible: %zu records, %zu texts\n", wanted.rows.size(), wanted.memos.size());
    std::fflush(stdout);
    // Of a large table only some keys are looked at: what an opening finds by its keys alone it might have missed.
    const bool marked = log.find("chaves") == std::string::npos;
    _exit(!fit ? 97 : !marked ? 98 : !report.sound ? 99 : static_cast<int>(outcome - outcomes.begin()));
  });
}

class Killing : public KillRounds {
 public:
  explicit Killing(unsigned seed) : KillRounds(seed, {600, 300, 30000}) {
    runChild([] {
      __BeginGlobal();
      __DBCREATE(text("T"), value(kStructure));
      use();
      for (const Index& index : kIndexes) makeIndex(index.name, index.key);
      closeAll();
    });
    std::fill(std::begin(state_.indexed), std::end(state_.indexed), true);
  }

 private:
  void work(const Ahead& ahead) override {
    Work load(state_, done_, seed_);
    load.ahead = ahead;
    load.run();
  }
  void open() override { use(); }
  bool judge(bool ended, std::mt19937&) override {
    const std::vector<State> outcomes = outcomesOf(state_, done_, seed_);
    const ChildResult result = reopened(outcomes);
    const bool is =
        (ended || outcomes.size() == 1) && result.status >= 0 && result.status < static_cast<int>(outcomes.size());
    if (is) state_ = outcomes[static_cast<std::size_t>(result.status)];
    if (!is)
      std::printf("seed %u, %u calls done, status %d:\n%s\n", seed_, done_.load(), result.status,
                  result.output.c_str());
    done_ = 0;
    return is;
  }

  std::atomic<UInt32>& done_ = shared<std::atomic<UInt32>>();
  State state_;
};

}  // namespace

int main(int argc, char** argv) {
  const ScratchDirectory directory;
  return Killing(option(argc, argv, "--seed", 1)).run(option(argc, argv, "--kills", kSlow ? 60 : 300));
}
