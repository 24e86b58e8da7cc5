// The text builtins by case tables: what a reader of C strings sees, and the length field, odd ones included.
#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

#include "builtins/vornefun.h"
#include "support/runtime_fixture.h"

namespace {

using namespace std::string_view_literals;

/// An argument, made anew for every call; left out where a row has none.
struct Arg {
  Arg(const char* s = nullptr) : content(s) {}
  Arg(int n) : value(n) {}
  Arg(double n) : value(n) {}
  Obj_Node* make(bool leaveOutByNil) const {
    if (value) return number(*value);
    return content != nullptr ? text(content) : leaveOutByNil ? __INIT_NIL() : nullptr;
  }
  const char* content = nullptr;
  std::optional<double> value;
};

struct Row {
  Arg args[5];
  std::string_view shown;
  int length;
};

class Texts : public RuntimeTest {
 protected:
  /// Both rules of copying give the same for texts without zero bytes, and so do both ways to leave arguments out.
  template <typename... Nodes>
  static void expect(const char* name, Obj_Node* (*builtin)(Nodes...), std::initializer_list<Row> rows) {
    for (const Row& r : rows) {
      for (const bool byLength : {false, true}) {
        SCOPED_TRACE(testing::Message() << name << " row " << &r - rows.begin() + 1 << " by length " << byLength);
        SetCheckBuffer(byLength);
        const Obj_Node* n = [&]<std::size_t... i>(std::index_sequence<i...>) {
          return builtin(r.args[i].make(byLength)...);
        }
        (std::index_sequence_for<Nodes...>());
        ASSERT_EQ(visible(n), r.shown);
        EXPECT_EQ(n->objLength, r.length);
        std::string filled(r.shown);  // what the length field promises beyond the text is zero
        filled.resize(static_cast<std::size_t>(std::max(r.length - 1, 0)));
        EXPECT_EQ(bytes(n), filled);
      }
    }
    SetCheckBuffer(0);
  }
};
#define EXPECT_TEXTS(builtin, ...) expect(#builtin, &builtin, {__VA_ARGS__})

TEST_F(Texts, Substrings) {
  EXPECT_TEXTS(__SubStr, {{"abc", 2}, "bc", 3}, {{"abc", 2, 1}, "b", 2}, {{"abc", 2, 5}, "bc", 3},
               {{"abc", 1, 2147483647}, "abc", 4}, {{"abc", -7, 2}, "ab", 3},
               // Nothing there: the whole text under a length field that is one short.
               {{"abc", 5}, "abc", 3}, {{"abc", 2, 0}, "abc", 3}, {{"", 1}, "", 0});
  EXPECT_TEXTS(__Left, {{"abc", 2}, "ab", 4}, {{"abc", 9}, "abc", 5}, {{"abc", 0.5}, "", 2}, {{"abc", 0}, "abc", 4},
               {{"abc", NAN}, "abc", 4});
  EXPECT_TEXTS(__Right, {{"abc", 2}, "bc", 4}, {{"abc", 5}, "abc", 4}, {{"abc", -1}, "abc", 4});
  EXPECT_TEXTS(__Chr, {{65}, "A", 2}, {{0}, "", 2}, {{256 + 233.9}, "\xE9", 2});
  EXPECT_EQ(numberOf(__Asc(text("\xFF"))), 255);
  EXPECT_EQ(numberOf(__Asc(text(""))), 0);
  constexpr auto kZeroInside = "ab\0cd"sv;
  EXPECT_EQ(bytes(__SubStr(text(kZeroInside), number(2), number(3))), "b\0\0"sv);
  SetCheckBuffer(1);
  EXPECT_EQ(bytes(__SubStr(text(kZeroInside), number(2), number(3))), "b\0c"sv);
  EXPECT_EQ(__SubStr(text(kZeroInside), number(9))->objData.mbuff[4], 'd');
}

TEST_F(Texts, Searching) {
  const struct {
    std::string_view needle, hay;
    double at, last, atByLength;
  } rows[] = {{"c", "abc", 3, 3, 3},          {"abc", "abc", 1, 1, 1},  {"abcd", "abc", 0, 0, 0},
              {"aa", "aaaa", 1, 3, 1},        {"", "abc", 1, 0, 1},     {"a", "", 0, 0, 0},
              {"\x02", "N\x02\0"sv, 2, 2, 2}, {"b", "a\0b"sv, 0, 0, 3}, {"a\0c"sv, "ab a\0c"sv, 1, 4, 4},
              {"\0"sv, "ab\0c"sv, 1, 0, 3}};
  for (const auto& r : rows) {
    SCOPED_TRACE(testing::PrintToString(r.needle) + " in " + testing::PrintToString(r.hay));
    EXPECT_EQ(numberOf(__At(text(r.needle), text(r.hay))), r.at);
    EXPECT_EQ(numberOf(__Rat(text(r.needle), text(r.hay))), r.last);
    SetCheckBuffer(1);
    EXPECT_EQ(numberOf(__At(text(r.needle), text(r.hay))), r.atByLength);
    SetCheckBuffer(0);
  }
  const char* hay = "abcab";
  EXPECT_EQ(FindStr(hay + 1, 5, "ab", 2), hay + 3);
  EXPECT_EQ(FindStr(hay + 1, 4, "ab", 2), nullptr);  // the very last place is never tried
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
  // Copied up to the first zero byte, under the length field of the whole.
  EXPECT_EQ(bytes(__Upper(text("ab\0cd"sv))), "AB\0\0\0"sv);
}

TEST_F(Texts, TrimmingAndPadding) {
  EXPECT_TEXTS(__LTrim, {{"  a b "}, "a b ", 5}, {{"   "}, "", 1}, {{""}, "", 1});
  EXPECT_TEXTS(__RTrim, {{"  a b  "}, "  a b", 6}, {{"   "}, " ", 2}, {{""}, "", 1});
  EXPECT_TEXTS(__AllTrim, {{"  a b  "}, "a b", 4}, {{"   "}, "", 1}, {{"\t \n"}, "\t \n", 4}, {{"\xA0 "}, "\xA0", 2});
  EXPECT_TEXTS(__PadR, {{"ab", 5}, "ab   ", 6}, {{"abc", 2}, "abc", 4}, {{"ab", 5, ""}, "ab", 3});
  EXPECT_TEXTS(__Pad, {{"ab", 4, "-"}, "ab--", 5});
  EXPECT_TEXTS(__PadL, {{"ab", 4, "0"}, "00ab", 8}, {{"ab", 4, ""}, "ab", 8}, {{"abcd", 4, "0"}, "abcd", 5});
  EXPECT_TEXTS(__PadC, {{"abcd", 8, "--"}, "abc--d", 9}, {{"a", 9, "*"}, "a*", 10}, {{"ab", 1, "*"}, "ab", 3});
  EXPECT_TEXTS(__Space, {{3}, "   ", 4}, {{0}, "", 1});
  EXPECT_TEXTS(__Replicate, {{"ab", 3}, "ababab", 10}, {{"ab", -3}, "", 1});
  // Longer than the length field tells, in a buffer that is large enough all the same.
  EXPECT_TEXTS(__PadR, {{"ab", 5, "xy"}, "abxyxy", 6});
  EXPECT_TEXTS(__PadL, {{"ab", 5, "xyz"}, "xyzxyzxyzab", 9});
}

TEST_F(Texts, Replacing) {
  EXPECT_TEXTS(__StrTran, {{"a-b-c", "-", "+"}, "a+b+c", 6}, {{"a-b-c", "-", "<->"}, "a<->b<->c", 10},
               {{"a-b-c", "-", ""}, "abc", 4}, {{"aaaa", "a", "aa"}, "aaaaaaaa", 9},
               {{"a-b-c", "-", "+", 3}, "a-b+c", 6}, {{"a-b-c", "-", "+", -3, 1}, "a+b+c", 6},
               {{"a-b-c", "-", "+", nullptr, -1}, "a+b-c", 6}, {{"a-b", "-", "+", 5}, "a-b", 4},
               {{"a-b", "", "+"}, "a-b", 4}, {{"a-b-c", "-", "+", 1, 0}, "a+b+c", 6});
  EXPECT_TEXTS(__Stuff, {{"abcdef", 2, 3, "XY"}, "abXYf", 6}, {{"abc", -1, -1, "X"}, "Xabc", 5},
               {{"abc", 3, 3, "X"}, "abcX", 5});
  EXPECT_EQ(__Stuff(text("abc"), number(4), number(0), text("X")), nullptr);
  EXPECT_EQ(__Stuff(text("abc"), number(0), number(4), text("X")), nullptr);
  Obj_Node* withoutBuffer = text("");
  __SET_OBJECT(nullptr, withoutBuffer);
  EXPECT_EQ(visible(__StrTran(text("a-b"), text("-"), withoutBuffer)), "ab");
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
