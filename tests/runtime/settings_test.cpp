// Settings, the call trace and native blocks.
#include "values.h"

namespace {

class Settings : public RuntimeTest {};

TEST_F(Settings, InitialValues) {
  const auto expected = rows("NIL NIL 2 'mm/dd/yy' 1940 NIL NIL NIL F NIL F F", 1);
  for (std::size_t i = 0; i < 12; ++i) EXPECT_EQ(describe(__Set(number(i + 1.0))), expected[i][0]) << i;
  for (double wrong : {0.0, 13.0, -1.0}) EXPECT_RUNTIME_ERROR(__Set(number(wrong)), -1);
  EXPECT_RUNTIME_ERROR(__Set(text("3")), -1);
  EXPECT_RUNTIME_ERROR(__Set(nullptr), -1);
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

TEST_F(Settings, CenturyResetsTheDateFormat) {
  EXPECT_EQ(describe(__SetCentury()), "F");
  EXPECT_EQ(describe(__Set(number(12), __INIT_BOOL(1))), "T");
  EXPECT_EQ(visible(__Set(number(4))), "mm/dd/yyyy");
  __Set(number(4), text("dd/mm/yyyy"));
  EXPECT_EQ(describe(__Set(number(12))), "T");
  EXPECT_EQ(visible(__Set(number(4))), "dd/mm/yyyy");
  EXPECT_EQ(describe(__SetCentury(__INIT_BOOL(0))), "F");
  EXPECT_EQ(visible(__Set(number(4))), "mm/dd/yy");
  EXPECT_RUNTIME_ERROR(__SetCentury(number(1)), -1);
}

TEST_F(Settings, OutliveTheFunctionThatMadeThem) {
  __begin_context();
  __begin_context();
  __Set(number(1), text("first"));
  __Set(number(7), value("{1,{'x'}}"));
  __end_context(nullptr);
  __end_context(nullptr);
  EXPECT_EQ(describe(__Set(number(1))), "'first'");
  EXPECT_EQ(describe(__Set(number(7))), "{1,{'x'}}");
  __InitSets();
  EXPECT_EQ(describe(__Set(number(7))), "NIL");
}

class Trace : public RuntimeTest {};

TEST_F(Trace, EndsWithItsContexts) {
  __SL(7);  // nothing to note it in
  EXPECT_EQ(S_GLOB->SL, 0);
  __begin_context();
  __SF("outer");
  __SL(10);
  __begin_context();
  __SF("inner");
  EXPECT_EQ(S_GLOB->LastCallStack->line, 10);
  __SL(65536 + 20);
  EXPECT_EQ(S_GLOB->LastCallStack->line, 20);
  EXPECT_EQ(S_GLOB->LastCallStack->context, 2);
  EXPECT_STREQ(S_GLOB->SF, "inner");
  __end_context(nullptr);
  ASSERT_NE(S_GLOB->LastCallStack, nullptr);
  EXPECT_STREQ(S_GLOB->LastCallStack->function, "outer");
  __end_context(nullptr);
  EXPECT_EQ(S_GLOB->FirstCallStack, nullptr);
  EXPECT_EQ(S_GLOB->LastCallStack, nullptr);
  __SF("again");
  EXPECT_EQ(S_GLOB->FirstCallStack, S_GLOB->LastCallStack);
}

Obj_Node* doubled(Obj_Node* n) {
  return __MUL(n, number(2));
}

TEST(Blocks, AreFoundByName) {
  __BeginGlobal();
  EXPECT_EQ(describe(ExistBlock(number(1))), "F");  // nothing registered, nothing looked at
  EXPECT_EQ(RegisterBlock("Double", doubled), 1);
  EXPECT_EQ(RegisterBlock("exactly12chr", doubled), 1);
  for (const char* refused : {"thirteenchars", "", static_cast<const char*>(nullptr)})
    EXPECT_EQ(RegisterBlock(refused, doubled), 0);
  EXPECT_EQ(RegisterBlock("none", nullptr), 0);
  const std::string table = "'dOUBLE' T 'U_Double' F 'exactly12chr' F - F '" + std::string(500, 'x') + "' F";
  for (const auto& row : rows(table.c_str(), 2)) EXPECT_EQ(describe(ExistBlock(value(row[0]))), row[1]) << row[0];
  EXPECT_RUNTIME_ERROR(ExistBlock(number(1)), -1);
  const char* calls = "'double' 21 - 42  'u_double' 4 T 8  'double' 4 T F  'other' - F F";
  for (const auto& row : rows(calls, 4)) {
    EXPECT_EQ(describe(ExecBlock(value(row[0]), nullptr, nullptr, value(row[1]), value(row[2]))), row[3]) << row[0];
  }
  EXPECT_EQ(SHUTDOWN(), nullptr);
  EXPECT_NE(S_GLOB->bRestart, 0);
  EXPECT_EQ(visible(__GetRTVer()).size(), 20U);  // Mmm dd yyyy hh:mm:ss
  __EndGlobal();
}

}  // namespace
