// What a sale has begun on the devices and not brought to its end.
#pragma once

#include <string>
#include <vector>

#include "edge/json_text.h"
#include "generated/commands.h"

namespace tool {

/// Follows the commands of a sale, so that whoever finds it cut short knows what the devices wait for.
class OpenDocuments {
 public:
  /// A command goes out.
  /// @param fields from field 2 on
  void send(const generated::Command& command, const std::vector<std::string>& fields, std::size_t line);
  /// Its answer came back. Without an answer it is taken to have begun what it begins, and to have ended nothing.
  void answer(const std::vector<std::string>& fields);

  /// Lines for the end of an error text, each with a line break before it: what is open, since which line of the
  /// script, and the commands that end it. Empty when nothing is.
  std::string text() const;
  /// [{"what", "line", "nsu", "commands"}, ...]
  Json json() const;

 private:
  struct Open {
    std::size_t kind;  // number of its row in the table of documents
    std::size_t line;
    std::vector<std::string> fields;  // of the command that began it
    std::string nsu;                  // of a payment
  };

  void begin(std::size_t kind);
  void end(std::size_t kind);
  static std::vector<std::string> commandsFor(const Open& open);

  std::vector<Open> open_;
  const generated::Command* command_ = nullptr;  // the one that is under way
  std::vector<std::string> fields_;
  std::size_t line_ = 0;
};

}  // namespace tool
