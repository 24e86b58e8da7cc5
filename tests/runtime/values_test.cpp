// Constructors, the shared values, text buffers, hashing and conversion to int.
#include <cmath>
#include <numeric>

#include "values.h"

namespace {

using namespace std::string_view_literals;

class Values : public RuntimeTest {};

TEST_F(Values, Constructors) {
  const std::pair<Obj_Node*, int> lengths[] = {{__INIT_CHARPTR(nullptr), 2},
                                               {__INIT_CHARPTR("a"), 2},
                                               {__INIT_CHARPTR("abc"), 4},
                                               {__ALLOC_CHARPTR(0), 1},
                                               {__ALLOC_CHARPTR(7), 8}};
  for (const auto& [made, length] : lengths) EXPECT_EQ(made->objLength, length);
  EXPECT_STREQ(lengths[0].first->objData.mbuff, "");
  EXPECT_EQ(bytes(lengths[4].first), std::string(7, '\0'));
  for (int impossible : {-1, INT32_MAX}) EXPECT_RUNTIME_ERROR(__ALLOC_CHARPTR(impossible), -1);
  Obj_Node* constant = __INIT_CHARCONST("one");
  EXPECT_EQ(__INIT_CHARCONST("second"), constant);
  EXPECT_EQ(bytes(constant), "second");
}

TEST_F(Values, SharedValuesAndTheGlobalRecord) {
  const auto described = rows("F T NIL NIL NIL 0 NUL 1 '' NIL NUL 0 0 T NIL", 1);
  for (std::size_t i = 0; i < described.size(); ++i) {
    Obj_Node* n = S_GLOB->mRetVal[i];
    EXPECT_EQ(describe(variable(n)), described[i][0]) << i;  // number 6 is a text without a buffer
    EXPECT_EQ(n->objType, vRetval);
    EXPECT_EQ(n->objRefCount, 1);
    EXPECT_EQ(n->objLength, i == 8 ? 1 : -1);
  }
  EXPECT_EQ(__INIT_BOOL(-256), S_GLOB->mRetVal[1]);
  for (int pool = 0; pool < 3; ++pool) EXPECT_EQ(S_GLOB->cdnptr[pool].objsize, 28);  // as stored, on every machine
  int days = 0;
  for (const auto& year : S_GLOB->MonthDays) days += std::accumulate(std::begin(year), std::end(year), 0);
  EXPECT_EQ(days, 365 + 366);
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
  Obj_Node* constant = __INIT_CHARCONST("lit");
  SETBUFFSIZE(constant, number(50));
  EXPECT_EQ(constant->objLength, 4);
  EXPECT_RUNTIME_ERROR(SETBUFFSIZE(number(1), number(5)), -1);
  EXPECT_RUNTIME_ERROR(SETBUFFSIZE(text("a"), text("5")), -1);
}

TEST(ElfHash, PublishedValuesAndCase) {
  const std::pair<std::string_view, std::uint32_t> cases[] = {{"printf", 0x077905A6},
                                                              {"PrintF", 0x077905A6},
                                                              {"syscall", 0x0B09985C},
                                                              {"\xFF", 0xFF},
                                                              {"\xC9", 0xC9},
                                                              {"a\0"sv, 0x610},
                                                              {"[", 0x5B},
                                                              {"@", 0x40},
                                                              {"Z", 0x7A},
                                                              {"", 0}};
  for (const auto& c : cases) {
    const auto* key = reinterpret_cast<const unsigned char*>(c.first.data());
    EXPECT_EQ(ELFHash(key, static_cast<int>(c.first.size())), c.second) << c.first;
    EXPECT_EQ(ELFHash(key, -1), 0U);
  }
  EXPECT_EQ(ELFHash(nullptr, 4), 0U);
}

TEST(Numbers, ToInt) {
  const double cases[][2] = {{2.9, 2},
                             {-2.9, -2},
                             {1e300, INT32_MAX},
                             {-1e300, INT32_MIN},
                             {NAN, 0},
                             {INFINITY, INT32_MAX},
                             {-INFINITY, INT32_MIN},
                             {2147483647.5, INT32_MAX}};
  for (const auto& c : cases) EXPECT_EQ(ToInt(c[0]), c[1]) << c[0];
}

}  // namespace
