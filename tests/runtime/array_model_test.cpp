// Some thousand random array operations, each compared with the same on a plain vector.
#include <algorithm>
#include <cstdlib>
#include <random>

#include "values.h"

namespace {

/// Texts of very different lengths, so that buffers are replaced all the time; -1 is NIL.
using Model = std::vector<int>;

class ArrayModel : public RingTest {
 public:
  int pick(int from, int to) { return std::uniform_int_distribution<int>(from, to)(random); }
  int size() const { return static_cast<int>(model.size()); }
  /// A position that is often, not always, within the array.
  int position() { return pick(-1, size() + 2); }
  static std::string textOf(int v) {
    return std::to_string(v) + std::string(static_cast<std::size_t>(v * 7 % 40), '.');
  }
  static Obj_Node* valueOf(int v) { return v < 0 ? __INIT_NIL() : text(textOf(v)); }
  int endOf(int count) const { return count < 1 || count > size() ? size() : count; }
  bool hasNil() const { return std::count(model.begin(), model.end(), -1) != 0; }
  int& at(int i) { return model[static_cast<std::size_t>(i)]; }

  void add() {
    model.push_back(pick(-1, 30));
    __AAdd(array, valueOf(model.back()));
  }
  void resize() {
    const int n = pick(-1, 25);
    __ASize(array, number(n));
    if (!model.empty()) model.resize(static_cast<std::size_t>(std::max(n, 0)), -1);
  }
  void remove() {
    const int n = position();
    __ADel(array, number(n));
    if (n < 1 || n > size()) return;
    model.erase(model.begin() + n - 1);
    model.push_back(-1);
  }
  void insert() {
    const int n = position();
    __AIns(array, number(n));
    if (n < 1 || n > size()) return;
    model.insert(model.begin() + n - 1, -1);
    model.pop_back();
  }
  void fill() {
    const int v = pick(0, 30), start = position(), count = position();
    __AFill(array, valueOf(v), number(start), number(count));
    int e = (count < 1 ? size() : count) - 1;
    for (int i = std::max(start, 1) - 1; i < e && i < size(); ++i, --e) at(i) = v;
  }
  void copy() {
    const int start = pick(1, size() + 2), end = position(), target = pick(0, size() + 1);
    __ACopy(array, array, number(start), number(end), number(target));
    for (int i = start - 1, t = target; i < std::min(end, size()) && t < size() - 1; ++i, ++t) at(t) = at(i);
  }
  void set() {
    if (model.empty()) return;
    const int i = pick(0, size() - 1);
    at(i) = pick(-1, 30);
    __SET_ARRAY_EL(array, valueOf(at(i)), i);
  }
  void sort() {
    if (hasNil()) return;
    const bool up = pick(0, 1) == 1;
    const int start = std::max(position(), 1), count = position();
    __ASORT(array, number(start), number(count), __INIT_BOOL(up));
    const auto before = [up](int a, int b) { return up ? textOf(a) < textOf(b) : textOf(b) < textOf(a); };
    if (start <= endOf(count)) std::sort(model.begin() + start - 1, model.begin() + endOf(count), before);
  }
  void replaceByClone() {
    Obj_Node* clone = __AClone(array);
    EXPECT_EQ(clone == nullptr, model.empty());
    if (clone != nullptr) array = __SET_OBJECT(array, clone);
  }
  void removeNils() {
    for (int i = size(); i > 0; --i) {
      if (at(i - 1) < 0) __DelEl(array, i, 0);
    }
    std::erase(model, -1);
  }

  /// What the array holds; a text stands for the number at its start.
  Model content() const {
    Model found;
    for (const Obj_Node* e = array->objData.mArray->pFirst; e != nullptr; e = e->objpNext) {
      const int v = e->objVarType == varString ? std::atoi(e->objData.mbuff) : -1;
      EXPECT_EQ(e->objVarType == varString ? visible(e) : "", v < 0 ? "" : textOf(v));
      found.push_back(v);
    }
    return found;
  }

  Obj_Node* array = nullptr;
  Model model;
  std::mt19937 random{20031};
};
INSTANTIATE_RINGS(ArrayModel);

TEST_P(ArrayModel, RandomOperations) {
  using M = ArrayModel;
  void (M::*const operations[])() = {&M::add,  &M::add,  &M::resize, &M::remove, &M::insert,         &M::fill,
                                     &M::copy, &M::sort, &M::sort,   &M::set,    &M::replaceByClone, &M::removeNils};
  array = value("{}");
  for (int step = 0; step < 6000; ++step) {
    const int which = pick(0, static_cast<int>(std::size(operations)) - 1);
    (this->*operations[which])();
    ASSERT_EQ(content(), model) << "step " << step << " operation " << which;
  }
}

}  // namespace
