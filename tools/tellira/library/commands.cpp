// All of it is read from the one command table, so that no list here can fall behind. Fields are numbered from 2, as
// the parameter text has them: field 1 is the command's name.
#include "library/commands.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>

#include "edge/nearest.h"
#include "text/text.h"

namespace tool {
namespace {

using generated::Argument;
using generated::Command;
using generated::Output;

FieldKind kindOf(Argument argument) {
  switch (argument) {
    case Argument::kNumber:
    case Argument::kNumberRef:
      return FieldKind::kNumber;
    case Argument::kShortRef:
      return FieldKind::kShort;
    case Argument::kText:
      return FieldKind::kText;
    case Argument::kTextRef:
      return FieldKind::kAnswerText;
    case Argument::kDataRef:
      return FieldKind::kData;
    default:
      return FieldKind::kUnused;
  }
}

std::string missingText(const Command& command, int field, std::size_t given) {
  const int highest = HighestField(command);
  const FieldKind kind = fieldKind(command, field);
  std::string text =
      std::string(command.name) + " needs field" + (highest == 2 ? " 2" : "s 2 to " + std::to_string(highest)) +
      ", but " + (given == 0 ? "none was given" : std::to_string(given) + (given == 1 ? " was" : " were") + " given") +
      ": field " + std::to_string(field) + " (" + std::string(kindName(kind)) +
      ") is missing: " + fieldNames(command)[static_cast<std::size_t>(field) - 2] + ".";
  if (kind == FieldKind::kAnswerText) text += " The device writes its answer there; give an empty text: ''.";
  if (kind == FieldKind::kUnused) text += " It is never read, but its place must be there: give ''.";
  return text;
}

/// Why a text is not a number that the library reads as it is meant; nothing when it is one.
std::optional<std::string> numberProblem(std::string_view text, double lowest, double highest) {
  std::string plain(trimmed(text));
  // The library takes for 0 what is no number, and sends that.
  if (plain.empty()) return "is empty where a number must stand";
  std::replace(plain.begin(), plain.end(), ',', '.');
  double value = 0;
  const auto [end, error] = std::from_chars(plain.data(), plain.data() + plain.size(), value, std::chars_format::fixed);
  const bool digitsOnly = plain.find_first_not_of("-.0123456789") == std::string::npos;
  if (error != std::errc{} || end != plain.data() + plain.size() || !digitsOnly) return "is not a number";
  if (value < lowest || value > highest) {
    return "is outside " + std::to_string(static_cast<long>(lowest)) + " to " +
           std::to_string(static_cast<long>(highest));
  }
  return std::nullopt;
}

std::optional<std::string> valueProblem(FieldKind kind, std::string_view value) {
  if (kind == FieldKind::kNumber) return numberProblem(value, INT_MIN, INT_MAX);
  if (kind == FieldKind::kShort) return numberProblem(value, SHRT_MIN, SHRT_MAX);
  return std::nullopt;
}

}  // namespace

const Command* findCommand(std::string_view name) {
  const std::string wanted = upperCase(trimmed(name));
  const auto found = std::find_if(generated::kCommands.begin(), generated::kCommands.end(),
                                  [&](const Command& command) { return upperCase(command.name) == wanted; });
  return found == generated::kCommands.end() ? nullptr : &*found;
}

std::size_t numberOf(const Command& command) {
  return static_cast<std::size_t>(&command - generated::kCommands.data()) + 1;
}

std::vector<std::string_view> nearestCommands(std::string_view name) {
  std::vector<std::string_view> names;
  for (const Command& command : generated::kCommands) names.emplace_back(command.name);
  return nearestNames(name, names);
}

std::string unknownCommandText(std::string_view name) {
  return "there is no command \"" + std::string(trimmed(name)) + "\"." + nearText(nearestCommands(name));
}

std::string findingCommandsText() {
  return "`tellira commands` lists all " + std::to_string(generated::kCommandCount) +
         "; `tellira commands PATTERN` searches them.";
}

std::vector<std::string> fieldNames(const Command& command) {
  std::vector<std::string> names = command.fields.empty() ? std::vector<std::string>{} : split(command.fields, ',');
  for (std::string& name : names) name = trimmed(name);
  return names;
}

FieldKind fieldKind(const Command& command, int number) {
  if (command.output == Output::FIELD_2_BACK && number == 2) return FieldKind::kText;
  FieldKind kind = FieldKind::kUnused;
  for (const auto& argument : command.arguments) {
    if (argument.field == number && kind == FieldKind::kUnused) kind = kindOf(argument.kind);
  }
  return kind;
}

std::string_view kindName(FieldKind kind) {
  static constexpr std::array<std::string_view, 6> kNames{
      "not used", "number", "number of 16 bits", "text", "text, filled in by the device", "data of the dialogue"};
  return kNames[static_cast<std::size_t>(kind)];
}

std::optional<FieldProblem> checkFields(const Command& command, const std::vector<std::string>& fields,
                                        const std::vector<bool>& known) {
  for (int field = 2; field <= HighestField(command); ++field) {
    const auto at = static_cast<std::size_t>(field - 2);
    if (at >= fields.size()) return FieldProblem{field, missingText(command, field, fields.size())};
    if (at < known.size() && !known[at]) continue;
    const FieldKind kind = fieldKind(command, field);
    if (const auto problem = valueProblem(kind, fields[at])) {
      return FieldProblem{field, "field " + std::to_string(field) + " of " + std::string(command.name) + ", \"" +
                                     fields[at] + "\", " + *problem + "; it must be a " + std::string(kindName(kind)) +
                                     " such as 1 or -5."};
    }
  }
  return std::nullopt;
}

std::vector<std::string> answerLabels(const Command& command) {
  std::vector<std::string> labels;
  if (answersResult(command)) labels.emplace_back("result");
  const auto field = [](int number) { return "field " + std::to_string(number); };
  switch (command.output) {
    case Output::RESULT:
      break;
    case Output::TWO_DIGITS:
      labels.emplace_back("three two-digit numbers");
      break;
    case Output::ECHO_ALL:
      for (int i = 2; i <= HighestField(command); ++i) labels.push_back(field(i));
      break;
    case Output::CONTINUATION:
      for (const char* label : {"command", "field type", "shortest", "longest", "data"}) labels.emplace_back(label);
      break;
    case Output::FIELD_2_BACK:
      labels.push_back(field(2));
      break;
    default:
      for (const auto& argument : command.arguments) {
        if (!generated::returned(argument.kind)) continue;
        labels.push_back(argument.field != 0 ? field(argument.field) : "text");
      }
  }
  return labels;
}

bool answersResult(const Command& command) {
  return command.output != Output::TEXTS_ONLY;
}

std::string argumentsInWords(const Command& command) {
  std::string words;
  for (const auto& argument : command.arguments) {
    if (!words.empty()) words += ", ";
    if (argument.field != 0) words += std::to_string(argument.field) + " ";
    words += argumentName(argument.kind);
  }
  if (command.output == Output::FIELD_2_BACK) return "2 text (no vendor call)";
  return words.empty() ? "none" : words;
}

std::string_view argumentName(Argument kind) {
  static constexpr std::array<std::string_view, 10> kNames{
      "number",          "number (returned)", "16-bit number (returned)", "text",
      "text (returned)", "nothing",           "zero (returned)",          "six blanks (returned)",
      "data (returned)", "size of the data"};
  return kNames[static_cast<std::size_t>(kind)];
}

std::string_view outputInWords(Output output) {
  static constexpr std::array<std::string_view, 9> kNames{"result",
                                                          "result and numbers",
                                                          "result and texts",
                                                          "result and trimmed texts",
                                                          "result and six digits",
                                                          "texts, no result",
                                                          "result and every field",
                                                          "result, four numbers and the data",
                                                          "0 and field 2"};
  return kNames[static_cast<std::size_t>(output)];
}

}  // namespace tool
