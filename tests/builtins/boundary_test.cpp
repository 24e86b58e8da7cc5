// Texts on their way across the host boundary, and what failing memory does to them.
#include "builtins/vornefun.h"
#include "support/runtime_fixture.h"

namespace {

using namespace std::string_view_literals;

class Boundary : public RuntimeTest {};

TEST_F(Boundary, EncodedTextsCoverTheirTerminator) {
  EXPECT_EQ(bytes(__DoEncode(text("A"))), "QQA=");
  EXPECT_EQ(bytes(__DoEncode(text("1\001001234"))), "MQEwMDEyMzQA");
  EXPECT_EQ(bytes(__DoEncode(text(""))), "AA==");
  EXPECT_EQ(bytes(__DoEncode(text("\xE9\0\xFF"sv))), "6QD/AA==");
  Obj_Node* decoded = __DoDecode(text("QQA="));
  EXPECT_EQ(decoded->objLength, 3);
  EXPECT_EQ(bytes(decoded), "A\0"sv);
  EXPECT_EQ(decoded->objData.mbuff[2], '\0');
  EXPECT_EQ(bytes(__DoDecode(text("QQ=="))), "A");
  EXPECT_EQ(__DoDecode(text("")), __INIT_NIL());
  std::string all(256, '\0');
  for (int c = 0; c < 256; ++c) all[static_cast<std::size_t>(c)] = static_cast<char>(c);
  EXPECT_EQ(bytes(__DoDecode(__DoEncode(text(all)))), all + '\0');
}

TEST_F(Boundary, ADecodedTextBelongsToItsSourcesContext) {
  __begin_context();
  Obj_Node* variable = __SET_OBJECT(nullptr, text("QQA="));
  EXPECT_EQ(__DoDecode(variable)->objContext, variable->objContext);
  Obj_Node* empty = __SET_OBJECT(nullptr, text(""));
  EXPECT_EQ(__DoDecode(empty)->objContext, -1);  // the shared NIL stays as it is
  __end_context(nullptr);
}

TEST_F(Boundary, WithoutEncodingTextsAreCopied) {
  SetEncode(0);
  for (auto* copy : {&__DoEncode, &__DoDecode}) {
    SetCheckBuffer(0);
    EXPECT_EQ(bytes(copy(text("a\0b"sv))), "a");
    SetCheckBuffer(1);
    EXPECT_EQ(bytes(copy(text("a\0b"sv))), "a\0b"sv);
    EXPECT_EQ(bytes(copy(text(""))), "");
  }
}

TEST_F(Boundary, RawBuffers) {
  EXPECT_EQ(bytes(__SetBuffer("a\0b", 3)), "a\0b"sv);
  EXPECT_EQ(__SetBuffer("abc", 0), __INIT_NIL());
  EXPECT_EQ(__SetBuffer("abc", -1), __INIT_NIL());
  EXPECT_EQ(__SetBuffer(nullptr, 3), __INIT_NIL());
  EXPECT_EQ(FindLastZero("\0ab", 3), 1);
  EXPECT_EQ(FindLastZero("abc", 3), 0);
  EXPECT_EQ(FindLastZero("a\0\0", 3), 3);
  EXPECT_EQ(FindLastZero("\0", -1), 0);
  EXPECT_EQ(FindLastZero(nullptr, 3), 0);
  EXPECT_EQ(numberOf(__GetLastZero(text("a\0b"sv))), 4);
}

TEST_F(Boundary, TheFillBehindAnAnswerIsCut) {
  const struct {
    std::string_view before, after;
    int length;
  } rows[] = {
      {"001234\0\0\xFF\xFF\xFF\xFF\xFF"sv, "001234\0\0\0\xFF\xFF\xFF\xFF"sv, 9},
      {"ABCDE", "ABCDE", 5},
      {"A\xFF"
       "B\xFF",
       "A\xFF"
       "B\0"sv,
       4},
      {"\xFF\xFF\xFF", "\0\xFF\xFF"sv, 1},
      {"", "", 0},
  };
  for (const auto& r : rows) {
    std::string buffer(r.before);
    int length = static_cast<int>(buffer.size());
    __SetObjLength(buffer.data(), &length);
    EXPECT_EQ(buffer, r.after);
    EXPECT_EQ(length, r.length);
  }
}

TEST_F(Boundary, WithoutMemoryTheCodecGivesNull) {
  Obj_Node* s = text("QQA=");
  vorne::allocationsLeft = 0;
  EXPECT_EQ(Encode64("a", 1), nullptr);
  EXPECT_EQ(__DoEncode(s), nullptr);
  EXPECT_EQ(__DoDecode(s), nullptr);
  EXPECT_EQ(__SetBuffer("abc", 3)->objVarType, varNil);
}

}  // namespace
