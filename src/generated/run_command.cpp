// One table made from the rows at compile time: name to row by halves, row to adapter by its number.
#include "generated/run_command.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>
#include <string_view>

#include "generated/adapters.h"
#include "generated/answer.h"
#include "generated/argument_values.h"

namespace generated {

namespace {

using Invoke = Obj_Node* (*)(Obj_Node* const* values);

template <typename... Values>
constexpr std::size_t arity(Obj_Node* (*)(Values...)) {
  return sizeof...(Values);
}

/// Calls an adapter with its values spread out of an array.
template <auto kAdapter>
Obj_Node* invoke(Obj_Node* const* values) {
  return [values]<std::size_t... kIndex>(std::index_sequence<kIndex...>) {
    (void)values;
    return kAdapter(values[kIndex]...);
  }
  (std::make_index_sequence<arity(kAdapter)>{});
}

/// The adapter of each row, null for the command that calls none.
constexpr std::array<Invoke, kCommandCount> kInvoke = {
#define COMMAND(name, library, adapter, function, arguments, output, fields) &invoke<rows::adapter>,
#define COMMAND_VIA COMMAND
#define COMMAND_WITHOUT_CALL(name, output, fields) nullptr,
#include "generated/command_table.def"
};

// More does not compile (`at` below).
constexpr std::size_t kLongestName = 64;

struct UpperName {
  std::array<char, kLongestName> text{};
  std::size_t size{};
  int command{};

  constexpr std::string_view view() const { return {text.data(), size}; }
};

constexpr UpperName upperName(int command) {
  UpperName upper;
  upper.command = command;
  for (char c : kCommands[static_cast<std::size_t>(command)].name) {
    upper.text.at(upper.size++) = c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
  }
  return upper;
}

consteval std::array<UpperName, kCommandCount> sortedNames() {
  std::array<UpperName, kCommandCount> names;
  for (std::size_t i = 0; i < kCommandCount; ++i) names[i] = upperName(static_cast<int>(i));
  std::sort(names.begin(), names.end(), [](const auto& a, const auto& b) { return a.view() < b.view(); });
  return names;
}

// The order of comparison shows only when two rows have one name; none do, so a sorted list finds the same row.
constexpr auto kNames = sortedNames();
static_assert(std::adjacent_find(kNames.begin(), kNames.end(),
                                 [](const auto& a, const auto& b) { return a.view() == b.view(); }) == kNames.end());

}  // namespace

int FindCommand(const char* upperName) {
  const std::string_view name = upperName;
  const auto found = std::lower_bound(kNames.begin(), kNames.end(), name,
                                      [](const UpperName& entry, std::string_view n) { return entry.view() < n; });
  return found != kNames.end() && found->view() == name ? found->command : -1;
}

void RunCommand(int index, Obj_Node* fields, vorne::ByteWriter& answer) {
  const auto row = static_cast<std::size_t>(index);
  const Command& command = kCommands[row];
  if (kInvoke[row] == nullptr) {
    AnswerFieldTwo(fields, answer);
    return;
  }
  const ArgumentValues values(command.arguments, fields);
  WriteAnswer(command, kInvoke[row](values.data()), values, answer);
}

}  // namespace generated
