#include "generated/constants.h"

#include <array>

namespace generated {

namespace {

struct Literal {
  enum Kind { kText, kNumber, kLogical } kind{};
  const char* text{};
  double number{};
};

struct Pool {
  std::array<Literal, kConstantCount> literals{};
  int count{};
  ConstantIndex index{};

  constexpr int add(Literal literal) {
    literals.at(static_cast<std::size_t>(count)) = literal;  // one literal too many does not compile
    return count++;
  }
  constexpr int text(const char* s) { return add({Literal::kText, s, 0}); }
  constexpr int number(double v) { return add({Literal::kNumber, nullptr, v}); }
  constexpr int logical(bool v) { return add({Literal::kLogical, nullptr, v ? 1.0 : 0.0}); }

  constexpr void addArgument(const Arg& arg) {
    if (arg.kind == Argument::kDataSize) {  // the size stands for the buffer that it is taken before
      index.dialogueBuffer = number(kDialogueBuffer);
    } else if (arg.field != 0 && index.fieldNumbers[arg.field] == 0) {
      index.fieldNumbers[arg.field] = number(arg.field);
    }
  }
};

consteval Pool makePool() {
  Pool pool;
  ConstantIndex& at = pool.index;
  at.emptyText = pool.text("");
  at.zero = pool.number(0);
  pool.logical(false);
  at.cmdVersion = pool.number(999);
  at.versionText = pool.text("3.4.1.3");
  at.one = pool.number(1);
  at.cmdRevision = pool.number(997);
  at.revisionText = pool.text("11");
  pool.logical(true);
  at.two = at.fieldNumbers[2] = pool.number(2);
  for (std::size_t i = 0; i < kCommandCount; ++i) {
    at.names[i] = pool.text(kCommands[i].name.data());
    for (const Arg& arg : kCommands[i].arguments) pool.addArgument(arg);
  }
  at.notFound = pool.text("Function not found in TELLIRA.DLL/SO -> ");
  at.library = pool.text("Library TELLIRA");
  return pool;
}

constexpr Pool kPool = makePool();
static_assert(kPool.count == kConstantCount);

Obj_Node* valueOf(const Literal& literal) {
  switch (literal.kind) {
    case Literal::kText:
      return __INIT_CHARCONST(literal.text);
    case Literal::kNumber:
      return __INIT_DOUBLE(literal.number);
    default:
      return __INIT_BOOL(literal.number != 0);
  }
}

}  // namespace

const ConstantIndex kConstants = kPool.index;

void FillConstantPool() {
  __const_set_amount(kConstantCount);
  for (const Literal& literal : kPool.literals) __const_add_el(valueOf(literal));
  if (S_GLOB->LastConst != kConstantCount - 1) __RuntimeError(0, -1);
}

}  // namespace generated
