// Random calls on a table, made in two areas of the store and followed in SQLite, must come to the same: contents,
// record numbers, flags, places in an order.
//   tables_model [--steps 5000] [--seed 1]
#include <random>

#include "runtime/values.h"
#include "storage/tables/areas.h"
#include "support/sqlite.h"
#include "support/store_load.h"

using namespace vorne;

namespace {

using Strings = std::vector<std::string>;

constexpr char kStructure[] = "{{'NAME','C',8,0},{'BORN','D',8,0},{'PRICE','N',8,2},{'VIP','L',1,0},{'NOTE','M',4,0}}";
constexpr const char* kFields[] = {"NAME", "BORN", "PRICE", "VIP", "NOTE"};
constexpr int kFieldCount = 4, kMostRows = 50;
#define NAME "printf('%-8.8s', name)"
#define BORN "CASE born WHEN 0 THEN '00000000' ELSE strftime('%Y%m%d', born + 2415018.5) END"
#define PRICE "substr(printf('%8.2f', price), 1, 8)"
const std::map<std::string, std::array<const char*, 2>> kKeys = {{"BYNAME", {"name+DTOS(born)", NAME "||" BORN}},
                                                                 {"BYPRICE", {"STR(price,8,2)+name", PRICE "||" NAME}}};

class Sql : public Sqlite {
 public:
  Sql() {
    run("CREATE TABLE r(place INTEGER PRIMARY KEY, name TEXT, born INT, price REAL, vip TEXT, memo INT, deleted INT)");
    run("CREATE TABLE m(number INTEGER PRIMARY KEY, words TEXT)");
  }
  int count(const std::string& sql, const Strings& arguments = {}) { return std::stoi(run(sql, arguments).at(0)[0]); }
};

struct Row {
  Strings values = {"", "0", "0.0", "F"};
  int memo = 0;
  bool deleted = false;
};

// An area, as the model has it.
struct Area {
  const char* alias;
  bool open = false, eof = false, bof = false, found = false, append = false, changed = false;
  int place = 0;    // of the record loaded last
  int record = -1;  // the same, -1 while none is found
  std::string order = {};
  std::map<std::string, int> inOrder = {};  // the place in each index
  Row buffer = {};
};

class Model {
 public:
  Sql sql;
  Area areas[2] = {{"T"}, {"B"}};
  bool hides = false, differs = false;

  int count() { return sql.count("SELECT count(*) FROM r"); }
  int memos() { return sql.count("SELECT count(*) FROM m"); }

  /// The records in an order as the store has them, which must be one that SQLite could have.
  std::vector<int> order(const std::string& index) {
    const auto rows = sql.run(std::string("SELECT ") + kKeys.at(index)[1] + " AS key, place FROM r ORDER BY key");
    const Strings entries = records(IndexAt(*AreaAt(0), __GetIdxInd(0, index.c_str()))->IDX_dbRef);
    std::map<int, std::string> keys;
    for (const Strings& row : rows) keys[std::stoi(row[1])] = row[0];
    differs |= entries.size() != rows.size();
    std::vector<int> order;
    for (std::size_t i = 0; !differs && i < entries.size(); ++i) {
      order.push_back(Load<std::int32_t>(entries[i].data()));
      const auto key = keys.extract(order[i]);  // each record once
      differs = key.empty() || key.mapped() != rows[i][0] || entries[i].substr(4) != rows[i][0];
    }
    if (differs) std::printf("the entries of %s do not fit the records\n", index.c_str());
    order.resize(rows.size());
    return order;
  }

  bool load(Area& a, int place) {
    const auto rows =
        sql.run("SELECT name, born, price, vip, memo, deleted FROM r WHERE place = ?", {std::to_string(place)});
    if (rows.empty()) return false;
    a.buffer = {{rows[0].begin(), rows[0].begin() + kFieldCount}, std::stoi(rows[0][4]), rows[0][5] == "1"};
    a.place = a.record = place;
    a.eof = a.bof = a.changed = a.append = false;
    return true;
  }
  void stop(Area& a, bool eof, bool bof) {
    a.found = false;
    a.eof = eof;
    a.bof = bof;
    a.record = -1;
    a.buffer = {};
  }
  Strings keys(int place) {
    Strings keys;
    for (const auto& [index, key] : kKeys)
      for (const Strings& row :
           sql.run(std::string("SELECT ") + key[1] + " FROM r WHERE place = ?", {std::to_string(place)}))
        if (__GetIdxInd(0, index.c_str()) >= 0) keys.push_back(row[0]);
    return keys;
  }
  // Where a walk stands in the orders is found out again when entries have moved.
  void forgetPlaces(Area& a) {
    for (auto& place : a.inOrder) place.second = -1;
  }
  void write(Area& a) {
    const bool changed = std::exchange(a.changed, false);
    if (!changed || (!a.append && (a.record < 0 || a.place >= count()))) return;
    if (a.append) a.place = count();
    const Strings before = keys(a.place);
    if (!a.append && a.buffer.deleted) {
      sql.run("UPDATE r SET deleted = 1 WHERE place = ?", {std::to_string(a.place)});
    } else {
      Strings values = {std::to_string(a.place)};
      values.insert(values.end(), a.buffer.values.begin(), a.buffer.values.end());
      values.insert(values.end(), {std::to_string(a.buffer.memo), a.buffer.deleted ? "1" : "0"});
      sql.run("INSERT OR REPLACE INTO r VALUES(?, ?, ?, ?, ?, ?, ?)", values);
    }
    if (keys(a.place) != before)
      for (Area& any : areas) forgetPlaces(any);
    a.record = a.place;
    a.append = a.eof = a.bof = false;
  }
  void go(Area& a, int place, bool through, int direction) {
    write(a);
    const int all = count();
    if (place < 0 && all > 0) return go(a, 0, true, 1), static_cast<void>(a.bof = true);
    if (all == 0 || place >= all) return stop(a, true, true);
    const std::vector<int> records = through && !a.order.empty() ? order(a.order) : std::vector<int>();
    a.found = false;
    for (; place >= 0 && place < all; place += direction) {
      if (!a.order.empty()) a.inOrder[a.order] = place;
      if (!load(a, records.empty() ? place : records[place])) return stop(a, true, true);
      if (direction == 0 || !hides || !a.buffer.deleted) return;
    }
    stop(a, direction > 0, direction < 0);
  }
  void resync(Area& a) {
    if (a.order.empty()) return;
    const std::vector<int> records = order(a.order);
    const auto at = std::find(records.begin(), records.end(), a.record);
    a.inOrder[a.order] = a.record < 0 || at == records.end() ? -1 : static_cast<int>(at - records.begin());
  }
  void seek(Area& a, const std::string& key, bool soft) {
    write(a);
    a.found = false;
    if (count() == 0) return static_cast<void>(a.eof = a.bof = true);
    const std::string start = std::string("substr(") + kKeys.at(a.order)[1] + ", 1, length(?1))";
    const auto where = [&](const char* than) {
      return sql.count("SELECT count(*) FROM r WHERE " + start + than + "?1", {key});
    };
    const int first = where(" < "), behind = where(" <= ");
    const std::vector<int> records = order(a.order);
    int& place = a.inOrder[a.order] = -1;
    if (first == behind && (!soft || behind >= count())) return stop(a, true, false);
    place = first;
    load(a, records[place]);
    a.found = first < behind;
    if (!hides || !a.buffer.deleted) return;
    for (int i = first; i < count(); ++i) {
      if (i < behind) place = i;
      load(a, records[i]);
      if (!a.buffer.deleted && i < behind) return;
      if (!a.buffer.deleted || (i >= behind && !soft)) break;
    }
    stop(a, !soft, false);
  }
  void setNote(Area& a, const std::string& words) {
    if (a.buffer.memo == 0 || a.buffer.memo >= memos()) a.buffer.memo = memos() + 1;
    sql.run("INSERT OR REPLACE INTO m VALUES(?, ?)", {std::to_string(a.buffer.memo), words});
    a.changed = true;
  }
  // Edits that wait are written first; every area stays on its record, or stands on none.
  void remove(const char* which) {
    for (Area& any : areas) write(any);
    sql.run(std::string("DELETE FROM r WHERE ") + which);
    std::map<int, int> places;
    for (const Strings& row : sql.run("SELECT place FROM r ORDER BY place"))
      places.emplace(std::stoi(row[0]), static_cast<int>(places.size()));
    for (const auto& [from, to] : places)
      sql.run("UPDATE r SET place = ? WHERE place = ?", {std::to_string(to), std::to_string(from)});
    for (Area& any : areas) {
      forgetPlaces(any);
      if (any.record < 0) continue;
      const auto now = places.find(any.record);
      if (now == places.end())
        stop(any, true, true);
      else
        any.place = any.record = now->second;
    }
  }
  std::string note(const Area& a) {
    const auto rows = sql.run("SELECT words FROM m WHERE number = ?", {std::to_string(a.buffer.memo)});
    return rows.empty() ? "" : rows[0][0];
  }
};

class Runs {
 public:
  explicit Runs(unsigned seed) : random_(seed) {
    __BeginGlobal();
    __DBCREATE(text("T"), value(kStructure));
    open(model_.areas[0]);
  }
  ~Runs() {
    __dbCloseAll();
    CloseCatalog();
    __EndGlobal();
  }
  Runs(const Runs&) = delete;
  Runs& operator=(const Runs&) = delete;

  /// False when the two differ.
  bool step() {
    using R = Runs;
    static constexpr struct {
      const char* name;
      UInt32 weight;
      void (R::*make)(Area&);
    } kCalls[] = {{"append", 6, &R::append}, {"set", 14, &R::set},       {"note", 4, &R::note},
                  {"mark", 4, &R::mark},     {"commit", 4, &R::commit},  {"abort", 2, &R::abort},
                  {"skip", 14, &R::skip},    {"top", 3, &R::top},        {"bottom", 3, &R::bottom},
                  {"goto", 5, &R::go},       {"order", 4, &R::setOrder}, {"seek", 10, &R::seek},
                  {"hide", 1, &R::hide},     {"pack", 1, &R::pack},      {"index", 2, &R::index},
                  {"reopen", 1, &R::reopen}, {"second", 1, &R::second},  {"zap or walk", 1, &R::walkOrZap}};
    UInt32 chosen = below(80);
    const auto* call = kCalls;
    while (chosen >= call->weight) chosen -= call++->weight;
    Area& a = model_.areas[model_.areas[1].open && below(2) == 0];
    log_ += std::string("\n") + call->name + " " + a.alias;
    if (log_.size() > 300) log_.erase(0, log_.find('\n', 1));
    (this->*call->make)(a);
    return !model_.differs && same(model_.areas[0]) && same(model_.areas[1]);
  }
  const std::string& lastCalls() const { return log_; }

 private:
  UInt32 below(UInt32 n) { return static_cast<UInt32>(random_() % n); }
  static Obj_Node* alias(const Area& a) { return text(a.alias); }

  std::string found(const Area& a) {
    std::string all;
    for (const char* field : kFields) all += describe(__GetField(alias(a), text(field))) + " ";
    for (const auto query :
         {__TBL_RecNo, __TBL_RecCount, __TBL_Eof, __TBL_Bof, __TBL_Found, __TBL_Deleted, __TBL_INDEX_POS})
      all += describe(query(alias(a))) + " ";
    return all;
  }
  std::string expected(Area& a) {
    const auto flag = [](bool is) { return is ? "T " : "F "; };
    const auto number = [](const std::string& digits) { return describe(__INIT_DOUBLE(std::stod(digits))) + " "; };
    const Strings& values = a.buffer.values;
    const int record = a.append || a.record < 0 ? model_.count() : a.place;
    return "'" + values[0] + "' d" + number(values[1]) + number(values[2]) + values[3] + " '" + model_.note(a) + "' " +
           std::to_string(record + 1) + " " + std::to_string(model_.count()) + " " + flag(a.eof) + flag(a.bof) +
           flag(a.found) + flag(a.buffer.deleted) + std::to_string(a.order.empty() ? 0 : a.inOrder[a.order] + 1) + " ";
  }
  bool same(Area& a) {
    if (!a.open) return true;
    const std::string is = found(a), should = expected(a);
    if (is == should) return true;
    std::printf("area %s, order %s:\n  %s\nshould be\n  %s\n", a.alias, a.order.c_str(), is.c_str(), should.c_str());
    return false;
  }
  void open(Area& a) {
    __DBUSEAREA(__INIT_BOOL(1), nullptr, text("T"), alias(a));
    a = {a.alias, true};
    for (const auto& index : kKeys) a.inOrder[index.first] = -1;
    model_.go(a, 0, false, 1);
  }
  void append(Area& a) {
    if (model_.count() > kMostRows) return mark(a);
    __DBAPPEND(alias(a));
    model_.write(a);
    a.buffer = {};
    a.append = a.changed = true;
    a.eof = a.bof = a.found = false;
  }
  // Few different ones, so that keys are equal and notes are met again.
  std::string letters() {
    static constexpr const char* kWords[] = {"", "A", "AB", "\xC9Z", "b", "A B", "ABCDEFGH", "\xE3"};
    return kWords[below(std::size(kWords))];
  }
  void set(Area& a) {
    const UInt32 field = below(kFieldCount);
    const std::string name = letters() + letters();
    const std::string numbers[] = {"0", "100.25", "-7.5", "123456.25", std::to_string(below(50)) + ".0"};
    const std::string words[] = {name, below(4) == 0 ? "0" : std::to_string(38000 + below(99)),
                                 numbers[below(std::size(numbers))], below(2) == 0 ? "T" : "F"};
    static constexpr const char* kQuotes[][2] = {{"'", "'"}, {"d", ""}, {"", ""}, {"", ""}};
    __SetField(alias(a), text(kFields[field]), value(kQuotes[field][0] + words[field] + kQuotes[field][1]));
    a.buffer.values[field] = field == 0 ? words[field].substr(0, 8) : words[field];
    a.changed = true;
  }
  void note(Area& a) {
    const std::string words = letters() + std::string(below(50), 'x');
    __SetField(alias(a), text("NOTE"), text(words));
    model_.setNote(a, words);
  }
  void mark(Area& a) {
    a.buffer.deleted = below(3) != 0;
    (a.buffer.deleted ? __TBL_Delete : __TBL_Recall)(alias(a));
    a.changed = true;
  }
  void commit(Area& a) {
    __Commit(alias(a));
    model_.write(a);
  }
  void abort(Area& a) {
    __AbortEdit(alias(a));
    a.append = a.changed = false;
    if (a.record < 0 || !model_.load(a, a.record)) model_.stop(a, true, true);
  }
  void skip(Area& a) { skipBy(a, below(4) == 0 ? static_cast<int>(below(21)) - 10 : below(2) == 0 ? 1 : -1); }
  void skipBy(Area& a, int n) {
    __TBL_Skip(alias(a), number(n));
    model_.write(a);
    if (a.record >= 0 && a.inOrder[a.order] < 0) model_.resync(a);
    model_.go(a, (a.order.empty() ? a.place : a.inOrder[a.order]) + n, true, (n > 0) - (n < 0));
  }
  void top(Area& a) {
    __TBL_GoTop(alias(a));
    model_.go(a, 0, true, 1);
    model_.resync(a);
  }
  void bottom(Area& a) {
    __TBL_GoBottom(alias(a));
    model_.write(a);
    model_.go(a, std::max(model_.count() - 1, 0), true, -1);
    model_.resync(a);
  }
  void go(Area& a) {
    const int n = static_cast<int>(below(static_cast<UInt32>(model_.count()) + 4)) - 1;
    const bool through = below(2) == 0;
    (through ? __TBL_GoToI : __TBL_GoTo)(alias(a), number(n));
    model_.go(a, n - 1, through, 0);
  }
  void setOrder(Area& a) {
    const auto chosen = std::next(kKeys.begin(), below(2))->first;
    a.order = __GetIdxInd(0, chosen.c_str()) < 0 || below(4) == 0 ? "" : chosen;
    __TBL_SetOrder(alias(a), text(a.order.empty() ? "INVALID_INDEX" : a.order));
    model_.resync(a);
  }
  void seek(Area& a) {
    if (a.order.empty()) return setOrder(a);
    std::string key = letters() + letters();
    const auto rows = model_.sql.run(std::string("SELECT ") + kKeys.at(a.order)[1] + " FROM r");
    if (!rows.empty() && below(4) != 0) key = rows[below(static_cast<UInt32>(rows.size()))][0];
    if (below(2) == 0) key.resize(below(static_cast<UInt32>(key.size()) + 1));
    const bool soft = below(2) == 0;
    __Seek(alias(a), text(below(8) == 0 && key.size() == 16 ? key + "more" : key), __INIT_BOOL(soft));
    model_.seek(a, key, soft);
  }
  void hide(Area&) {
    model_.hides = !model_.hides;
    __Set(number(11), __INIT_BOOL(model_.hides));
  }
  void pack(Area& a) {
    __dbPack(alias(a));
    model_.remove("deleted");
    model_.go(a, 0, true, 1);
  }
  void walkOrZap(Area& a) {
    if (below(8) != 0) {
      top(a);
      while (!a.eof && !model_.differs && same(a)) skipBy(a, 1);
      return;
    }
    __dbZap(alias(a));
    for (Area& any : model_.areas) model_.write(any);
    if (model_.count() == 0) return;
    model_.remove("true");
    model_.sql.run("DELETE FROM m");
    model_.go(a, 0, true, 1);
  }
  void index(Area& a) {
    const auto& [name, key] = *std::next(kKeys.begin(), below(2));
    const bool drops = __GetIdxInd(0, name.c_str()) >= 0;
    if (drops) {
      __DBDROPINDEX(text(name), alias(a));
    } else {
      model_.write(a);
      __DBCREATEINDEX(text(name), text(key[0]), alias(a));
    }
    for (Area& any : model_.areas) {
      any.inOrder[name] = -1;
      if (drops && any.order == name) any.order = "";
    }
    if (!drops) a.order = name, model_.resync(a);
  }
  void reopen(Area&) {
    for (Area& any : model_.areas) model_.write(any), any.open = false;
    __dbCloseAll();
    if (below(2) == 0) CloseCatalog();
    open(model_.areas[0]);
  }
  void second(Area&) {
    Area& b = model_.areas[1];
    if (!b.open) return open(b);
    __DB_CloseArea(alias(b));
    model_.write(b);
    b.open = false;
  }

  std::mt19937 random_;
  Model model_;
  std::string log_;
};

}  // namespace

int main(int argc, char** argv) {
  EndGuard::arm();
  const ScratchDirectory directory;
  const unsigned steps = load::option(argc, argv, "--steps", 5000), seed = load::option(argc, argv, "--seed", 1);
  Runs runs(seed);
  for (unsigned step = 0; step < steps; ++step) {
    if (runs.step()) continue;
    std::printf("seed %u, step %u, after%s\n", seed, step, runs.lastCalls().c_str());
    EndGuard::disarm();
    return 1;
  }
  EndGuard::disarm();
  std::printf("%u steps, the same as SQLite\n", steps);
  return 0;
}
