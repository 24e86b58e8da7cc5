// Settings and native blocks.
#include "values.h"

namespace {

class Settings : public RuntimeTest {};

TEST_F(Settings, ValuesAndTheCenturysDateFormat) {
  expectAll(__Set,
            "1 - NIL  2 - NIL  3 - 2  4 - 'mm/dd/yy'  5 - 1940  6 - NIL  7 - NIL  8 - NIL  9 - F  10 - NIL  11 - F  "
            "12 - F  0 - error  13 - error  -1 - error  '3' - error  - - error  "
            "12 T T  4 - 'mm/dd/yyyy'  4 'dd/mm/yyyy' 'dd/mm/yyyy'  12 - T  4 - 'dd/mm/yyyy'");
  expectAll(__SetCentury, "- T  F F  1 error");
  EXPECT_EQ(visible(__Set(number(4))), "mm/dd/yy");
  for (int i = 0; i < 2; ++i) __begin_context();  // settings outlive the function that made them
  __Set(number(1), text("first"));
  __Set(number(7), value("{1,{'x'}}"));
  for (int i = 0; i < 2; ++i) __end_context(nullptr);
  expectAll(__Set, "1 - 'first'  7 - {1,{'x'}}");
}

TEST_F(Settings, DateFormatFollowsTheCentury) {
  const char* table =  // century, given, kept
      "F 'dd/mm/yy' 'dd/mm/yy'  F 'dd/mm/yyyy' 'dd/mm/yyyy'  F 'yyyy/mm/dd' 'yy/mm/dd'  F 'YYYY.mm.dd' 'YY.mm.dd'  "
      "F 'y/mm/dd' 'mm/dd'  F 'mm/dd' 'mm/dd'  F '' ''  T 'dd/mm/yy' 'dd/mm/yyyy'  T 'yy/mm/dd' 'yyyy/mm/dd'  "
      "T 'dd/mm/yyyy' 'dd/mm/yyyy'  T 'mm/yy/dd' 'yymm/yy/dd'  T 'dd/mm/YY' 'dd/mm/YYyy'  T 'mm/dd' 'mm/ddyy'  "
      "T 'dd/mm/y' 'dd/mm/yyy'  T '' 'yy'";
  for (const short byLength : {0, 1}) {
    SetCheckBuffer(byLength);
    for (const auto& row : rows(table, 3)) {
      __SetCentury(value(row[0]));
      Obj_Node* kept = __Set(number(4), value(row[1]));
      EXPECT_EQ(visible(kept), visible(value(row[2]))) << row[1] << " century " << row[0];
    }
  }
}

TEST(Blocks, AreFoundByName) {
  __BeginGlobal();
  expectAll(ExistBlock, "1 F");  // nothing registered, nothing looked at
  const BlockFunction doubled = [](Obj_Node* n) { return __MUL(n, number(2)); };
  for (const char* taken : {"Double", "exactly12chr"}) EXPECT_EQ(RegisterBlock(taken, doubled), 1);
  for (const char* refused : {"thirteenchars", "", static_cast<const char*>(nullptr)})
    EXPECT_EQ(RegisterBlock(refused, doubled), 0);
  EXPECT_EQ(RegisterBlock("none", nullptr), 0);
  const std::string longName(500, 'x');
  expectAll(ExistBlock, ("'dOUBLE' T  'U_Double' F  'exactly12chr' F  - F  1 error  '" + longName + "' F").c_str());
  expectAll(ExecBlock, "'double' - - 21 - 42  'u_double' - - 4 T 8  'double' - - 4 T F  'other' - - - F F");
  __EndGlobal();
}

}  // namespace
