// What happened in a sale, step by step: shown as it goes, kept for the page and for JSON.
#pragma once

#include <string>
#include <vector>

#include "edge/json_text.h"

namespace tool {

/// A line of a sale that is neither command nor answer.
struct Remark {
  enum class Kind { kEcho, kMessage, kPrompt, kReply, kWords };
  Kind kind;
  std::string text;
};

/// One statement of a script as it ran. Every text is masked and in UTF-8.
struct Step {
  std::size_t line = 0;
  std::string command;              ///< the command's name; "tef"; "echo"
  std::vector<std::string> fields;  ///< as sent, variables filled in
  std::vector<std::string> answer;  ///< as received; empty when there was none
  std::vector<Remark> remarks;
  std::vector<std::string> paper;  ///< lines printed meanwhile
  bool good = true;                ///< the answer was what the script wants
};

class Transcript {
 public:
  /// @param shown false keeps standard output free for something else
  explicit Transcript(bool shown) : shown_(shown) {}

  void begin(std::size_t line, const std::string& command, const std::vector<std::string>& fields);
  void remark(Remark::Kind kind, const std::string& text);
  void answer(const std::vector<std::string>& fields);
  void paper(const std::vector<std::string>& lines);
  void bad();

  const std::vector<Step>& steps() const { return steps_; }
  Json json() const;

 private:
  std::vector<Step> steps_;
  bool shown_;
};

/// A field as it would be written in a script: in quotes when it needs them, cut when it is very long.
std::string shownField(const std::string& field);

}  // namespace tool
