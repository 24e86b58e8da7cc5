// Sorting elements.
//
// The order among rows with equal keys is part of what programs have come to rely on. It follows from how the sort has
// always gone: in passes from the front, each element exchanging places with the last of the smaller ones that follow
// it at once, until a pass moves nothing. Where no two rows can be told apart by it, any sort gives the same result,
// and a fast one is taken.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

#include "runtime/array_elements.h"
#include "runtime/array_search.h"
#include "runtime/memory.h"

using namespace vorne;

namespace {

// Comparisons of whole numbers that the passes may take, about a fifth of a second. Beyond them (passes over many rows
// can take hours) rows with equal keys stay in the order in which they were.
constexpr long kMostSteps = 100'000'000;

struct Sorting {
  bool ascending;
  int column;

  Obj_Node* key(Obj_Node* element) const { return KeyOf(element, column); }

  /// Rows without the column stay where they are.
  bool outOfOrder(const Obj_Node* x, const Obj_Node* y) const {
    if (x == nullptr || y == nullptr) return false;
    const int c = ascending ? __Comp(const_cast<Obj_Node*>(x), const_cast<Obj_Node*>(y))
                            : __Comp(const_cast<Obj_Node*>(y), const_cast<Obj_Node*>(x));
    // Logicals compare as different, not as greater: here true comes after false, so that the passes end.
    if (IsLogical(x)) return ascending && IsTrue(x) && !IsTrue(y);
    return c > 0;
  }
};

/// The passes over places 0 to `count` - 1; false when they would take more than `steps` comparisons.
template <class OutOfOrder, class Exchange>
bool sortInPasses(std::size_t count, long steps, OutOfOrder outOfOrder, Exchange exchange) {
  for (bool moved = true; moved;) {
    moved = false;
    for (std::size_t at = 0; at + 1 < count; ++at) {
      std::size_t ahead = at + 1;
      while (ahead < count && outOfOrder(at, ahead)) ++ahead;
      steps -= static_cast<long>(ahead - at);
      if (steps < 0) return false;
      if (ahead == at + 1) continue;
      exchange(at, ahead - 1);
      moved = true;
    }
  }
  return true;
}

/// Gives a text that moved into a longer place the room that the place's length field promises.
void fitText(Obj_Node* n, std::size_t room) {
  if (!HasText(n) || n->objLength <= 0 || static_cast<std::size_t>(n->objLength) < room) return;
  auto* grown = static_cast<char*>(Allocate(static_cast<std::size_t>(n->objLength) + 1));
  std::memcpy(grown, n->objData.mbuff, room);
  Release(std::exchange(n->objData.mbuff, grown));
}

// Elements that compare with each other, one behind the other in the chain.
using Run = std::vector<Obj_Node*>;

/// True when all are rows, or all values of one type: then only their data moves.
bool isUniform(const Run& run) {
  return std::all_of(run.begin(), run.end(), [&](const Obj_Node* n) { return n->objVarType == run[0]->objVarType; });
}

/// Puts the data of element `order[i]` in place i.
void arrange(const Run& run, const std::vector<int>& order) {
  struct Moved {
    ObjData data;
    std::size_t room;
  };
  std::vector<Moved> moved;
  moved.reserve(run.size());
  for (const int from : order) {
    const Obj_Node* element = run[static_cast<std::size_t>(from)];
    moved.push_back({element->objData, HasText(element) ? TextRoom(element) : 0});
  }
  for (std::size_t i = 0; i < run.size(); ++i) run[i]->objData = moved[i].data;
  for (std::size_t i = 0; i < run.size(); ++i) fitText(run[i], moved[i].room);
}

void sortRun(const Run& run, const Sorting& sorting) {
  if (run.size() < 2) return;
  std::vector<const Obj_Node*> keys;
  keys.reserve(run.size());
  for (Obj_Node* element : run) keys.push_back(sorting.key(element));
  // The order of comparing is free, what cannot be compared is refused in any.
  for (std::size_t i = 1; i < keys.size(); ++i) sorting.outOfOrder(keys[i - 1], keys[i]);
  if (!isUniform(run)) {
    const auto now = [&](std::size_t i) { return sorting.key(run[i]); };
    sortInPasses(
        run.size(), std::numeric_limits<long>::max(),
        [&](std::size_t a, std::size_t b) { return sorting.outOfOrder(now(a), now(b)); },
        [&](std::size_t a, std::size_t b) { __SwapElements(run[a], run[b]); });
    return;
  }

  const auto less = [&](int a, int b) {
    return sorting.outOfOrder(keys[static_cast<std::size_t>(b)], keys[static_cast<std::size_t>(a)]);
  };
  std::vector<int> order(run.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), less);
  // The element's place in the sorted order, the same for equals: the passes compare numbers instead of values.
  std::vector<int> rank(run.size());
  bool equals = false;
  for (std::size_t i = 1; i < order.size(); ++i) {
    const bool greater = less(order[i - 1], order[i]);
    equals |= !greater;
    rank[static_cast<std::size_t>(order[i])] = rank[static_cast<std::size_t>(order[i - 1])] + greater;
  }
  if (equals && IsElementWithArray(run[0])) {
    std::vector<int> places(run.size());
    std::iota(places.begin(), places.end(), 0);
    const bool ended = sortInPasses(
        run.size(), kMostSteps, [&](std::size_t a, std::size_t b) { return rank[a] > rank[b]; },
        [&](std::size_t a, std::size_t b) {
          std::swap(rank[a], rank[b]);
          std::swap(places[a], places[b]);
        });
    if (ended) order = places;
  }
  arrange(run, order);
}

/// Nothing passes over a row without the column or a number that is none.
bool isBarrier(const Obj_Node* key) {
  return key == nullptr || (key->objVarType == varNumber && std::isnan(key->objData.mdbl));
}

}  // namespace

void __SwapElements(Obj_Node* a, Obj_Node* b) {
  if (a == nullptr || b == nullptr) ArgumentError();
  const std::size_t roomA = HasText(a) ? TextRoom(a) : 0;
  const std::size_t roomB = HasText(b) ? TextRoom(b) : 0;
  // Only the data moves: types and length fields belong to the positions. A row and a scalar cannot trade data alone.
  std::swap(a->objData, b->objData);
  if (a->objVarType != b->objVarType) {
    std::swap(a->objVarType, b->objVarType);
    std::swap(a->objLength, b->objLength);
    return;
  }
  fitText(a, roomB);
  fitText(b, roomA);
}

Obj_Node* __ASORT(Obj_Node* a, Obj_Node* start, Obj_Node* count, Obj_Node* ascending, Obj_Node* column) {
  const Arrays& header = HeaderOrFail(a);
  const int end = EndPosition(count, header.amntItens);
  const int from = StartIndex(start);
  if (end < 2 || from >= end) return a;
  const Sorting sorting{!IsLogical(ascending) || IsTrue(ascending), ColumnIndex(column)};
  Run run;
  const Obj_Node* before = nullptr;
  Obj_Node* element = Element(header, from);
  for (int i = from; i < end; ++i, element = element->objpNext) {
    const Obj_Node* key = sorting.key(element);
    // Neighbours meet, whether or not anything moves.
    if (i > from) sorting.outOfOrder(before, key);
    before = key;
    if (!isBarrier(key)) {
      run.push_back(element);
      continue;
    }
    sortRun(run, sorting);
    run.clear();
  }
  sortRun(run, sorting);
  return a;
}
