// Line by line: conditions, values put in for variables, the fields checked once more with them, the call, what it
// printed, then what the script expects. The first failure ends the sale; what it left open is told.
#include "sale/sale.h"

#include <cstdlib>
#include <optional>

#include "edge/interrupts.h"
#include "edge/masking.h"
#include "library/commands.h"
#include "library/diagnosis.h"
#include "library/parameter.h"
#include "library/simulator.h"
#include "text/text.h"

namespace tool {
namespace {

constexpr int kOutBytes = 65536;  // a full dialogue buffer encodes to about 27 kB

std::optional<double> numberIn(const std::string& text) {
  const std::string plain(trimmed(text));
  if (plain.empty() || plain.find_first_not_of("+-.0123456789") != std::string::npos) return std::nullopt;
  char* end = nullptr;
  const double value = std::strtod(plain.c_str(), &end);
  if (*end != '\0') return std::nullopt;
  return value;
}

bool holds(const std::string& comparison, int order) {
  if (comparison == "=") return order == 0;
  if (comparison == "!=") return order != 0;
  if (comparison == "<") return order < 0;
  if (comparison == "<=") return order <= 0;
  return comparison == ">" ? order > 0 : order >= 0;
}

/// Compares as numbers when both are numbers, else as texts.
bool holds(const std::string& left, const std::string& comparison, const std::string& right) {
  const auto a = numberIn(left);
  const auto b = numberIn(right);
  // Answers come with leading zeros and blanks: 0001 is 1.
  if (a && b) return holds(comparison, *a < *b ? -1 : *a > *b ? 1 : 0);
  return holds(comparison, left.compare(right));
}

}  // namespace

Sale::Sale(const Script& script, const SalePlaces& places, Transcript& transcript)
    : script_(script),
      places_(places),
      transcript_(transcript),
      worker_(places.library, places.directory),
      tape_(places.directory) {}

void Sale::run() {
  for (const Statement& statement : script_.statements) {
    try {
      if (Interrupts::asked()) throw failureAt(script_, statement.place, kEnded, "interrupted before this line.");
      runStatement(statement);
    } catch (const Failure&) {
      // What was printed before the failure belongs to the step that failed.
      if (!transcript_.steps().empty()) {
        transcript_.paper(tape_.newLines());
        transcript_.bad();
      }
      throw;
    }
  }
}

void Sale::runStatement(const Statement& statement) {
  if (const auto& condition = statement.condition) {
    const Expectation& right = condition->right;
    if (!holds(expanded(condition->left), right.comparison, expanded(right.value))) return;
  }
  switch (statement.kind) {
    case Statement::Kind::kEcho: {
      std::string text;
      for (const std::string& word : expanded(statement.words)) text += (text.empty() ? "" : " ") + word;
      transcript_.begin(statement.place.line, "echo", {});
      return transcript_.remark(Remark::Kind::kEcho, text);
    }
    case Statement::Kind::kTef:
      return runDialogue(statement);
    default:
      return runCommand(statement);
  }
}

void Sale::runCommand(const Statement& statement) {
  const std::vector<std::string> fields = expanded(statement.words);
  if (const auto problem = checkFields(*statement.command, fields)) {
    throw failureAt(script_, statement.words[static_cast<std::size_t>(problem->field) - 2].place, kUsage,
                    problem->text);
  }
  transcript_.begin(statement.place.line, std::string(statement.command->name), fields);
  const std::vector<std::string> answer = send(statement, *statement.command, fields);
  transcript_.answer(answer);
  transcript_.paper(tape_.newLines());
  if (!statement.target.empty()) variables_.set(statement.target, answer);
  check(statement, answer, *statement.command);
}

void Sale::runDialogue(const Statement& statement) {
  std::vector<std::string> fields = expanded(statement.words);
  if (fields.size() == 6) fields.emplace_back();  // no restrictions
  const generated::Command& start = *findCommand("IniciaFuncaoSiTefInterativo");
  if (const auto problem = checkFields(start, fields)) {
    throw failureAt(script_, statement.place, kUsage, problem->text);
  }
  transcript_.begin(statement.place.line, "tef", fields);
  DialogueHost host;
  host.send = [&](const char* name, const std::vector<std::string>& sent) {
    return send(statement, *findCommand(name), sent);
  };
  host.show = [&](Remark::Kind kind, const std::string& text) { transcript_.remark(kind, text); };
  host.expand = [&](const Word& word) { return expanded(word); };
  host.fail = [&](Place place, Status status, const std::string& what) {
    return failureAt(script_, place, status, what);
  };
  const DialogueResult result = runDialogueWith(host, statement, fields);
  // Cleared first: parts of an earlier dialogue of that name must not show through.
  variables_.set(statement.target, {result.result});
  variables_.set(statement.target, "result", result.result);
  for (const auto& [key, value] : result.kept) variables_.set(statement.target, key, value);
  transcript_.answer({result.result});
  transcript_.paper(tape_.newLines());
  check(statement, {result.result}, start);
}

/// Without an `expect` a negative result stops the script, unless the line was only tried.
void Sale::check(const Statement& statement, const std::vector<std::string>& fields,
                 const generated::Command& command) {
  const std::string& result = fields.front();
  for (const Expectation& expectation : statement.expectations) {
    const std::string wanted = expanded(expectation.value);
    if (holds(result, expectation.comparison, wanted)) continue;
    throw failureAt(script_, expectation.value.place, kNo,
                    "expected a result " + expectation.comparison + " " + wanted + ", but line " +
                        std::to_string(statement.place.line) + " answered " + shownField(maskCards(result)) + ".");
  }
  const auto number = numberIn(result);
  const bool refused = answersResult(command) && number && *number < 0;
  if (!refused || !statement.expectations.empty()) return;
  transcript_.bad();
  if (statement.tried) return;
  const std::string meaning = simulatedMeaning(command, places_.directory, result);
  throw failureAt(script_, statement.place, kNo,
                  "the device refused: it answered " + result +
                      (meaning.empty() ? ". The meaning of the number is the vendor's own." : ": " + meaning + ".") +
                      "\n  next: `try` in front of the line goes on in spite of it, `expect <0` behind it demands it.");
}

std::string Sale::expanded(const Word& word) const {
  std::string missing;
  if (auto text = variables_.expand(word, missing)) return *text;
  throw failureAt(script_, word.place, kUsage, missing + " is not there: the answer it comes from had no such part.");
}

std::vector<std::string> Sale::expanded(const std::vector<Word>& words) const {
  std::vector<std::string> texts;
  for (const Word& word : words) texts.push_back(expanded(word));
  return texts;
}

std::vector<std::string> Sale::send(const Statement& statement, const generated::Command& command,
                                    const std::vector<std::string>& fields) {
  std::vector<std::string> bytes{std::string(command.name)};
  for (std::size_t i = 0; i < fields.size(); ++i) {
    bytes.push_back(fieldBytes(
        fields[i], script_.name + ":" + std::to_string(statement.place.line) + ": field " + std::to_string(i + 2)));
  }
  // Noted before the call: what ends the process in it must be told as open too.
  open_.send(command, fields, statement.place.line);
  const Answer answer =
      worker_.call({0, parameterText(bytes, false), kOutBytes, false}, places_.timeout, std::string(command.name));
  if (answer.ending != Ending::kAnswered) {
    const CallFacts facts{std::string(command.name), &command,          fields.size(),
                          places_.library,           places_.directory, places_.timeout};
    throw failureAt(script_, statement.place, kEnded, explain(answer, facts));
  }
  if (const std::string words = quotedWords(answer.words); !words.empty()) {
    transcript_.remark(Remark::Kind::kWords, utf8FromLatin1(trimmed(answer.words)));
  }
  std::vector<std::string> values = readOutput(answer.output, false).values;
  open_.answer(values);
  return values;
}

}  // namespace tool
