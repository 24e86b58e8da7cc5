// `tellira commands`: the command table, listed and searched.
#include <unistd.h>

#include <memory>
#include <vector>

#include "edge/console.h"
#include "edge/json_text.h"
#include "edge/terminal.h"
#include "edge/text_table.h"
#include "library/commands.h"
#include "library/verbs.h"
#include "text/text.h"

namespace tool {
namespace {

using generated::Command;

constexpr const char* kFooter = R"(
PATTERN is a part of a name, or a pattern with * and ?, in any mixture of upper and lower case. A whole name shows that
command alone, with the names of its fields. Arguments stand in the vendor function's own order; the number is the
parameter field that fills the place (field 1 is the name). On a narrow terminal the fields' names stand alone.

Examples:
  tellira commands cupom
  tellira commands 'ECF_*MFD'
  tellira commands ECF_VendeItem
  tellira commands --json

Exit status: 0 done, 1 no command matches, 2 wrong usage.)";

struct CommandsOptions {
  std::string pattern;
  bool json = false;
};

bool matches(const Command& command, const std::string& pattern) {
  // A plain word is looked for anywhere in the names.
  const bool glob = pattern.find_first_of("*?") != std::string::npos;
  return matchesGlob(glob ? pattern : "*" + pattern + "*", command.name);
}

TextTable<7> tableOf(const std::vector<const Command*>& commands) {
  const auto orDash = [](std::string_view text) { return text.empty() ? std::string("-") : std::string(text); };
  TextTable<7> table{{"No", "Command", "Library", "Adapter", "Vendor function", "Answer", "Arguments"}};
  for (const Command* command : commands)
    table.add({std::to_string(numberOf(*command)), std::string(command->name), orDash(command->library),
               orDash(command->adapter), orDash(command->function), std::string(outputInWords(command->output)),
               argumentsInWords(*command)});
  return table;
}

/// What a narrow terminal has room for.
TextTable<3> narrowTableOf(const std::vector<const Command*>& commands) {
  TextTable<3> table{{"No", "Command", "Fields"}};
  for (const Command* command : commands)
    table.add({std::to_string(numberOf(*command)), std::string(command->name), std::string(command->fields)});
  return table;
}

void printListing(const std::vector<const Command*>& commands) {
  const TextTable<7> table = tableOf(commands);
  const std::size_t width = terminalWidth(STDOUT_FILENO);
  if (width == 0 || table.width() <= width) {
    table.print();
  } else {
    narrowTableOf(commands).print();
  }
}

/// One command with all that is known of it.
void printCommand(const Command& command) {
  const std::string vendor = command.library.empty()
                                 ? "none is called"
                                 : std::string(command.function) + " of " + std::string(command.library) +
                                       ", by the adapter " + std::string(command.adapter);
  print(styled(Style::kBold, command.name) + "\n");
  TextTable<2> facts{{"Number", std::to_string(numberOf(command))}};
  facts.add({"Vendor function", vendor});
  facts.add({"Its arguments", argumentsInWords(command)});
  facts.add({"Answer", std::string(outputInWords(command.output))});
  const std::vector<std::string> names = fieldNames(command);
  for (std::size_t i = 0; i < names.size(); ++i) {
    const int field = static_cast<int>(i) + 2;
    facts.add({"Field " + std::to_string(field), names[i] + ": " + std::string(kindName(fieldKind(command, field)))});
  }
  facts.print();
}

Json jsonOf(const Command& command) {
  const std::vector<std::string> names = fieldNames(command);
  Json arguments = Json::array();
  for (const auto& argument : command.arguments) {
    Json one;
    one["kind"] = argumentName(argument.kind);
    one["field"] = argument.field == 0 ? Json() : Json(argument.field);
    one["returned"] = generated::returned(argument.kind);
    one["name"] = argument.field == 0 ? Json() : Json(names[argument.field - 2U]);
    arguments.push_back(one);
  }
  Json json;
  json["number"] = numberOf(command);
  json["name"] = command.name;
  json["library"] = command.library;
  json["adapter"] = command.adapter;
  json["function"] = command.function;
  json["fields"] = names.size();
  json["names"] = names;
  json["arguments"] = arguments;
  json["output"] = outputInWords(command.output);
  json["answer"] = answerLabels(command);
  return json;
}

int runCommands(const CommandsOptions& options) {
  std::vector<const Command*> found;
  const Command* const named = findCommand(options.pattern);
  if (named != nullptr) found.push_back(named);
  for (const Command& command : generated::kCommands) {
    if (named == nullptr && matches(command, options.pattern)) found.push_back(&command);
  }
  if (options.json) {
    Json list = Json::array();
    for (const Command* command : found) list.push_back(jsonOf(*command));
    printJson(list);
  } else if (named != nullptr) {
    printCommand(*named);
  } else if (!found.empty()) {
    printListing(found);
  }
  if (!found.empty()) return kDone;
  complain("no command matches \"" + options.pattern +
           "\".\n  next: a shorter part of the name, or `tellira commands` "
           "for all of them.");
  return kNo;
}

}  // namespace

void addCommands(Verb& top) {
  auto options = std::make_shared<CommandsOptions>();
  Verb verb = top.verb("commands", "List the commands: library, vendor function, fields, answer");
  verb.flag("--json", options->json, "Print a JSON array");
  verb.argument("PATTERN", options->pattern, "Name, part of one, or a pattern with * and ?", Need::kOptional);
  verb.footer(kFooter);
  verb.action([options] { return runCommands(*options); });
}

}  // namespace tool
