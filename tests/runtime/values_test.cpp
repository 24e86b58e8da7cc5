// Text buffers, hashing and conversion to int.
#include <cmath>

#include "values.h"

namespace {

using namespace std::string_view_literals;

class Values : public RuntimeTest {};

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
  for (int impossible : {-1, INT32_MAX}) EXPECT_RUNTIME_ERROR(__ALLOC_CHARPTR(impossible), -1);
  Obj_Node* constant = __INIT_CHARCONST("lit");
  EXPECT_EQ(__INIT_CHARCONST("set"), constant);
  SETBUFFSIZE(constant, number(50));
  EXPECT_EQ(constant->objLength, 4);
  EXPECT_RUNTIME_ERROR(SETBUFFSIZE(text("a"), text("5")), -1);
}

TEST(Numbers, ElfHashAndToInt) {
  const char* table = "printf 077905A6  PrintF 077905A6  syscall 0B09985C  \xFF FF  \xC9 C9  [ 5B  @ 40  Z 7A";
  for (const auto& row : rows(table, 2)) {
    const auto* key = reinterpret_cast<const unsigned char*>(row[0].c_str());
    EXPECT_EQ(ELFHash(key, static_cast<int>(row[0].size())), std::stoul(row[1], nullptr, 16)) << row[0];
    for (int none : {0, -1}) EXPECT_EQ(ELFHash(key, none), 0U);
  }
  EXPECT_EQ(ELFHash(reinterpret_cast<const unsigned char*>("a"), 2), 0x610U);
  EXPECT_EQ(ELFHash(nullptr, 4), 0U);
  const double huge = 1e300;
  const double from[] = {2.9, -2.9, NAN, huge, -huge, INFINITY, -INFINITY, 2147483647.5};
  const int to[] = {2, -2, 0, INT32_MAX, INT32_MIN, INT32_MAX, INT32_MIN, INT32_MAX};
  for (std::size_t i = 0; i < std::size(to); ++i) EXPECT_EQ(ToInt(from[i]), to[i]) << from[i];
}

}  // namespace
