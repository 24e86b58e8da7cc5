// The planner asks with a set of conditions and a wished order, possibly several times; each plan is weighed by the
// records that it is likely to read. A plan travels to the cursor as one number.
#include "plan.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>

#include "text/text.h"

namespace vornetab {
namespace {

using vorne::CellType;
using vorne::TableField;

// Costs in the time of one record in a scan. Records in the order of an index lie anywhere in the file.
constexpr double kRecordByIndex = 1.5;
constexpr double kSearch = 10;
// Nothing counts how often a value occurs.
constexpr double kEqualRecords = 10, kPartAboveBound = 0.25, kPartBetweenBounds = 0.05, kPartOfLogical = 0.5;

// What the number has room for: 8 bits and 15.
constexpr unsigned kMostSortedFields = 255, kMostIndexes = 0x7FFF;

// The places of the conditions, in the query's list, that a plan uses; -1 none.
struct Conditions {
  int exact = -1, least = -1, most = -1;
  bool any() const { return exact >= 0 || least >= 0 || most >= 0; }
};

struct Choice {
  Plan plan;
  Conditions conditions;
  double rows = 1, cost = 1;
  bool isOrdered = false;
};

class Chooser {
 public:
  Chooser(vorne::TableReader& reader, sqlite3_index_info& info)
      : reader_(reader), info_(info), count_(std::max(1.0, static_cast<double>(reader.count()))) {}

  Choice best() {
    if (const Conditions number = conditionsOn(kRecnoColumn, false); number.exact >= 0) return byRecord(number);
    Choice choice = scan();
    const std::size_t indexes = std::min<std::size_t>(reader_.indexes().size(), kMostIndexes);
    for (std::size_t i = 0; i < indexes; ++i)
      if (const std::optional<Choice> other = byIndex(i); other && total(*other) < total(choice)) choice = *other;
    return choice;
  }

 private:
  static int columnOf(std::uint32_t field) { return static_cast<int>(field) + kFirstField; }
  static bool isRecno(int column) { return column < 0 || column == kRecnoColumn; }

  // SQLite tells in one bit about all columns from the 64th on.
  bool names(std::size_t column) const { return (info_.colUsed >> std::min<std::size_t>(column, 63) & 1) != 0; }

  Choice common() const {
    Choice choice;
    choice.plan.deleted = names(kDeletedColumn);
    for (std::size_t i = 0; i < reader_.fields().size(); ++i)
      choice.plan.memos |= reader_.fields()[i].type == CellType::kMemo && names(i + kFirstField);
    return choice;
  }

  Choice scan() const {
    Choice choice = common();
    choice.rows = choice.cost = count_;
    choice.isOrdered = wantsRecordOrder();
    return choice;
  }

  Choice byRecord(const Conditions& conditions) const {
    Choice choice = common();
    choice.plan.access = Access::kRecord;
    choice.plan.exact = true;
    choice.conditions = conditions;
    choice.isOrdered = true;
    return choice;
  }

  std::optional<Choice> byIndex(std::size_t number) const {
    const std::vector<std::uint32_t>& key = reader_.indexes()[number].fields;
    Choice choice = common();
    const CellType type = reader_.fields()[key.front()].type;
    choice.conditions = conditionsOn(columnOf(key.front()), type != CellType::kLogical);
    choice.plan.sortedFields = servedOrder(key);
    if (!choice.conditions.any() && choice.plan.sortedFields == 0) return {};
    choice.plan.access = Access::kIndex;
    choice.plan.index = static_cast<unsigned>(number);
    choice.plan.exact = choice.conditions.exact >= 0;
    choice.plan.least = choice.conditions.least >= 0;
    choice.plan.most = choice.conditions.most >= 0;
    choice.plan.descending = choice.plan.sortedFields > 0 && info_.aOrderBy[0].desc != 0;
    choice.isOrdered = choice.plan.sortedFields > 0 || wantsRecordOrder();
    choice.rows = expectedRows(choice.conditions, type);
    choice.cost = kSearch + choice.rows * kRecordByIndex;
    return choice;
  }

  double expectedRows(const Conditions& conditions, CellType type) const {
    if (conditions.exact >= 0)
      return type == CellType::kLogical ? count_ * kPartOfLogical : std::min(count_, kEqualRecords);
    if (conditions.least >= 0 && conditions.most >= 0) return std::max(1.0, count_ * kPartBetweenBounds);
    return conditions.any() ? std::max(1.0, count_ * kPartAboveBound) : count_;
  }

  // A sort that is left to SQLite has its price.
  double total(const Choice& choice) const {
    return choice.cost + (info_.nOrderBy == 0 || choice.isOrdered ? 0 : choice.rows * std::log2(choice.rows + 1) / 4);
  }

  Conditions conditionsOn(int column, bool ranges) const {
    Conditions found;
    for (int i = 0; i < info_.nConstraint; ++i) {
      const auto& condition = info_.aConstraint[i];
      const bool isMeant = isRecno(column) ? isRecno(condition.iColumn) : condition.iColumn == column;
      if (!isMeant || condition.usable == 0 || !comparesBytes(i)) continue;
      if (condition.op == SQLITE_INDEX_CONSTRAINT_EQ)
        found.exact = i;
      else if (ranges && (condition.op == SQLITE_INDEX_CONSTRAINT_GT || condition.op == SQLITE_INDEX_CONSTRAINT_GE))
        found.least = i;
      else if (ranges && (condition.op == SQLITE_INDEX_CONSTRAINT_LT || condition.op == SQLITE_INDEX_CONSTRAINT_LE))
        found.most = i;
    }
    // One value is enough; SQLite looks at the others itself.
    if (found.exact >= 0) found.least = found.most = -1;
    return found;
  }

  // Keys know nothing of capital and small letters being equal.
  bool comparesBytes(int condition) const {
    return std::strcmp(sqlite3_vtab_collation(&info_, condition), "BINARY") == 0;
  }

  bool wantsRecordOrder() const {
    return info_.nOrderBy == 1 && isRecno(info_.aOrderBy[0].iColumn) && info_.aOrderBy[0].desc == 0;
  }

  // How many of the key's fields make up the order that the query wants; 0 when the index cannot serve it. Numbers are
  // rounded in keys, and the negative ones do not stand before the others.
  unsigned servedOrder(const std::vector<std::uint32_t>& key) const {
    const auto wanted = static_cast<std::size_t>(info_.nOrderBy);
    if (wanted == 0 || wanted > key.size() || wanted > kMostSortedFields) return 0;
    for (std::size_t i = 0; i < wanted; ++i) {
      const auto& term = info_.aOrderBy[i];
      if (term.iColumn != columnOf(key[i]) || term.desc != info_.aOrderBy[0].desc) return 0;
      if (reader_.fields()[key[i]].type == CellType::kNumber) return 0;
    }
    return static_cast<unsigned>(wanted);
  }

  vorne::TableReader& reader_;
  sqlite3_index_info& info_;
  double count_;
};

void ask(sqlite3_index_info& info, int condition, int& arguments) {
  if (condition >= 0) info.aConstraintUsage[condition].argvIndex = ++arguments;
}

}  // namespace

int Plan::number() const {
  return static_cast<int>(access) | memos << 2 | deleted << 3 | descending << 4 | exact << 5 | least << 6 | most << 7 |
         static_cast<int>(sortedFields << 8 | index << 16);
}

Plan Plan::fromNumber(int number) {
  const auto bits = static_cast<unsigned>(number);
  const auto bit = [bits](int place) { return (bits >> place & 1) != 0; };
  return {static_cast<Access>(bits & 3), bit(2), bit(3), bit(4), bit(5), bit(6), bit(7), bits >> 8 & 0xFF, bits >> 16};
}

int choosePlan(vorne::TableReader& reader, sqlite3_index_info* info) {
  const Choice choice = Chooser(reader, *info).best();
  int arguments = 0;
  for (const int condition : {choice.conditions.exact, choice.conditions.least, choice.conditions.most})
    ask(*info, condition, arguments);
  info->idxNum = choice.plan.number();
  info->estimatedCost = choice.cost;
  info->estimatedRows = static_cast<sqlite3_int64>(choice.rows);
  info->orderByConsumed = choice.isOrdered && info->nOrderBy > 0;
  if (choice.plan.access == Access::kRecord) info->idxFlags = SQLITE_INDEX_SCAN_UNIQUE;
  if (choice.plan.access != Access::kIndex) return SQLITE_OK;
  // Shown by EXPLAIN QUERY PLAN.
  info->idxStr = sqlite3_mprintf("%s", tool::utf8FromLatin1(reader.indexes()[choice.plan.index].name).c_str());
  info->needToFreeIdxStr = 1;
  return info->idxStr == nullptr ? SQLITE_NOMEM : SQLITE_OK;
}

}  // namespace vornetab
