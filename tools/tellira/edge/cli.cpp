// What the parser says is put in words of this tool's own: a mistyped verb or option is told with those that are near
// to it and with the next thing to do.
#include "edge/cli.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <utility>

#include "edge/console.h"
#include "edge/nearest.h"

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

std::vector<const CLI::App*> verbsOf(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

std::string verbNames(const CLI::App& app) {
  std::string names;
  for (const CLI::App* verb : verbsOf(app)) names += (names.empty() ? "" : ", ") + verb->get_name();
  return names;
}

/// The ones that are nearest to a mistyped word, as the line of an error text.
std::string nearestText(const std::string& word, const std::vector<std::string>& names) {
  auto near = nearestNames(word, {names.begin(), names.end()});
  if (near.size() > 2) near.resize(2);
  return nearText(near);
}

std::string unknownVerb(const CLI::App& group, const std::string& word) {
  std::vector<std::string> names;
  for (const CLI::App* verb : verbsOf(group)) names.push_back(verb->get_name());
  if (names.empty())
    return "there is no verb \"" + word + "\" that is known here; `tellira " + group.get_name() +
           " --help` tells what there is.";
  return "there is no verb \"" + word + "\"; the verbs are " + verbNames(group) + "." + nearestText(word, names);
}

void addOptionNames(const CLI::App& verb, std::vector<std::string>& names) {
  for (const CLI::Option* known : verb.get_options())
    for (const std::string& name : known->get_lnames()) names.push_back("--" + name);
}

/// For an option in front of the verb whose it is, or would be.
std::string optionBeforeVerb(const CLI::App& group, const CLI::App& chosen, const std::string& option) {
  std::vector<std::string> names;
  addOptionNames(chosen, names);
  const std::string known = callOf(chosen) + (std::find(names.begin(), names.end(), option) == names.end()
                                                  ? " has none of that name either." + nearestText(option, names)
                                                  : " has it, behind the verb.");
  return callOf(group) + " has no option \"" + option + "\"; " + known;
}

std::string unknownOption(const CLI::App& verb, const std::string& word) {
  const std::string option = word.substr(0, word.find('='));
  if (const CLI::App& chosen = chosenIn(verb); &chosen != &verb) return optionBeforeVerb(verb, chosen, option);
  std::vector<std::string> names;
  addOptionNames(verb, names);
  const std::string near = nearestText(option, names);
  if (near.empty() && !verb.get_options([](const CLI::Option* known) { return known->get_positional(); }).empty())
    return callOf(verb) + " has no option \"" + option +
           "\".\n  A word that begins with a dash and is no option stands behind --.";
  return callOf(verb) + " has no option \"" + option + "\"." + near;
}

/// The first that was named and is left with words that it does not know; else the verb itself.
const CLI::App& confused(const CLI::App& app) {
  const auto verbs = app.get_subcommands();
  return verbs.empty() || !app.remaining().empty() ? app : confused(*verbs.front());
}

/// What the parser says, in words that help: it tells a word that is no verb only as "a verb is missing".
std::string parserWords(const CLI::App& verb, const CLI::ParseError& error) {
  const std::vector<std::string> left = verb.remaining();
  const bool isGroup = !verbsOf(verb).empty();
  if (left.empty()) {
    const bool lacksVerb = isGroup && dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
    return lacksVerb ? "a verb is missing; the verbs are " + verbNames(verb) + "." : error.what();
  }
  const std::string word = unguarded(left.front());
  if (word.starts_with('-') && word != "-") return unknownOption(verb, word);
  return isGroup ? unknownVerb(verb, word) : callOf(verb) + " takes fewer words; \"" + word + "\" is one too many.";
}

std::string helpOf(const CLI::App& verb) {
  // Not by help(), which gives the help of the verb that was named where another's is wanted.
  const std::string group = verb.get_parent() == nullptr ? "" : callOf(*verb.get_parent());
  return verb.get_formatter()->make_help(&verb, group.empty() ? verb.get_name() : group + " " + verb.get_name(),
                                         CLI::AppFormatMode::Normal) +
         "\n";
}

/// `tellira help VERB ...`
int showHelp(const CLI::App& app, const std::vector<std::string>& words) {
  const CLI::App* verb = &app;
  for (const std::string& word : words) {
    const auto verbs = verbsOf(*verb);
    const auto found =
        std::find_if(verbs.begin(), verbs.end(), [&](const CLI::App* known) { return known->get_name() == word; });
    if (found == verbs.end()) throw Failure(kUsage, unknownVerb(*verb, word) + "\n  next: `tellira help`");
    verb = *found;
  }
  printRaw(helpOf(*verb));
  return kDone;
}

}  // namespace

Verb Verb::verb(const char* name, const char* description) {
  Verb below(*app_->add_subcommand(name, description), *chosen_);
  app_->require_subcommand(acts_ ? 0 : 1, 1);
  below.shared_ = shared_;
  for (const auto& declare : shared_) declare(below);
  return below;
}

void Verb::action(Action action) {
  acts_ = true;
  // A verb below is read before this one: it is the one that was meant.
  app_->callback([app = app_, chosen = chosen_, action = std::move(action)] {
    if (app->get_subcommands().empty()) *chosen = action;
  });
}

void Verb::passOn(std::vector<std::string>& words) {
  app_->set_help_flag();
  app_->prefix_command();
  app_->parse_complete_callback([app = app_, &words] {
    for (const std::string& word : app->remaining()) words.push_back(unguarded(word));
  });
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

void Verb::option(const char* name, std::vector<std::string>& values, const char* type, const char* description) {
  const auto take = [&values](const std::vector<std::string>& words) {
    values.clear();
    for (const std::string& word : words) values.push_back(unguarded(word));
  };
  app_->add_option_function<std::vector<std::string>>(name, take, description)
      ->type_name(type)
      ->type_size(1)
      ->take_all();
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
  app_->set_version_flag("-V,--version", version);
  app_->footer(footer);
}

CommandLine::~CommandLine() = default;

int CommandLine::run(const std::vector<std::string>& arguments) {
  std::vector<std::string> asked;
  Verb help = top_.verb("help", "Show how the tool or one of its verbs is used");
  help.arguments("VERB", asked, "Verb, as in `tellira help db list`", Need::kOptional);
  help.footer("\nThe same is shown behind --help, as in `tellira db list --help`.");
  help.action([&] { return showHelp(*app_, asked); });
  std::vector<std::string> words;  // the parser takes them from the end
  std::transform(arguments.rbegin(), arguments.rend(), std::back_inserter(words), guarded);
  try {
    app_->parse(std::move(words));
    return chosen_();
  } catch (const CLI::CallForHelp&) {
    printRaw(helpOf(chosenIn(*app_)));  // an example's card number is nobody's
  } catch (const CLI::CallForVersion& version) {
    print(std::string(version.what()) + "\n");
  } catch (const CLI::ParseError& error) {
    const CLI::App& verb = confused(*app_);
    throw Failure(kUsage,
                  parserWords(verb, error) + "\n  next: `" + callOf(chosenIn(verb)) + " --help` shows how it is used.");
  }
  return kDone;
}

}  // namespace tool
