// A statement is a line with the `expect`, `answer`, `cancel` and `back` lines behind it that belong to it. Variables
// are checked in the order of the lines, so that no line can use what is set behind it.
#include "sale/script.h"

#include <algorithm>
#include <set>

#include "library/commands.h"
#include "sale/dialogue_words.h"
#include "sale/script_words.h"
#include "text/text.h"

namespace tool {
namespace {

constexpr std::size_t kTefLeast = 6;
constexpr std::size_t kTefMost = 7;
constexpr std::size_t kMostErrors = 50;

class Parser {
 public:
  Parser(std::string_view text, const std::string& name) {
    script_.name = name;
    // A byte order mark, as editors on Windows put there.
    if (text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);
    script_.lines = split(text, '\n');
  }

  /// All errors are told at once: who mends one wants to know the others.
  Script parse() {
    std::string errors;
    std::size_t count = 0;
    for (std::size_t i = 0; i < script_.lines.size(); ++i) {
      try {
        const std::vector<Word> words = cut(i + 1);
        if (!words.empty()) line(words);
      } catch (const Failure& failure) {
        // What the line would have set counts as set: one mistake must not be told again at every line that uses it.
        if (!script_.statements.empty()) keepTarget(script_.statements.back());
        if (++count <= kMostErrors) errors += (count == 1 ? "" : "\n") + std::string(failure.what());
      }
    }
    if (count > kMostErrors) errors += "\nand " + std::to_string(count - kMostErrors) + " errors more.";
    if (count > 0) throw Failure(kUsage, errors + "\n  next: correct the script; nothing was sent.");
    if (script_.statements.empty()) {
      throw Failure(kUsage, "the script " + script_.name +
                                " holds no command.\n  next: `tellira sale --help` shows what a script is made of.");
    }
    return std::move(script_);
  }

 private:
  [[noreturn]] void fail(Place place, const std::string& what) const { throw failureAt(script_, place, kUsage, what); }

  std::vector<Word> cut(std::size_t number) const {
    try {
      return cutWords(script_.lines[number - 1], number);
    } catch (const WordError& error) {
      fail({number, error.column}, std::string(error.what()) + ".");
    }
  }

  void line(std::vector<Word> words) {
    const std::string first = words.front().quoted ? "" : words.front().literal() ? words.front().text() : "";
    if (first == "expect") return expectation(words);
    if (first == "answer" || first == "cancel" || first == "back") return reply(words, first);
    // A line that is in error stays as far as it was read, so that the lines behind it are read for what they are.
    Statement& statement = script_.statements.emplace_back();
    statement.place = words.front().place;
    takeCondition(words, statement);
    statement.tried = isBare(words, "try");
    if (statement.tried) words.erase(words.begin());
    takeTarget(words, statement);
    if (words.empty()) fail(statement.place, "a command is missing here.");
    const Word name = words.front();
    if (!name.literal()) fail(name.place, "a command's name cannot come from a variable.");
    statement.words.assign(words.begin() + 1, words.end());
    classify(name, statement);
    for (const Word& word : words) checkVariables(word);
    keepTarget(statement);
  }

  void keepTarget(const Statement& statement) {
    if (statement.target.empty()) return;
    known_.insert(statement.target);
    if (statement.kind == Statement::Kind::kTef) {
      dialogues_.insert(statement.target);
    } else {
      dialogues_.erase(statement.target);
    }
  }

  static bool isBare(const std::vector<Word>& words, std::string_view text) {
    return !words.empty() && !words[0].quoted && words[0].literal() && words[0].text() == text;
  }

  /// `if VALUE SIGN VALUE` in front of a command.
  void takeCondition(std::vector<Word>& words, Statement& statement) const {
    if (!isBare(words, "if")) return;
    static const std::set<std::string> kSigns{"=", "!=", "<", "<=", ">", ">="};
    // More than four words: behind the comparison a command has to stand.
    const bool whole = words.size() > 4 && words[2].literal() && kSigns.count(words[2].text()) != 0;
    if (!whole) fail(words[0].place, "if takes VALUE SIGN VALUE and then a command; SIGN is one of = != < <= > >=.");
    checkVariables(words[1]);
    checkVariables(words[3]);
    statement.condition = {words[1], {words[2].text(), words[3]}};
    words.erase(words.begin(), words.begin() + 4);
  }

  /// `$name =` in front of a command.
  void takeTarget(std::vector<Word>& words, Statement& statement) const {
    if (words.empty() || words[0].quoted || words[0].pieces.empty() || !words[0].pieces[0].variable) return;
    const bool alone = words[0].pieces.size() == 1 && words[0].pieces[0].key == "0";
    if (words.size() < 2 || !words[1].literal() || words[1].text() != "=" || !alone) {
      fail(words[0].place, "a line cannot begin with a variable, except as `$name = COMMAND ...`.");
    }
    statement.target = words[0].pieces[0].text;
    if (statement.target == "today" || statement.target == "now") {
      fail(words[0].place, "$" + statement.target + " is the script's clock and cannot be set.");
    }
    words.erase(words.begin(), words.begin() + 2);
  }

  void classify(const Word& name, Statement& statement) const {
    if (name.text() == "echo") {
      statement.kind = Statement::Kind::kEcho;
      if (!statement.target.empty()) fail(name.place, "echo has no answer to keep.");
    } else if (name.text() == "tef") {
      statement.kind = Statement::Kind::kTef;
      if (statement.target.empty()) statement.target = "tef";
      if (statement.words.size() < kTefLeast || statement.words.size() > kTefMost) {
        fail(name.place, "tef needs FUNCTION VALUE COUPON DATE TIME OPERATOR and at most RESTRICTIONS behind them; " +
                             std::to_string(statement.words.size()) + " were given.");
      }
    } else {
      command(name, statement);
    }
  }

  void command(const Word& name, Statement& statement) const {
    statement.command = findCommand(name.text());
    if (statement.command == nullptr) fail(name.place, unknownCommandText(name.text()));
    std::vector<std::string> fields;
    std::vector<bool> literal;
    for (const Word& word : statement.words) {
      literal.push_back(word.literal());
      fields.push_back(word.literal() ? word.text() : "");
    }
    if (const auto problem = checkFields(*statement.command, fields, literal)) {
      const auto at = static_cast<std::size_t>(problem->field - 2);
      fail(at < statement.words.size() ? statement.words[at].place : name.place, problem->text);
    }
    const auto most = static_cast<std::size_t>(generated::HighestField(*statement.command)) - 1;
    if (statement.words.size() > most) {
      fail(statement.words[most].place, std::string(statement.command->name) + " takes " +
                                            (most == 0 ? "no" : std::to_string(most)) +
                                            (most == 1 ? " field" : " fields") + "; this is one too many.");
    }
  }

  void checkVariables(const Word& word) const {
    for (const Piece& piece : word.pieces) {
      if (!piece.variable) continue;
      if (known_.count(piece.text) == 0) fail(word.place, "no earlier line sets $" + piece.text + ".");
      const bool number = piece.key.find_first_not_of("0123456789") == std::string::npos;
      if (!number && (dialogues_.count(piece.text) == 0 || !isDialogueKey(piece.key))) {
        fail(word.place, "$" + piece.text + " has no part \"" + piece.key + "\"; answers have .0, .1, ... and a " +
                             "dialogue " + dialogueKeysInWords() + ".");
      }
    }
  }

  void expectation(std::vector<Word> words) {
    const Word first = words.front();
    if (script_.statements.empty() || script_.statements.back().kind == Statement::Kind::kEcho) {
      fail(first.place, "expect stands behind the command whose result it checks.");
    }
    words.erase(words.begin());
    Expectation expectation{"=", {}};
    if (!words.empty() && !words.front().quoted) takeComparison(words, expectation.comparison);
    if (words.size() != 1)
      fail(first.place, "expect takes one value, with = != < <= > or >= in front of it if wanted.");
    checkVariables(words.front());
    expectation.value = words.front();
    script_.statements.back().expectations.push_back(expectation);
  }

  /// Cuts the sign of comparison off the first word, or takes a word that is only a sign away.
  static void takeComparison(std::vector<Word>& words, std::string& comparison) {
    if (words.front().pieces.empty() || words.front().pieces.front().variable) return;
    std::string& text = words.front().pieces.front().text;
    // Two characters before one: "<" begins "<=" too.
    for (const char* sign : {"!=", "<=", ">=", "=", "<", ">"}) {
      if (text.rfind(sign, 0) != 0) continue;
      comparison = sign;
      text.erase(0, comparison.size());
      if (text.empty()) words.front().pieces.erase(words.front().pieces.begin());
      if (words.front().pieces.empty()) words.erase(words.begin());
      return;
    }
  }

  void reply(const std::vector<Word>& words, const std::string& first) {
    if (script_.statements.empty() || script_.statements.back().kind != Statement::Kind::kTef) {
      fail(words.front().place, first + " stands behind the tef line whose dialogue it belongs to.");
    }
    Reply reply{first, words.front()};
    if (first == "answer") {
      reply.keyword = words.size() > 1 && words[1].literal() ? words[1].text() : "";
      const bool valueless = reply.keyword == "yes" || reply.keyword == "no";
      if (!isAnswerKeyword(reply.keyword)) {
        fail(words.back().place, "answer takes one of " + answerKeywordsInWords() + ".");
      }
      if (words.size() != (valueless ? 2U : 3U)) {
        fail(words[1].place, "answer " + reply.keyword + (valueless ? " takes no value." : " takes one value."));
      }
      reply.value = words.back();
      checkVariables(reply.value);
    } else if (words.size() != 1) {
      fail(words[1].place, first + " takes no value.");
    }
    script_.statements.back().replies.push_back(reply);
  }

  Script script_;
  std::set<std::string> known_{"today", "now"};
  // Of known_, those that a dialogue sets: only they have named parts.
  std::set<std::string> dialogues_;
};

}  // namespace

bool Word::literal() const {
  return std::none_of(pieces.begin(), pieces.end(), [](const Piece& piece) { return piece.variable; });
}

std::string Word::text() const {
  std::string text;
  for (const Piece& piece : pieces) text += piece.text;
  return text;
}

Failure failureAt(const Script& script, Place place, Status status, const std::string& what) {
  std::string line = place.line - 1 < script.lines.size() ? script.lines[place.line - 1] : "";
  while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
  std::replace_if(
      line.begin(), line.end(), [](char c) { return c >= 0 && c < ' ' && c != '\t'; }, '?');
  std::string indent;
  for (const char c : line.substr(0, place.column)) {
    if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) indent += c == '\t' ? '\t' : ' ';
  }
  // The line stands behind the first sentence, before the advice.
  const std::size_t end = std::min(what.find('\n'), what.size());
  const std::string excerpt = "\n    " + line + "\n    " + indent + "^";
  return {status,
          script.name + ":" + std::to_string(place.line) + ": " + what.substr(0, end) + excerpt + what.substr(end)};
}

Script parseScript(std::string_view text, const std::string& name) {
  return Parser(text, name).parse();
}

}  // namespace tool
