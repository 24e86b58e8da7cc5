// Script values as words and back, for case tables: {1,'ab',NIL,{T}} is an array of a number, a text, a NIL and an
// array, d40179 a date, - a missing value, empty the empty text whose length field is 2.
#pragma once

#include <string>
#include <vector>

#include "support/runtime_fixture.h"

/// Runs a suite with the usual ring of temporaries and with the smallest one, where slots come round all the time.
class RingTest : public RuntimeTest, public ::testing::WithParamInterface<int> {
 protected:
  void SetUp() override {
    __SetMaxStackElements(GetParam());
    RuntimeTest::SetUp();
  }
  void TearDown() override {
    RuntimeTest::TearDown();
    __SetMaxStackElements(150);
  }
};
#define INSTANTIATE_RINGS(suite) INSTANTIATE_TEST_SUITE_P(Rings, suite, ::testing::Values(16, 150))

inline int liveArrays() {
  return S_GLOB->cdnptr[vArray].Amount;
}
inline int liveVariables() {
  return S_GLOB->cdnptr[vVariable].Amount;
}

/// A new variable of the current context.
inline Obj_Node* variable(Obj_Node* value) {
  return __SET_OBJECT(__SET_OBJECT(nullptr, __INIT_NIL()), value);
}

/// A value as a word; elements that hold an array read like the array.
std::string describe(const Obj_Node* n);
/// The value that a word describes: an array of the current context, or a temporary or shared value.
Obj_Node* value(const std::string& word);
/// The words of a table, `columns` a row.
std::vector<std::vector<std::string>> rows(const char* table, std::size_t columns);
