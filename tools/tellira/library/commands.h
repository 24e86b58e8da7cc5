// The command table in words: finding a command, what its fields must hold, what its answer's fields mean.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "generated/commands.h"

namespace tool {

/// What a parameter field is to a command. Field 1 is the command's name; the fields given by a user begin at 2.
enum class FieldKind { kUnused, kNumber, kShort, kText, kAnswerText, kData };

/// The row of a name, compared without regard to case and outer blanks; null when there is none.
const generated::Command* findCommand(std::string_view name);

/// Number of a row, counted from 1 in the table's order.
std::size_t numberOf(const generated::Command& command);

/// Up to five names that `name` may have been meant to be, nearest first.
std::vector<std::string_view> nearestCommands(std::string_view name);

/// "unknown command", with the nearest names.
std::string unknownCommandText(std::string_view name);

/// The advice that belongs to it.
std::string findingCommandsText();

/// What the parameter fields of a command are, from field 2 on.
std::vector<std::string> fieldNames(const generated::Command& command);

/// What field `number` (from 2) is to a command.
FieldKind fieldKind(const generated::Command& command, int number);

/// "number", "text", ... as a user reads it.
std::string_view kindName(FieldKind kind);

/// A complaint about one field of a command line, ready to be printed.
struct FieldProblem {
  int field;  ///< number of the field, from 2
  std::string text;
};

/// The first thing wrong with the fields of a command: one is missing or is not the number it must be.
/// @param fields from field 2 on. A field for which `known` is false (filled in later) is not looked at.
std::optional<FieldProblem> checkFields(const generated::Command& command, const std::vector<std::string>& fields,
                                        const std::vector<bool>& known = {});

/// One label for each field of the answer, in order.
std::vector<std::string> answerLabels(const generated::Command& command);

/// True when the answer's first field is the vendor's result number.
bool answersResult(const generated::Command& command);

/// "2 number, 3 text, nothing", in the vendor function's order; "none" without arguments.
std::string argumentsInWords(const generated::Command& command);

/// Short name of the kind of one vendor argument, for listings.
std::string_view argumentName(generated::Argument kind);

/// The answer's form: "result", "result and texts", ...
std::string_view outputInWords(generated::Output output);

}  // namespace tool
