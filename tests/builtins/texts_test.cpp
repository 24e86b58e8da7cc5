// The text builtins by case tables: what a reader of C strings sees, and the length field, odd ones included.
#include <algorithm>
#include <cmath>
#include <vector>

#include "builtins/vornefun.h"
#include "support/runtime_fixture.h"

namespace {

struct TextCase {
  const char* call;
  Obj_Node* (*run)();
  std::string_view shown;
  int length;
};
#define CASE(call, shown, length)             \
  TextCase {                                  \
#call, [] { return call; }, shown, length \
  }

class Texts : public RuntimeTest {
 protected:
  static void expect(std::initializer_list<TextCase> cases) {
    for (const bool byLength : {false, true}) {
      SetCheckBuffer(byLength);
      for (const TextCase& c : cases) {
        SCOPED_TRACE(c.call);
        const Obj_Node* n = c.run();
        EXPECT_EQ(visible(n), c.shown);
        EXPECT_EQ(n->objLength, c.length);
        // Whatever the length field promises beyond the text is zero.
        std::string filled(c.shown);
        filled.resize(static_cast<std::size_t>(std::max(c.length - 1, 0)));
        EXPECT_EQ(bytes(n), filled);
      }
    }
  }
};

TEST_F(Texts, Substrings) {
  expect({
      CASE(__SubStr(text("abc"), number(2)), "bc", 3),
      CASE(__SubStr(text("abc"), number(2), number(1)), "b", 2),
      CASE(__SubStr(text("abc"), number(2), number(5)), "bc", 3),
      CASE(__SubStr(text("abc"), number(1), number(2147483647.0)), "abc", 4),
      CASE(__SubStr(text("abc"), number(-7), number(2)), "ab", 3),
      CASE(__SubStr(text("abc"), number(2), __INIT_NIL()), "bc", 3),
      // Nothing there: the whole text under a length field that is one short.
      CASE(__SubStr(text("abc"), number(5)), "abc", 3),
      CASE(__SubStr(text("abc"), number(2), number(0)), "abc", 3),
      CASE(__SubStr(text(""), number(1)), "", 0),
      CASE(__Left(text("abc"), number(2)), "ab", 4),
      CASE(__Left(text("abc"), number(9)), "abc", 5),
      CASE(__Left(text("abc"), number(0.5)), "", 2),
      CASE(__Left(text("abc"), number(0)), "abc", 4),
      CASE(__Left(text("abc"), number(NAN)), "abc", 4),
      CASE(__Right(text("abc"), number(2)), "bc", 4),
      CASE(__Right(text("abc"), number(5)), "abc", 4),
      CASE(__Right(text("abc"), number(-1)), "abc", 4),
      CASE(__Chr(number(65)), "A", 2),
      CASE(__Chr(number(0)), "", 2),
      CASE(__Chr(number(256 + 233.9)), "\xE9", 2),
  });
  EXPECT_EQ(numberOf(__Asc(text("\xFF"))), 255);
  EXPECT_EQ(numberOf(__Asc(text(""))), 0);
}

TEST_F(Texts, Searching) {
  struct Row {
    std::string_view needle, hay;
    double at, last, atByLength;
  };
  using namespace std::string_view_literals;
  const Row rows[] = {
      {"c", "abc", 3, 3, 3},
      {"bc", "abc", 2, 2, 2},
      {"abc", "abc", 1, 1, 1},
      {"x", "abc", 0, 0, 0},
      {"abcd", "abc", 0, 0, 0},
      {"aa", "aaaa", 1, 3, 1},
      {"", "abc", 1, 0, 1},
      {"a", "", 0, 0, 0},
      {"\x02", "N\x02\0"sv, 2, 2, 2},
      {"b", "a\0b"sv, 0, 0, 3},
      {"a\0c"sv, "ab a\0c"sv, 1, 4, 4},
      {"\0"sv, "ab\0c"sv, 1, 0, 3},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(testing::PrintToString(r.needle) + " in " + testing::PrintToString(r.hay));
    EXPECT_EQ(numberOf(__At(text(r.needle), text(r.hay))), r.at);
    EXPECT_EQ(numberOf(__Rat(text(r.needle), text(r.hay))), r.last);
    SetCheckBuffer(1);
    EXPECT_EQ(numberOf(__At(text(r.needle), text(r.hay))), r.atByLength);
    SetCheckBuffer(0);
  }
  const char* hay = "abcab";
  EXPECT_EQ(FindStr(hay, 6, "ab", 2), hay);
  EXPECT_EQ(FindStr(hay + 1, 5, "ab", 2), hay + 3);
  EXPECT_EQ(FindStr(hay + 1, 4, "ab", 2), nullptr);  // the very last place is never tried
  EXPECT_EQ(FindStr(hay, 2, "ab", 2), nullptr);
  EXPECT_EQ(FindStr(nullptr, 5, "ab", 2), nullptr);
  EXPECT_EQ(FindStr(hay, 5, nullptr, 2), nullptr);
}

TEST_F(Texts, OnlyPlainLettersChangeCase) {
  std::string all, upper, lower;
  for (int c = 1; c < 256; ++c) {
    all += static_cast<char>(c);
    upper += static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c);
    lower += static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
  }
  EXPECT_EQ(bytes(__Upper(text(all))), upper);
  EXPECT_EQ(bytes(__Lower(text(all))), lower);
  EXPECT_EQ(__Upper(nullptr), nullptr);
  EXPECT_EQ(__Lower(nullptr), nullptr);
  // Copied up to the first zero byte, under the length field of the whole.
  EXPECT_EQ(bytes(__Upper(text(std::string_view("ab\0cd", 5)))), std::string("AB\0\0\0", 5));
}

TEST_F(Texts, Trimming) {
  expect({
      CASE(__LTrim(text("  a b ")), "a b ", 5),
      CASE(__LTrim(text("ab")), "ab", 3),
      CASE(__LTrim(text("   ")), "", 1),
      CASE(__LTrim(__INIT_CHARPTR("")), "", 1),
      CASE(__RTrim(text("  a b  ")), "  a b", 6),
      CASE(__RTrim(text("   ")), " ", 2),
      CASE(__RTrim(text("")), "", 1),
      CASE(__AllTrim(text("  a b  ")), "a b", 4),
      CASE(__AllTrim(text("   ")), "", 1),
      CASE(__AllTrim(text("\t \n")), "\t \n", 4),
      CASE(__AllTrim(text("\xA0 ")), "\xA0", 2),
  });
}

TEST_F(Texts, Padding) {
  expect({
      CASE(__PadR(text("ab"), number(5)), "ab   ", 6),
      CASE(__Pad(text("ab"), number(4), text("-")), "ab--", 5),
      CASE(__PadR(text("abc"), number(2)), "abc", 4),
      CASE(__PadR(text("ab"), number(5), text("")), "ab", 3),
      CASE(__PadL(text("ab"), number(4), text("0")), "00ab", 8),
      CASE(__PadL(text("ab"), number(4), text("")), "ab", 8),
      CASE(__PadL(text("abcd"), number(4), text("0")), "abcd", 5),
      CASE(__PadC(text("abcd"), number(7), text("--")), "abc--d", 8),
      CASE(__PadC(text("a"), number(9), text("*")), "a*", 10),
      CASE(__PadC(text("ab"), number(1), text("*")), "ab", 3),
      CASE(__Space(number(3)), "   ", 4),
      CASE(__Space(number(0)), "", 1),
      CASE(__Replicate(text("ab"), number(3)), "ababab", 10),
      CASE(__Replicate(text("ab"), number(-3)), "", 1),
  });
  // Longer than the length field tells, in a buffer that is large enough all the same.
  for (Obj_Node* n : {__PadR(text("ab"), number(5), text("xy")), __PadL(text("ab"), number(10), text("xyz"))}) {
    EXPECT_GT(std::strlen(n->objData.mbuff), static_cast<std::size_t>(n->objLength - 1));
  }
  EXPECT_EQ(visible(__PadR(text("ab"), number(5), text("xy"))), "abxyxy");
  EXPECT_EQ(visible(__PadL(text("ab"), number(4), text("xyz"))), "xyzxyzab");
}

TEST_F(Texts, Replacing) {
  expect({
      CASE(__StrTran(text("a-b-c"), text("-"), text("+")), "a+b+c", 6),
      CASE(__StrTran(text("a-b-c"), text("-"), text("<->")), "a<->b<->c", 10),
      CASE(__StrTran(text("a-b-c"), text("-"), text("")), "abc", 4),
      CASE(__StrTran(text("aaaa"), text("a"), text("aa")), "aaaaaaaa", 9),
      CASE(__StrTran(text("a-b-c"), text("-"), text("+"), number(3)), "a-b+c", 6),
      CASE(__StrTran(text("a-b-c"), text("-"), text("+"), number(-3), number(1)), "a+b+c", 6),
      CASE(__StrTran(text("a-b-c"), text("-"), text("+"), nullptr, number(-1)), "a+b-c", 6),
      CASE(__StrTran(text("a-b"), text("-"), text("+"), number(5)), "a-b", 4),
      CASE(__StrTran(text("a-b"), text(""), text("+")), "a-b", 4),
      CASE(__Stuff(text("abcdef"), number(2), number(3), text("XY")), "abXYf", 6),
      CASE(__Stuff(text("abc"), number(-1), number(-1), text("X")), "Xabc", 5),
      CASE(__Stuff(text("abc"), number(3), number(3), text("X")), "abcX", 5),
  });
  EXPECT_EQ(__Stuff(text("abc"), number(4), number(0), text("X")), nullptr);
  EXPECT_EQ(__Stuff(text("abc"), number(0), number(4), text("X")), nullptr);
  Obj_Node* withoutBuffer = text("");
  vorne::Release(withoutBuffer->objData.mbuff);
  withoutBuffer->objData.mbuff = nullptr;
  EXPECT_EQ(visible(__StrTran(text("a-b"), text("-"), withoutBuffer)), "ab");
}

TEST_F(Texts, SubstringsKeepZeroBytesWhenCopiesGoByLength) {
  constexpr std::string_view kSource("ab\0cd", 5);
  EXPECT_EQ(bytes(__SubStr(text(kSource), number(2), number(3))), std::string("b\0\0", 3));
  SetCheckBuffer(1);
  EXPECT_EQ(bytes(__SubStr(text(kSource), number(2), number(3))), std::string("b\0c", 3));
  EXPECT_EQ(__SubStr(text(kSource), number(9))->objData.mbuff[4], 'd');
}

TEST_F(Texts, AnArgumentMayLiveInTheOnlyFreeSlot) {
  std::vector<Obj_Node*> slots;
  for (int i = 0; i < iMaxStackElements; ++i) slots.push_back(text("abc"));
  Obj_Node* free = slots[slots.size() - 2];
  for (Obj_Node* n : slots) {
    if (n != free) LockStack({n});
  }
  ASSERT_EQ(__Upper(free), free);
  EXPECT_EQ(visible(free), "ABC");
  EXPECT_EQ(visible(__DoDecode(__DoEncode(__StrTran(__AllTrim(free), free, free)))), "ABC");
}

}  // namespace
