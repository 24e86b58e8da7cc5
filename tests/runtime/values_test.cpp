// Constructors, the shared values, text buffers, hashing and conversion to int.
#include <cmath>
#include <numeric>

#include "values.h"

namespace {

using namespace std::string_view_literals;

class Values : public RuntimeTest {};

TEST_F(Values, Constructors) {
  int target = 0;
  const struct {
    Obj_Node* made;
    varTypes type;
    int length;
  } cases[] = {{__INIT_CHARPTR(nullptr), varString, 2}, {__INIT_CHARPTR(""), varString, 2},
               {__INIT_CHARPTR("a"), varString, 2},     {__INIT_CHARPTR("abc"), varString, 4},
               {__ALLOC_CHARPTR(0), varString, 1},      {__ALLOC_CHARPTR(7), varString, 8},
               {__INIT_LONG(-7), varLong, -1},          {__INIT_DOUBLE(2.5), varNumber, -1},
               {__INIT_DATE(40179), varDate, -1},       {__INIT_VOIDPTR(&target), varVoidPtr, -1}};
  for (const auto& c : cases) {
    EXPECT_EQ(c.made->objType, vRegister);
    EXPECT_EQ(c.made->objVarType, c.type);
    EXPECT_EQ(c.made->objLength, c.length);
  }
  EXPECT_STREQ(cases[0].made->objData.mbuff, "");
  EXPECT_EQ(bytes(cases[5].made), std::string(7, '\0'));
  EXPECT_EQ(cases[6].made->objData.mlong, -7);
  EXPECT_EQ(reinterpret_cast<int*>(cases[9].made->objData.mbuff), &target);
  EXPECT_RUNTIME_ERROR(__ALLOC_CHARPTR(-1), -1);
  EXPECT_RUNTIME_ERROR(__ALLOC_CHARPTR(INT32_MAX), -1);

  Obj_Node* constant = __INIT_CHARCONST("one");
  EXPECT_EQ(constant->objType, vConst);
  EXPECT_EQ(constant->objLength, 4);
  EXPECT_EQ(__INIT_CHARCONST("second"), constant);
  EXPECT_EQ(bytes(constant), "second");
}

TEST_F(Values, SharedValues) {
  const auto described = rows("F T NIL NIL NIL 0 - 1 '' NIL NUL 0 0 T NIL", 1);
  for (int i = 0; i < 15; ++i) {
    Obj_Node* n = S_GLOB->mRetVal[i];
    if (i != 6) {
      EXPECT_EQ(describe(n), described[static_cast<std::size_t>(i)][0]) << i;
    }
    EXPECT_EQ(n->objType, vRetval);
    EXPECT_EQ(n->objRefCount, 1);
    EXPECT_EQ(n->objContext, -1);
    EXPECT_EQ(n->objLength, i == 8 ? 1 : -1);
  }
  EXPECT_EQ(S_GLOB->mRetVal[6]->objVarType, varString);
  EXPECT_EQ(S_GLOB->mRetVal[6]->objData.mbuff, nullptr);
  EXPECT_EQ(__INIT_BOOL(0), S_GLOB->mRetVal[0]);
  EXPECT_EQ(__INIT_BOOL(-256), S_GLOB->mRetVal[1]);
  EXPECT_EQ(__INIT_NIL(), S_GLOB->mRetVal[9]);
  EXPECT_EQ(__INIT_NUL(), S_GLOB->mRetVal[10]);
}

TEST_F(Values, GlobalRecord) {
  EXPECT_EQ(__RetGlob(0), S_GLOB);
  EXPECT_EQ(S_GLOB->LastContext, 1);
  EXPECT_EQ(S_GLOB->TBL_this, -1);
  EXPECT_EQ(S_GLOB->LastConst, -1);
  for (int pool = 0; pool < 3; ++pool) EXPECT_EQ(S_GLOB->cdnptr[pool].objsize, 28);  // as stored, on every machine
  int days = 0;
  for (const auto& year : S_GLOB->MonthDays) days += std::accumulate(std::begin(year), std::end(year), 0);
  EXPECT_EQ(days, 365 + 366);
  Obj_Node own;
  __InitObjNode(&own, varLong);
  EXPECT_EQ(own.objType, vVariable);
  EXPECT_EQ(own.objVarType, varLong);
  EXPECT_EQ(own.objLength, -1);
}

TEST_F(Values, GrowingATextsBuffer) {
  const double sizes[][2] = {{0, 4},         {-1, 4},    {3, 4},     {4, 5},  {100, 101},
                             {32767, 32768}, {32768, 4}, {40000, 4}, {NAN, 4}};  // asked for, length field
  for (const auto& c : sizes) {
    Obj_Node* v = variable(text("abc"));
    std::memcpy(v->objData.mbuff, "a\0b", 3);
    SETBUFFSIZE(v, number(c[0]));
    EXPECT_EQ(v->objLength, c[1]) << c[0];
    EXPECT_EQ(bytes(v), std::string("a\0b"sv) + std::string(static_cast<std::size_t>(c[1]) - 4, '\0')) << c[0];
  }
  SETBUFFSIZE(nullptr, number(5));
  SETBUFFSIZE(text("a"), nullptr);
  Obj_Node* constant = __INIT_CHARCONST("lit");
  SETBUFFSIZE(constant, number(50));
  EXPECT_EQ(constant->objLength, 4);
  EXPECT_RUNTIME_ERROR(SETBUFFSIZE(number(1), number(5)), -1);
  EXPECT_RUNTIME_ERROR(SETBUFFSIZE(text("a"), text("5")), -1);
}

TEST_F(Values, Switches) {
  EXPECT_EQ(__SetCheckBuffer(__INIT_BOOL(1)), __INIT_BOOL(1));
  EXPECT_TRUE(bCheckBuffer);
  __SetEncode(__INIT_BOOL(0));
  EXPECT_FALSE(bUseEncode64);
  SetEncode(7);
  EXPECT_TRUE(bUseEncode64);
  EXPECT_RUNTIME_ERROR(__SetCheckBuffer(number(1)), -1);
  EXPECT_RUNTIME_ERROR(__SetEncode(nullptr), -1);
}

TEST(ElfHash, PublishedValuesAndCase) {
  const struct {
    std::string_view key;
    std::uint32_t hash;
  } cases[] = {{"printf", 0x077905A6},
               {"PrintF", 0x077905A6},
               {"exit", 0x0006CF04},
               {"syscall", 0x0B09985C},
               {"\xFF", 0xFF},
               {"\xC9", 0xC9},
               {"a\0"sv, 0x610},
               {"[", 0x5B},
               {"@", 0x40},
               {"Z", 0x7A}};
  for (const auto& c : cases) {
    const auto* key = reinterpret_cast<const unsigned char*>(c.key.data());
    EXPECT_EQ(ELFHash(key, static_cast<int>(c.key.size())), c.hash) << c.key;
    EXPECT_EQ(ELFHash(key, 0), 0U);
    EXPECT_EQ(ELFHash(key, -1), 0U);
  }
  EXPECT_EQ(ELFHash(nullptr, 4), 0U);
}

TEST(Numbers, ToInt) {
  const double cases[][2] = {{2.9, 2},
                             {-2.9, -2},
                             {NAN, 0},
                             {1e300, INT32_MAX},
                             {-1e300, INT32_MIN},
                             {2147483647.5, INT32_MAX},
                             {INFINITY, INT32_MAX},
                             {-INFINITY, INT32_MIN}};
  for (const auto& c : cases) EXPECT_EQ(ToInt(c[0]), c[1]) << c[0];
}

}  // namespace
