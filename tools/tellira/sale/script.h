// Sale scripts, read and checked as a whole before the first command goes to a device. docs/sale-scripts.md describes
// the language.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "edge/console.h"
#include "generated/commands.h"

namespace tool {

/// Where a word stands, for messages.
struct Place {
  std::size_t line = 0;    ///< counted from 1
  std::size_t column = 0;  ///< byte of the line, counted from 0
};

/// A stretch of a word: literal text, or a variable's name with a key ("0" when none is written).
struct Piece {
  std::string text;
  std::string key;
  bool variable = false;
};

/// One word of a line, quotes and escapes resolved.
struct Word {
  std::vector<Piece> pieces;
  Place place;
  bool quoted = false;

  /// True when no variable takes part.
  bool literal() const;
  /// The text of a literal word.
  std::string text() const;
};

/// `expect`: what the command before it must have answered.
struct Expectation {
  std::string comparison;  ///< one of = != < <= > >=
  Word value;
};

/// One `answer`, `cancel` or `back` line of a dialogue.
struct Reply {
  std::string keyword;  ///< "menu", "card", ...; "cancel"; "back"
  Word value;
};

/// `if`: the line runs only when this holds.
struct Condition {
  Word left;
  Expectation right;
};

struct Statement {
  enum class Kind { kCommand, kTef, kEcho };

  Kind kind = Kind::kCommand;
  Place place;
  const generated::Command* command = nullptr;  ///< the row of a kCommand
  std::vector<Word> words;                      ///< fields from field 2 on, a dialogue's arguments, what to echo
  std::string target;                           ///< variable that keeps the answer; empty for none
  std::optional<Condition> condition;
  bool tried = false;  ///< a negative result does not stop the script
  std::vector<Expectation> expectations;
  std::vector<Reply> replies;
};

struct Script {
  std::string name;                ///< file name for messages
  std::vector<std::string> lines;  ///< as written, for messages
  std::vector<Statement> statements;
};

/// A failure at one place of a script: name, line and column, the line itself and a caret under the place.
Failure failureAt(const Script& script, Place place, Status status, const std::string& what);

/// Reads a script.
/// @param text UTF-8, at most kMostScriptBytes
/// @throws Failure (kUsage) for a script without a command, and with all the lines that cannot be read or that can only
/// go
///   wrong when they run: unknown command, missing field, bad number, variable that no earlier line sets
Script parseScript(std::string_view text, const std::string& name);

inline constexpr std::size_t kMostScriptBytes = 1 << 20;

}  // namespace tool
