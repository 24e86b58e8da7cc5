// Numbers, questions about any value, character classes and tax numbers.
#include <cmath>

#include "builtins/vornefun.h"
#include "runtime/values.h"
#include "table.h"

namespace {

using namespace std::string_view_literals;

class Values : public RuntimeTest {};

TEST_F(Values, Numbers) {
  expectAll(__Int, "2.96 3  2.94 2  -2.96 -3  -2.94 -2  0.95 1  0 0  7 7  1e300 1e+300  'x' error  - error  d1 error");
  expectAll(__Round, "2.345 1.9 2.3  -2.5 0 -3  1250 -2 1300  1 'x' error  - 1 error");
  expectAll(NOROUND,
            "1.999 2 1.99  -1.999 1 -1.9  5.75 0 5  12345.678 9 12345.678  nan 2 0  1 -3 1  '1' 1 error  1 - error");
  expectAll(__Abs, "-3.5 3.5  3 3  T error");
  expectAll(__FMOD, "7 3 1  -7 3 -1  7 -3 1  5.5 2 1.5  7 0 error  7 '3' error  - 3 error");
  for (auto* same : {&__Bin2I, &__Bin2L, &__Bin2W, &__I2Bin, &__L2Bin, &__W2Bin}) {
    Obj_Node* n = number(-70000.5);
    EXPECT_NE(same(n), n);
    expectAll(same, "-70000.5 -70000.5  d3 3  - error");
  }
}

TEST_F(Values, Choices) {
  expectAll(__Min, "1 2 1  2 1 1  d-1 d2 d-1  d2 d-1 d-1  nan 1 1");
  expectAll(__Max, "1 2 2  2 1 2  d-1 d2 d2  d2 d-1 d2  nan 1 1");
  expectAll(
      +[](Obj_Node* a, Obj_Node* b) { return __If(-1, a, b); }, "'a' 'b' 'a'  1 'b' error  1 - error");
  expectAll(
      +[](Obj_Node* a, Obj_Node* b) { return __If(0, a, b); }, "'a' 'b' 'b'  'a' 1 error  - 1 error");
  for (auto* choice : {&__Min, &__Max}) {
    expectAll(choice, "1 d1 error  'a' 'b' error  - 1 error  1 - error  NIL NIL error");
    Obj_Node* second = __INIT_DATE(5);
    EXPECT_EQ(choice(__INIT_DATE(5), second), second);
  }
}

TEST_F(Values, EmptyLengthAndType) {
  expectAll(__Empty,
            "'' T  empty T  'x' F  0 T  0.1 F  nan F  d0 T  d1 F  F T  T F  NIL T  NUL T  long T  {} T  {NIL} F  vT F  "
            "v'x' F  e'x' F  e{1} T  s{1} F  r8 T  r6 T  const F  - error");
  expectAll(__Type, "'x' 'C'  r6 'C'  {} 'A'  e{1} 'A'  d0 'D'  5 'N'  T 'L'  NIL 'U'  NUL 'U'  long 'U'  - error");
  expectAll(__Len,
            "'abc' 3  '' 0  empty 0  v'abc' 3  const 2  {} 0  {1,2} 2  e'abc' 3  e{1,2} 2  s{1,2} 2  - -1  5 error  "
            "v5 error  e5 error  NIL error  r8 error");
  for (const auto& [content, empty] : {std::pair("   "sv, "T"), {"  a "sv, "F"}, {"\0a"sv, "T"}})
    EXPECT_EQ(describe(__Empty(text(content))), empty) << content;
  for (Obj_Node* n : {text("ab\0cd"sv), variable(text("ab\0cd"sv))}) EXPECT_EQ(numberOf(__Len(n)), 2);
  EXPECT_EQ(numberOf(__Len(__PadR(text("ab"), number(3), text("xyzw")))), 4);  // not beyond the length field
}

/// The answers of the four class tests, one letter each.
Obj_Node* classesOf(Obj_Node* s) {
  std::string classes;
  for (auto* test : {&__IsUpper, &__IsLower, &__IsAlpha, &__IsDigit}) classes += describe(test(s));
  return text(classes);
}

TEST_F(Values, ClassesOfTheFirstByte) {
  expectAll(classesOf,
            "'Az1' 'TFTF'  'Z' 'TFTF'  'aZ' 'FTTF'  'z' 'FTTF'  '0a' 'FFFT'  '9' 'FFFT'  '' 'FFFF'  '@A' 'FFFF'  "
            "'[' 'FFFF'  '`' 'FFFF'  '{' 'FFFF'  '/0' 'FFFF'  ':' 'FFFF'  '\xA9' 'FFFF'  '\xAA' 'FFTF'  '\xB5' 'FTTF'  "
            "'\xBA' 'FFTF'  '\xBF' 'FFFF'  '\xC0' 'TFTF'  '\xD6' 'TFTF'  '\xD7' 'FFFF'  '\xD8' 'TFTF'  '\xDE' 'TFTF'  "
            "'\xDF' 'FTTF'  '\xF6' 'FTTF'  '\xF7' 'FFFF'  '\xF8' 'FTTF'  '\xFF' 'FTTF'  5 error  - error");
  EXPECT_EQ(_sctype[-1], 0);
}

/// The published rule in its other form: ten times the weighed sum, modulo 11 and then 10.
std::string withCheckDigits(std::string number, std::size_t cycle) {
  for (int round = 0; round < 2; ++round) {
    std::size_t sum = 0;
    for (std::size_t i = 0; i < number.size(); ++i)
      sum += static_cast<std::size_t>(number[i] - '0') * ((number.size() - 1 - i) % cycle + 2);
    number += static_cast<char>('0' + sum * 10 % 11 % 10);
  }
  return number;
}

TEST_F(Values, TaxNumbers) {
  const struct {
    long long first;  // step by step up to ten times that number
    std::size_t cycle;
    Obj_Node* (*valid)(Obj_Node*);
    const char* table;
  } kinds[] = TABLE(
      {100000000, 100, &__ValidCPF,
       "'11144477735' T  '52998224725' T  '11111111111' T  '111.444.777-35' F  '1114447773' F  '111444777355' F  "
       "'11222333000181' F  '' F  5 error  - error"},
      {100000000000, 8, &__ValidCGC,
       "'11222333000181' T  '11.222.333/0001-81' F  '1122233300018' F  '112223330001811' F  '' F  5 error  - error"});
  EXPECT_EQ(__ValidaCPF(nullptr) + __ValidaCGC(nullptr), 0);
  for (const auto& kind : kinds) {
    expectAll(kind.valid, kind.table);
    for (int i = 0; i < 2979; ++i) {
      const std::string number = withCheckDigits(std::to_string(kind.first + i * (kind.first / 331)), kind.cycle);
      ASSERT_EQ(kind.valid(text(number)), __INIT_BOOL(1)) << number;
      for (std::size_t at = 0; at < number.size(); ++at) {
        std::string changed = number;
        changed[at] = static_cast<char>('0' + (number[at] - '0' + 1 + i % 9) % 10);
        const bool stillRight = withCheckDigits(changed.substr(0, number.size() - 2), kind.cycle) == changed;
        ASSERT_EQ(kind.valid(text(changed)), __INIT_BOOL(stillRight)) << changed;
      }
    }
  }
}

TEST(MemoryReport, CountsWhatIsAlive) {
  EXPECT_STREQ(__MemoryReport(), "malloc-free=0\npObj=0\nArrays=0\nvElArray=0\nLocked Stack=0");
  __BeginGlobal();
  const int settings = live(vVariable);
  value("{1,{2}}");
  variable(number(1));
  LockStack({number(1), number(2), number(3)});
  EXPECT_EQ(__MemoryReport(),
            "malloc-free=0\npObj=" + std::to_string(settings + 1) + "\nArrays=2\nvElArray=0\nLocked Stack=3");
  __EndGlobal();
}

}  // namespace
