// The command table as data: 344 rows in the order in which a name is compared.
#pragma once

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
};

namespace rows {
using namespace words;  // the table's own words, nowhere else
inline constexpr auto kAll = std::to_array<Command>({
#define ARGUMENTS(...) \
  { __VA_ARGS__ }
#define COMMAND(name, library, adapter, function, arguments, output) \
  {#name, library, #adapter, #function, ARGUMENTS arguments, Output::output},
#define COMMAND_VIA COMMAND
#define COMMAND_WITHOUT_CALL(name, output) {#name, "", "", "", {}, Output::output},
#include "generated/command_table.def"
#undef ARGUMENTS
});
}  // namespace rows

/// Every command, in order.
inline constexpr auto& kCommands = rows::kAll;
inline constexpr std::size_t kCommandCount = std::size(rows::kAll);
static_assert(kCommandCount == 344);

}  // namespace generated
