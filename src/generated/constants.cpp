#include "generated/constants.h"

#include <array>
#include <string_view>
#include <utility>

namespace generated {

namespace {

constexpr Obj_Node constant(varTypes type, std::int32_t length, ObjData data) {
  return {nullptr, vConst, type, length, data, 1, -1};
}

struct Pool {
  std::array<Obj_Node, kConstantCount> nodes{};
  int count{};
  ConstantIndex index{};

  constexpr int add(const Obj_Node& node) {
    nodes.at(static_cast<std::size_t>(count)) = node;  // one literal too many does not compile
    return count++;
  }
  constexpr int text(std::string_view s) {
    // The runtime never writes through a constant's pointer.
    return add(constant(varString, static_cast<std::int32_t>(s.size()) + 1, {.mbuff = const_cast<char*>(s.data())}));
  }
  constexpr int number(double v) { return add(constant(varNumber, -1, {.mdbl = v})); }
  constexpr int logical(bool v) { return add(constant(varBool, -1, {.mbool = v})); }

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
  // Nothing here uses it; it keeps the constants behind it in their places.
  pool.logical(false);
  at.cmdVersion = pool.number(999);
  at.versionText = pool.text("3.4.1.3");
  at.one = pool.number(1);
  at.cmdRevision = pool.number(997);
  at.revisionText = pool.text("11");
  pool.logical(true);
  at.two = at.fieldNumbers[2] = pool.number(2);
  for (std::size_t i = 0; i < kCommandCount; ++i) {
    at.names[i] = pool.text(kCommands[i].name);
    for (const Arg& arg : kCommands[i].arguments) pool.addArgument(arg);
  }
  at.notFound = pool.text("Function not found in TELLIRA.DLL/SO -> ");
  at.library = pool.text("Library TELLIRA");
  return pool;
}

constexpr Pool kPool = makePool();
static_assert(kPool.count == kConstantCount);

// Nobody writes to them: assignment leaves constants alone, and the command logic never counts one up or down.
constinit std::array<Obj_Node, kConstantCount> nodes = kPool.nodes;

template <std::size_t... kIndex>
constexpr std::array<Obj_Node*, kConstantCount> addresses(std::index_sequence<kIndex...>) {
  return {&nodes[kIndex]...};
}
constinit std::array<Obj_Node*, kConstantCount> table = addresses(std::make_index_sequence<kConstantCount>{});

}  // namespace

const ConstantIndex kConstants = kPool.index;

void FillConstantPool() {
  SetConstants(table);
  if (S_GLOB->LastConst != kConstantCount - 1) __RuntimeError(0, -1);
}

}  // namespace generated
