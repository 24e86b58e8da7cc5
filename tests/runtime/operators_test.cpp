// Operators and comparisons, by tables of left operand, right operand, result.
#include "values.h"

namespace {

using namespace std::string_view_literals;

class Operators : public RuntimeTest {};

TEST_F(Operators, Arithmetic) {
  expectAll(__SUM,
            "2 3 5  - 3 4  3 - 4  - - 2  'ab' 'cd' 'abcd'  empty 'abc' 'abc'  'abc' empty 'abc'  '' '' ''  "
            "d40179 1 d40180  d40179 1.9 d40180  d40179 -1.9 d40178  d2 -1 d1  T T -  NIL 1 -  {1} {2} -  long 1 -  "
            "2 '3' error  'a' 1 error  'a' - error  2 NIL error  d40179 'a' error  d40179 d1 error  d0 1 error  "
            "d2 -2 error");
  // Dates go by the calendar: beyond the year 9999 nothing is added, and what falls before day 0 wraps as 32 bits do.
  expectAll(
      __SUM,
      "d2958465 1 d2958466  d2958466 -1 error  d2958465 2147483647 d2150442112  d2 -3 d4294967295  "
      "d40179.5 1 d40180  d-1 3 d2  d-700000 1 error  dnan 1 error  dinf 1 error  d40179 nan d40179  d1e300 0 error");
  expectAll(__SUB,
            "5 3 2  - 3 -2  3 - 2  d40180 d40179 1  d40179 d40180 -1  d40180 1 d40179  d40180 -1.5 d40181  "
            "d1 1 error  d2 5 d4294967293  d2958466 2 error  d40180 'a' error  'a' 'b' error  5 T error  5 d1 error");
  expectAll(__MUL, "5 3 15  - 3 3  'a' 3 error  3 NIL error");
  expectAll(__DIV, "10 4 2.5  10 0 0  0 0 0  - 4 0.25  4 - 4  10 '2' error  T 2 error");
}

TEST_F(Operators, Equality) {
  expectAll(
      __EQ,
      "'abc' 'ab' T  'ab' 'abc' T  'abc' 'abd' F  'abc' empty F  empty 'abc' F  empty empty T  '' '' F  '' 'a' F  "
      "'a' '' F  'a' 'A' F  5 5 T  5 6 F  nan nan F  d3 d3 T  d3 d4 F  T T T  T F F  F F T  NIL NIL T  5 NIL F  "
      "NIL 5 error  - - T  5 - F  - 5 error  {1} NIL F  NUL NIL F  {1} {1} error  5 '5' error  5 d5 error  "
      "'a' 5 error  T 1 error  long long error  r6 r6 F");
  expectAll(__EEQ,
            "'abc' 'ab' F  'abc' 'abc' T  '' '' T  '' empty T  empty 'a' F  NIL NIL T  5 NIL F  NIL 5 error  "
            "- 5 error  nan nan F  T T T  d3 3 error");
}

/// The results of all four orderings, one letter each.
Obj_Node* orderings(Obj_Node* a, Obj_Node* b) {
  std::string results;
  for (auto* op : {&__LS, &__LSE, &__GT, &__GTE}) results += describe(op(a, b));
  return text(results);
}

TEST_F(Operators, OrderingAndLogic) {
  expectAll(orderings,
            "1 2 'TTFF'  2 2 'FTFT'  3 2 'FFTT'  d1 d2 'TTFF'  d2 d2 'FTFT'  'a' 'b' 'TTFF'  'a' 'ab' 'TTFF'  "
            "'ab' 'ab' 'FTFT'  'a' '\xE9' 'TTFF'  'b' empty 'FFTT'  - 2 'TTFF'  0 - 'TTFF'  - - 'FTFT'  "
            "nan 1 'FFFF'  1 nan 'FFFF'  nan nan 'FFFF'");
  for (auto* op : {&__LS, &__LSE, &__GT, &__GTE}) expectAll(op, "1 d1 error  1 'a' error  T F error  NIL NIL error");
  expectAll(__AND, "T T T  T F F  F T F  F F F  - F F  T - T  F 1 error  NIL T error");
  expectAll(__OR, "T F T  F T T  F F F  F - T  T 'a' error  1 T error");
  expectAll(__INV, "T F  F T  NIL T  3 -3  'a' error  - error  d1 error");
}

TEST_F(Operators, Steps) {
  Obj_Node* x = variable(number(1));
  EXPECT_EQ(numberOf(__POSTINCREMENT(x)), 1);
  EXPECT_EQ(__PREINCREMENT(x), x);
  EXPECT_EQ(numberOf(x), 3);
  EXPECT_EQ(numberOf(__POSTDECREMENT(x)), 3);
  EXPECT_EQ(__PREDECREMENT(x), x);
  EXPECT_EQ(numberOf(x), 1);
  Obj_Node constant = *x;
  constant.objType = vConst;
  for (auto* op : {&__PREINCREMENT, &__PREDECREMENT, &__POSTINCREMENT, &__POSTDECREMENT}) {
    expectAll(op, "'a' error  - error");
    for (Obj_Node* fixed : {&constant, value("r7")}) EXPECT_EQ(numberOf(op(fixed)) + numberOf(fixed), 2);
  }
}

TEST_F(Operators, SumsOfTextsWithZeroBytes) {
  const struct {
    std::string_view left, right, stopping, byLength;  // the sums with bCheckBuffer off and on
  } cases[] = {
      {"a\0b"sv, "c", "ac", "a\0bc"sv},
      {"a", "c\0d"sv, "ac", "ac\0d"sv},
      {"OK\0\0"sv, "\1X1", "OK\1X1", "OK\1X1"},  // fill behind the text is no content
      {"a\0b\0"sv, "c", "ac", "a\0b\0c"sv},
      {"\0\0"sv, "abc", "abc", "abc"},
      {"\0x"sv, "", "", "\0x"sv},
  };
  for (const auto& c : cases) {
    for (const short byLength : {0, 1}) {
      SetCheckBuffer(byLength);
      const std::string_view expected = byLength != 0 ? c.byLength : c.stopping;
      Obj_Node* left = text(c.left);
      Obj_Node* sum = __SUM(left, text(c.right));
      EXPECT_EQ(bytes(sum), expected) << c.left << " + " << c.right;
      EXPECT_EQ(sum->objData.mbuff[expected.size()], '\0');
      EXPECT_EQ(bytes(left), c.left);
    }
  }
}

TEST_F(Operators, RoundingHalfAwayFromZero) {
  // 1.005 x 100 is 100.49999999999998579 in binary: below the tolerance.
  expectAll(
      +[](Obj_Node* v, Obj_Node* decimals) { return number(dblRound(numberOf(v), ToInt(numberOf(decimals)))); },
      "2.5 0 3  -2.5 0 -3  2.4 0 2  0.125 2 0.13  -0.125 2 -0.13  1.005 2 1  1250 -2 1300  0 5 0  "
      "2.4999999999 0 2  2.499999999999995 0 3");
}

}  // namespace
