// Random scripts: functions that call each other, assign, share arrays and take variables by reference, each step
// compared with values that are counted by the language itself.
#include <algorithm>
#include <memory>
#include <random>
#include <utility>

#include "values.h"

namespace {

struct Value;
using Items = std::vector<Value>;
struct Value {
  std::string scalar = "NIL";
  std::shared_ptr<Items> items;  // shared by all that name the array
};

std::string shown(const Value& v) {
  if (v.items == nullptr) return v.scalar;
  std::string text = "{";
  for (const Value& item : *v.items) text += (text.size() > 1 ? "," : "") + shown(item);
  return text + "}";
}

/// Whether an array is `sought` or holds it anywhere below.
bool reaches(const Value& from, const std::shared_ptr<Items>& sought) {
  if (from.items == nullptr) return false;
  return from.items == sought ||
         std::any_of(from.items->begin(), from.items->end(), [&](const Value& item) { return reaches(item, sought); });
}

struct Slot {
  Obj_Node* node = nullptr;
  Value model;
};

class ScriptModel : public RingTest {
 protected:
  int pick(int below) { return std::uniform_int_distribution<int>(0, below - 1)(random); }

  void assign(Slot& to, Obj_Node* node, const Value& v) {
    const bool move = to.model.items != nullptr && v.items != nullptr && to.model.items != v.items;
    if (move && reaches(v, to.model.items)) return;
    to.node = __SET_OBJECT(__ByRef(&to.node), node);
    if (move) {
      const Items moved = std::exchange(*v.items, {});
      *to.model.items = moved;
    } else {
      to.model = v;
    }
  }
  void make(Slot& to) {
    Value v;
    if (const int size = pick(5); size < 3) {
      v.items = std::make_shared<Items>();
      for (int i = 0; i < size; ++i) v.items->push_back({std::to_string(pick(100)), nullptr});
    } else {
      v.scalar = "'" + std::string(static_cast<std::size_t>(1 + pick(30)), static_cast<char>('a' + pick(26))) + "'";
    }
    assign(to, value(shown(v)), v);
  }
  void put(Slot& array, const Slot& from) {
    if (array.model.items == nullptr || from.node == nullptr || reaches(from.model, array.model.items)) return;
    if (shown(array.model).size() + shown(from.model).size() > 300) return;
    Items& items = *array.model.items;
    if (items.empty() || pick(2) == 0) {
      __AAdd(array.node, from.node);
      items.push_back(from.model);
    } else {
      const int i = pick(static_cast<int>(items.size()));
      __SET_ARRAY_EL(array.node, from.node, i);
      items[static_cast<std::size_t>(i)] = from.model;
    }
  }
  void take(Slot& to, Slot& array) {
    if (array.model.items == nullptr || array.model.items->empty()) return;
    const int i = pick(static_cast<int>(array.model.items->size()));
    const Value element = (*array.model.items)[static_cast<std::size_t>(i)];
    assign(to, __GET_ARRAY_EL(array.node, i), element);
  }
  void remove(Slot& array) {
    if (array.model.items == nullptr || array.model.items->empty()) return;
    __DelEl(array.node, 1, 0);
    array.model.items->erase(array.model.items->begin());
  }

  /// A function with variables of its own and its callers' by reference; returns one of its own.
  Slot run(std::vector<Slot*> visible, int depth) {
    __begin_context();
    Slot own[3];
    for (Slot& slot : own) visible.push_back(&slot);
    const auto any = [&]() -> Slot& {
      return *visible[static_cast<std::size_t>(pick(static_cast<int>(visible.size())))];
    };
    for (int step = 0; step < 40 && !HasFailure(); ++step) {
      Slot& to = any();
      Slot& from = any();
      switch (pick(7)) {
        case 0:
          make(to);
          break;
        case 1:
          if (from.node != nullptr) assign(to, from.node, from.model);
          break;
        case 2:
          take(to, from);
          break;
        case 3:
          remove(to);
          break;
        case 4:
          if (depth == 5 || callsLeft == 0) break;
          --callsLeft;
          if (const Slot back = run(visible, depth + 1); back.node != nullptr) assign(to, back.node, back.model);
          break;
        default:
          put(to, from);
      }
      for (const Slot* slot : visible)
        EXPECT_EQ(describe(slot->node), slot->node == nullptr ? describe(nullptr) : shown(slot->model));
    }
    return {__end_context(own[0].node), own[0].model};
  }

  int callsLeft = 0;  // that the round may still make
  std::mt19937 random{77};
};
INSTANTIATE_RINGS(ScriptModel);

TEST_P(ScriptModel, RandomFunctions) {
  for (int round = 0; round < 30 && !HasFailure(); ++round) {
    callsLeft = 20;
    run({}, 0);
  }
  EXPECT_EQ(lckstack, 0);
}

}  // namespace
