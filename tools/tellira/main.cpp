// The command line tool's entry: reads the command line, runs the verb, turns failures into text and exit status.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <vector>

#include "edge/cli.h"
#include "edge/console.h"

#ifndef TELLIRA_VERSION
#error "TELLIRA_VERSION comes from the build"
#endif

namespace {

constexpr const char* kFooter = R"(
Examples:
  tellira commands cupom                    commands with "cupom" in their name
  tellira call --cwd lib/devices ECF_LeituraX
  tellira sale --cwd lib/devices examples/sale.tlr
  tellira db --dir /srv/pos check           are the databases sound
  tellira VERB --help                       all about one verb

Exit status: 0 done, 1 done but the answer is no, 2 wrong usage or input, 3 the library ended the process or a device
is missing. Data goes to standard output, everything else to standard error. Card numbers are masked.)";

/// The verb that was named, as far as it goes: a group, a verb of it, or the tool itself.
const CLI::App& chosen(const CLI::App& app) {
  const auto verbs = app.get_subcommands();
  return verbs.empty() ? app : chosen(*verbs.front());
}

/// How a verb is called, as in "tellira db list".
std::string callOf(const CLI::App& verb) {
  return verb.get_parent() == nullptr ? "tellira" : callOf(*verb.get_parent()) + " " + verb.get_name();
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
  return word == arguments.end() || word->starts_with('-') ? "" : tool::unguarded(*word);
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
  const CLI::App& verb = chosen(app);
  tool::complain(parserWords(verb, error, arguments) + "\n  next: `" + callOf(verb) + " --help` shows how it is used.");
  return tool::kUsage;
}

/// Output that could not be written (a full disk) must not look like success.
int flushed(int status) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
  tool::complain("the output could not be written.\n  next: look whether the disk is full.");
  return tool::kEnded;
}

int run(const std::vector<std::string>& arguments) {
  CLI::App app("Point-of-sale devices through one library: fiscal printer and card payment.", "tellira");
  tool::Action action;
  app.require_subcommand(1);
  app.set_version_flag("--version", "tellira " TELLIRA_VERSION);
  app.footer(kFooter);
  tool::addCall(app, action);
  tool::addCommands(app, action);
  tool::addSale(app, action);
  tool::addDb(app, action);
  try {
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    return action();
  } catch (const CLI::CallForHelp&) {
    const CLI::App& verb = chosen(app);
    tool::print(verb.help(verb.get_parent() == nullptr ? "" : callOf(*verb.get_parent())) + "\n");
  } catch (const CLI::CallForVersion& version) {
    tool::print(std::string(version.what()) + "\n");
  } catch (const CLI::ParseError& error) {
    return usageError(app, error, arguments);
  }
  return tool::kDone;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    std::vector<std::string> arguments;
    for (int i = 1; i < argc; ++i) arguments.push_back(tool::guarded(argv[i]));
    return flushed(run(arguments));
  } catch (const tool::Failure& failure) {
    tool::complain(failure.what());
    return failure.status;
  } catch (const std::exception& error) {
    tool::complain(std::string("stopped: ") + error.what() + ".");
    return tool::kEnded;
  }
}
