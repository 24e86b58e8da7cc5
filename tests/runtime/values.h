// Script values as words and back, for case tables: {1,'ab',NIL,{T}} is an array of a number, a text, a NIL and an
// array, d40179 a date, - a missing value, empty the empty text whose length field is 2. In front of a
// word, v makes it a variable, e an array's element, s the value of such an element; r5 is the shared value number 5.
#pragma once

#include <algorithm>
#include <array>
#include <string>
#include <tuple>
#include <vector>

#include "support/runtime_fixture.h"

/// Runs a suite with the usual ring of temporaries and with the smallest one, where slots come round all the time.
class RingTest : public RuntimeTest, public ::testing::WithParamInterface<int> {
 protected:
  RingTest() { __SetMaxStackElements(GetParam()); }
  ~RingTest() override { __SetMaxStackElements(150); }
};
#define INSTANTIATE_RINGS(suite) INSTANTIATE_TEST_SUITE_P(Rings, suite, ::testing::Values(16, 150))

/// Number of arrays or variables that are alive.
inline int live(ObjType pool) {
  return S_GLOB->cdnptr[pool].Amount;
}

/// A new variable of the current context.
inline Obj_Node* variable(Obj_Node* value) {
  return __SET_OBJECT(__SET_OBJECT(nullptr, __INIT_NIL()), value);
}

/// A value as a word; elements that hold an array read like the array. An array's header must fit its chain.
std::string describe(const Obj_Node* n);
/// The value that a word describes: an array of the current context, or a temporary or shared value.
Obj_Node* value(const std::string& word);
/// The words of a table, `columns` a row.
std::vector<std::vector<std::string>> rows(const char* table, std::size_t columns);

/// Calls `op` with the words of each row but the last, which describes the result; "error" if the call is refused.
template <class... Args>
void expectAll(Obj_Node* (*op)(Args...), const char* table) {
  for (const auto& row : rows(table, sizeof...(Args) + 1)) {
    SCOPED_TRACE(::testing::PrintToString(row));
    std::array<Obj_Node*, sizeof...(Args)> args;
    std::transform(row.begin(), row.end() - 1, args.begin(), value);
    if (row.back() == "error") {
      EXPECT_RUNTIME_ERROR(std::apply(op, args), -1);
    } else {
      EXPECT_EQ(describe(std::apply(op, args)), row.back());
    }
  }
}
