#include "edge/cli.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <utility>

#include "edge/console.h"

namespace tool {
namespace {

// The parser takes an argument in square brackets apart as a list; a field must arrive as it was typed.
constexpr char kGuard = '\xFF';  // never part of a UTF-8 text

std::string guarded(const std::string& argument) {
  return !argument.empty() && argument.front() == '[' ? kGuard + argument : argument;
}

std::string unguarded(const std::string& argument) {
  return !argument.empty() && argument.front() == kGuard ? argument.substr(1) : argument;
}

CLI::Option& addText(CLI::App& app, const char* name, std::string& value, const char* type, const char* description) {
  const auto take = [&value](const std::string& text) { value = unguarded(text); };
  return *app.add_option_function<std::string>(name, take, description)->type_name(type);
}

/// The verb that was named, as far as it goes: a group, a verb of it, or the tool itself.
const CLI::App& chosenIn(const CLI::App& app) {
  const auto verbs = app.get_subcommands();
  return verbs.empty() ? app : chosenIn(*verbs.front());
}

/// How a verb is called, as in "tellira db list".
std::string callOf(const CLI::App& verb) {
  return verb.get_parent() == nullptr ? verb.get_name() : callOf(*verb.get_parent()) + " " + verb.get_name();
}

std::string verbNames(const CLI::App& app) {
  std::string names;
  for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; })) {
    names += (names.empty() ? "" : ", ") + verb->get_name();
  }
  return names;
}

/// The word that stands where the verb of `group` belongs; empty when there is none, or an option comes first.
std::string unknownVerb(const CLI::App& group, const std::vector<std::string>& arguments) {
  auto word = arguments.begin();
  if (group.get_parent() != nullptr) word = std::find(arguments.begin(), arguments.end(), group.get_name()) + 1;
  return word == arguments.end() || word->starts_with('-') ? "" : *word;
}

/// A word that is no verb would otherwise only be told as "a verb is missing".
std::string parserWords(const CLI::App& verb, const CLI::ParseError& error, const std::vector<std::string>& arguments) {
  const std::string names = verbNames(verb);
  if (names.empty()) return error.what();
  const std::string word = unknownVerb(verb, arguments);
  if (!word.empty()) return "there is no verb \"" + word + "\"; the verbs are " + names + ".";
  return arguments.empty() || arguments.back() == verb.get_name() ? "a verb is missing; the verbs are " + names + "."
                                                                  : error.what();
}

int usageError(const CLI::App& app, const CLI::ParseError& error, const std::vector<std::string>& arguments) {
  const CLI::App& verb = chosenIn(app);
  complain(parserWords(verb, error, arguments) + "\n  next: `" + callOf(verb) + " --help` shows how it is used.");
  return kUsage;
}

}  // namespace

Verb Verb::verb(const char* name, const char* description) {
  Verb below(*app_->add_subcommand(name, description), *chosen_);
  app_->require_subcommand(1);
  below.shared_ = shared_;
  for (const auto& declare : shared_) declare(below);
  return below;
}

void Verb::action(Action action) {
  app_->callback([chosen = chosen_, action = std::move(action)] { *chosen = action; });
}

void Verb::footer(const char* text) {
  app_->footer(text);
}

void Verb::option(const char* name, std::string& value, const char* type, const char* description) {
  addText(*app_, name, value, type, description);
}

void Verb::option(const char* name, int& value, const char* type, const char* description, int least, int most) {
  CLI::Option& option = *app_->add_option(name, value, description)->type_name(type);
  if (least != INT_MIN || most != INT_MAX) option.check(CLI::Range(least, most));
}

void Verb::choice(const char* name, std::string& value, const char* type, const char* description,
                  const std::vector<std::string>& words) {
  addText(*app_, name, value, type, description).check(CLI::IsMember(words));
}

void Verb::flag(const char* name, bool& value, const char* description) {
  app_->add_flag(name, value, description);
}

void Verb::sharedOption(const char* name, std::string& value, const char* type, const char* description) {
  option(name, value, type, description);
  shared_.emplace_back([=, &value](Verb& below) { below.option(name, value, type, description); });
}

void Verb::argument(const char* name, std::string& value, const char* description, Need need) {
  addText(*app_, name, value, "", description).required(need == Need::kRequired);
}

void Verb::argument(const char* name, std::uint32_t& value, const char* description) {
  app_->add_option(name, value, description)->type_name("")->required();
}

void Verb::arguments(const char* name, std::vector<std::string>& values, const char* description, Need need) {
  const auto take = [&values](const std::vector<std::string>& words) {
    values.clear();
    for (const std::string& word : words) values.push_back(unguarded(word));
  };
  app_->add_option_function<std::vector<std::string>>(name, take, description)
      ->type_name("")
      ->required(need == Need::kRequired);
}

CommandLine::CommandLine(const char* description, const char* version, const char* footer)
    : app_(std::make_unique<CLI::App>(description, "tellira")), top_(*app_, chosen_) {
  app_->set_version_flag("--version", version);
  app_->footer(footer);
}

CommandLine::~CommandLine() = default;

int CommandLine::run(const std::vector<std::string>& arguments) {
  std::vector<std::string> words;  // the parser takes them from the end
  std::transform(arguments.rbegin(), arguments.rend(), std::back_inserter(words), guarded);
  try {
    app_->parse(std::move(words));
    return chosen_();
  } catch (const CLI::CallForHelp&) {
    const CLI::App& verb = chosenIn(*app_);
    print(verb.help(verb.get_parent() == nullptr ? "" : callOf(*verb.get_parent())) + "\n");
  } catch (const CLI::CallForVersion& version) {
    print(std::string(version.what()) + "\n");
  } catch (const CLI::ParseError& error) {
    return usageError(*app_, error, arguments);
  }
  return kDone;
}

}  // namespace tool
