// The command table as data: 344 rows in the order in which a name is compared.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "generated/arguments.h"

namespace generated {

/// How a command's answer is put together; the words are explained at the top of command_table.def.
enum class Output : std::uint8_t {
  RESULT,
  NUMBERS,
  TEXTS,
  TRIMMED_TEXTS,
  TWO_DIGITS,
  TEXTS_ONLY,
  ECHO_ALL,
  CONTINUATION,
  FIELD_2_BACK,
};

/// One row. `library`, `adapter` and `function` are empty for the command that calls no vendor.
struct Command {
  std::string_view name;
  std::string_view library;
  std::string_view adapter;
  std::string_view function;
  ArgList arguments;
  Output output{};
  std::string_view fields;  ///< what the parameter fields from 2 on are, with a comma between two
};

/// The highest parameter field that a command reads; 1 when it takes none.
constexpr int HighestField(const Command& command) {
  int highest = command.output == Output::FIELD_2_BACK ? 2 : 1;
  for (const Arg& argument : command.arguments) highest = std::max<int>(highest, argument.field);
  return highest;
}

/// The number of names in `fields`.
constexpr int FieldNames(const Command& command) {
  const auto commas = std::count(command.fields.begin(), command.fields.end(), ',');
  return command.fields.empty() ? 0 : static_cast<int>(commas) + 1;
}

namespace rows {
using namespace words;  // the table's own words, nowhere else
inline constexpr auto kAll = std::to_array<Command>({
#define ARGUMENTS(...) \
  { __VA_ARGS__ }
#define COMMAND(name, library, adapter, function, arguments, output, fields) \
  {#name, library, #adapter, #function, ARGUMENTS arguments, Output::output, fields},
#define COMMAND_VIA COMMAND
#define COMMAND_WITHOUT_CALL(name, output, fields) {#name, "", "", "", {}, Output::output, fields},
#include "generated/command_table.def"
#undef ARGUMENTS
});
}  // namespace rows

/// Every command, in order.
inline constexpr auto& kCommands = rows::kAll;
inline constexpr std::size_t kCommandCount = std::size(rows::kAll);
static_assert(kCommandCount == 344);
static_assert(std::all_of(std::begin(kCommands), std::end(kCommands),
                          [](const Command& command) { return FieldNames(command) == HighestField(command) - 1; }),
              "every parameter field has a name");

}  // namespace generated
