// `tellira call`: one command, one answer.
#include <memory>
#include <vector>

#include "edge/console.h"
#include "edge/interrupts.h"
#include "edge/json_text.h"
#include "edge/masking.h"
#include "library/commands.h"
#include "library/diagnosis.h"
#include "library/library_options.h"
#include "library/parameter.h"
#include "library/simulator.h"
#include "library/verbs.h"
#include "library/worker.h"
#include "text/text.h"

namespace tool {
namespace {

constexpr const char* kFooter = R"(
NAME is one of the commands that `tellira commands` lists, in any mixture of upper and lower case. The FIELDs are
its parameter fields from field 2 on, in UTF-8; a field that the device fills in is given empty (''). Put -- before
the fields when one of them begins with a letter behind a dash.

The answer's fields are printed one per line. The first is the vendor's result, whose meaning is the vendor's own:
a negative result is an answer like any other, and the exit status is then 0 too. What the simulated devices mean is
told.

Examples, on the simulated devices:
  tellira call --cmd 999                         the library's version
  tellira call --cwd build/release/lib/devices ECF_AbrePortaSerial
  tellira call --cwd build/release/lib/devices ECF_NumeroCupom ''
  tellira call --cwd build/release/lib/devices --json ECF_RetornoImpressora 0 0 0
  tellira call --cwd build/release/lib/devices --timeout 20 ECF_AbreCupom 123.456.789-09
  tellira call --cwd build/release/lib/devices ECF_VendeItem 7891000100103 'Café torrado' FF I 1 2 15,90 % 0,00

Exit status: 0 answered, 2 wrong usage or input, 3 the library ended the process or something is missing.)";

struct CallOptions : LibraryOptions {
  std::string name;
  std::vector<std::string> fields;
  int outBytes = 65536;
  int command = 0;
  bool plain = false;
  bool json = false;
  bool unchecked = false;

  // The two numbers that the library answers without reading its parameters.
  bool asksVersion() const { return command == 999 || command == 997; }
};

/// The command's row, after its name and fields were found good; null when nothing is checked.
const generated::Command* checkedCommand(const CallOptions& options) {
  const generated::Command* command = findCommand(options.name);
  if (options.unchecked || options.asksVersion()) return command;
  if (options.name.empty()) throw Failure(kUsage, "no command was named.\n  next: `tellira call --help`");
  if (command == nullptr)
    throw Failure(kUsage, unknownCommandText(options.name) + "\n  next: " + findingCommandsText());
  if (const auto problem = checkFields(*command, options.fields)) {
    throw Failure(kUsage, problem->text + "\n  next: see `tellira commands " + std::string(command->name) +
                              "`; --unchecked sends the fields as they stand.");
  }
  if (static_cast<int>(options.fields.size()) + 1 > generated::HighestField(*command)) {
    note("tellira: " + std::string(command->name) + " reads no field beyond " +
         std::to_string(generated::HighestField(*command)) + "; the rest is sent but ignored.");
  }
  return command;
}

Request requestOf(const CallOptions& options) {
  std::vector<std::string> fields{fieldBytes(options.name, "the command's name", options.unchecked)};
  for (std::size_t i = 0; i < options.fields.size(); ++i) {
    fields.push_back(fieldBytes(options.fields[i], "field " + std::to_string(i + 2), options.unchecked));
  }
  return {options.command, parameterText(fields, options.plain), options.outBytes, options.plain};
}

void printFields(const Output& output, const generated::Command* command) {
  const std::vector<std::string> labels = command != nullptr ? answerLabels(*command) : std::vector<std::string>{};
  std::size_t width = 0;
  for (const std::string& label : labels) width = std::max(width, label.size());
  for (std::size_t i = 0; i < output.fields.size(); ++i) {
    std::string label = i < labels.size() ? labels[i] : labels.empty() ? "" : "more";
    if (labels.empty()) {
      print(output.fields[i] + "\n");
      continue;
    }
    label.resize(std::max(width, label.size()), ' ');
    print(styled(Style::kDim, label) + "  " + output.fields[i] + "\n");
  }
}

void printJsonAnswer(const CallOptions& options, const Answer& answer, const Output& output,
                     const std::string& meaning) {
  Json json;
  json["command"] = maskCards(options.name);
  json["returned"] = answer.returned;
  json["fields"] = output.fields;
  json["output"] = output.text;
  if (!meaning.empty()) json["meaning"] = meaning;
  printJson(json);
}

/// What a simulated device means by a refusal.
std::string meaningOf(const generated::Command* command, const CallFacts& facts, const Output& output) {
  return command == nullptr ? "" : simulatedMeaning(*command, facts.directory, output.fields.front());
}

void noteOddities(const CallOptions& options, const Answer& answer, const Output& output) {
  if (const std::string words = quotedWords(answer.words); !words.empty()) {
    note("tellira: the library printed:\n" + words.substr(0, words.size() - 1));
  }
  if (options.outBytes > 0 && answer.output.size() == static_cast<std::size_t>(options.outBytes)) {
    note("tellira: the answer filled all " + std::to_string(options.outBytes) +
         " bytes of the output buffer and may be cut; give a larger --out.");
  }
  if (!output.readable) note("tellira: the output is not Base64; it is shown as it came.");
}

int runCall(const CallOptions& options) {
  const generated::Command* command = checkedCommand(options);
  const CallFacts facts{
      options.asksVersion() && options.name.empty() ? "command " + std::to_string(options.command) : options.name,
      command,
      options.fields.size(),
      options.libraryPath(),
      options.directoryPath(),
      options.timeout()};
  const Request request = requestOf(options);
  Worker worker(facts.library, facts.directory);
  const Interrupts interrupts(Interrupts::kGoesOn, Interrupts::kIsTold);
  const Answer answer = worker.call(request, options.timeout(), facts.name);
  if (answer.ending != Ending::kAnswered) throw Failure(kEnded, explain(answer, facts));

  const Output output = readOutput(answer.output, options.plain || options.asksVersion());
  const std::string meaning = options.asksVersion() ? "" : meaningOf(command, facts, output);
  if (options.json) {
    printJsonAnswer(options, answer, output, meaning);
  } else {
    printFields(output, options.asksVersion() ? nullptr : command);
  }
  if (!meaning.empty()) note("tellira: " + output.fields.front() + " from the simulated device: " + meaning + ".");
  noteOddities(options, answer, output);
  return kDone;
}

}  // namespace

void addCall(Verb& top) {
  auto options = std::make_shared<CallOptions>();
  Verb verb = top.verb("call", "Send one command to the device and show its answer");
  addLibraryOptions(verb, *options);
  verb.option("--out", options->outBytes, "BYTES", "Size of the output buffer in bytes, 0 to 16777216 (default: 65536)",
              0, kMostOutBytes);
  verb.option("--cmd", options->command, "N",
              "Command number (default: 0); 999 and 997 answer versions without a NAME");
  verb.flag("--plain", options->plain, "Pass and read texts without encoding");
  verb.flag("--json", options->json, "Print one JSON object: command, returned, fields, output");
  verb.flag("--unchecked", options->unchecked, "Send name and fields as they stand, without looking at the table");
  verb.argument("NAME", options->name, "Command", Need::kOptional);
  verb.arguments("FIELD", options->fields, "Parameter fields from field 2 on", Need::kOptional);
  verb.footer(kFooter);
  verb.action([options] { return runCall(*options); });
}

}  // namespace tool
