// The command line as verbs declare theirs: options, flags and arguments, each read into a variable. Only cli.cpp knows
// the parser behind it, which takes a compiler longer than any verb.
#pragma once

#include <climits>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace tool {

/// What a verb does once the command line was read; returns the exit status.
using Action = std::function<int()>;

enum class Need { kRequired, kOptional };

/// A verb of the command line, or a group of verbs of which one must be named. The variables that a verb's words are
/// read into must live until its action has run: hold them in what the action captures.
class Verb {
 public:
  Verb(CLI::App& app, Action& chosen) : app_(&app), chosen_(&chosen) {}

  /// Adds a verb below this one.
  Verb verb(const char* name, const char* description);
  /// What the verb does when it is named; in a group, when none of its verbs is. To be declared before they are.
  void action(Action action);
  /// Takes all words behind the verb as they stand, options too: another program reads them.
  void passOn(std::vector<std::string>& words);
  /// Text below the options in the verb's help: examples, exit status.
  void footer(const char* text);

  /// @param type what stands for the value in the help, as in FILE
  void option(const char* name, std::string& value, const char* type, const char* description);
  void option(const char* name, int& value, const char* type, const char* description, int least = INT_MIN,
              int most = INT_MAX);
  /// An option that may be given several times.
  void option(const char* name, std::vector<std::string>& values, const char* type, const char* description);
  /// An option that takes one of a few words.
  void choice(const char* name, std::string& value, const char* type, const char* description,
              const std::vector<std::string>& words);
  void flag(const char* name, bool& value, const char* description);
  /// An option of this group that its verbs take as well: it may stand before a verb or behind it. To be declared
  /// before they are.
  void sharedOption(const char* name, std::string& value, const char* type, const char* description);

  /// Words that are no options, in the order in which they are declared.
  void argument(const char* name, std::string& value, const char* description, Need need = Need::kRequired);
  void argument(const char* name, std::uint32_t& value, const char* description);
  /// All the words that are left; to be declared last.
  void arguments(const char* name, std::vector<std::string>& values, const char* description,
                 Need need = Need::kRequired);

 private:
  CLI::App* app_;
  Action* chosen_;
  bool acts_ = false;
  std::vector<std::function<void(Verb&)>> shared_;
};

/// The tool's whole command line.
class CommandLine {
 public:
  CommandLine(const char* description, const char* version, const char* footer);
  ~CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  /// To add the verbs to.
  Verb& top() { return top_; }
  /// Reads the arguments and runs the verb that they name, or `help`.
  /// @returns the exit status
  /// @throws Failure (kUsage) for arguments that cannot be understood; what the verb's action throws
  int run(const std::vector<std::string>& arguments);

 private:
  std::unique_ptr<CLI::App> app_;
  Action chosen_;
  Verb top_;
};

}  // namespace tool
