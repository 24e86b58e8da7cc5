#include "sync/verb_sync.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <optional>

#include "db/options.h"
#include "db/table_session.h"
#include "edge/confirm.h"
#include "edge/console.h"
#include "edge/json_text.h"
#include "edge/paths.h"
#include "log/message_log.h"
#include "runtime/vorneobjs.h"
#include "storage/format/names.h"
#include "sync/application_directory.h"
#include "sync/code_words.h"
#include "sync/config.h"
#include "sync/dry_run.h"
#include "sync/session_globals.h"
#include "sync/session_report.h"
#include "sync/state_lines.h"
#include "sync/terminal_screen.h"
#include "sync/text_screen.h"
#include "sync/vornesync.h"
#include "text/text.h"

namespace tool {
namespace {

constexpr const char* kFooter = R"(
Tables come and go as the host says; what was not finished is taken up by the next session. The directory is the one
that the program works in; its databases are in the subdirectory DB. Without --host the stored settings are used.

Examples:
  tellira sync --host 10.0.0.5 --port 7000 --device PDV-001 --group LOJA
  tellira sync --host 10.0.0.5 --port 7000 --device PDV-001 --group LOJA --dry-run
  tellira sync config --host 10.0.0.5 --port 7000 --device PDV-001 --user loja
  tellira sync log

Exit status: 0 done, 1 the session failed (the last line tells its code), 2 wrong usage, or the databases are in use, 3
the runtime could not go on.)";

constexpr const char* kConfigFooter = R"(
The settings are the one record of table CAD_USER. Without options they are shown.

Examples:
  tellira sync config
  tellira sync config --host 10.0.0.5 --port 7000 --timeout 60

Exit status: 0 done, 1 nothing is stored, 2 wrong usage, or the databases are in use, 3 the runtime could not go on.)";

constexpr const char* kLogFooter = R"(
Example:
  tellira sync log

Exit status: 0 done, 2 wrong usage, or the databases are in use, 3 the runtime could not go on.)";

// What the session's own code, which is the line's, does not tell.
constexpr int kNotApplied = 2;
constexpr const char* kSomeNotApplied =
    "something that came could not be applied.\n  next: `tellira sync log` names the table and the cause.";
constexpr const char* kFailedBesideTheLine =
    "the session failed, though the line was good.\n  next: `tellira sync log` tells what was missing.";

constexpr int kPortuguese = 1, kEnglish = 2, kSpanish = 3;
constexpr int kLargestPort = 65535, kLongestTimeout = 120, kDefaultTimeout = 20;

struct SyncOptions {
  std::string directory = ".";
  std::string host, device, group, user, suffix;
  int port = 0, timeout = -1;
  std::string language = "pt";
  bool json = false, dryRun = false, yes = false, clear = false, plain = false, onScreen = false;
};
using Shared = std::shared_ptr<SyncOptions>;

std::string sessionDirectory(const SyncOptions& options) {
  std::string path = absolute(options.directory);
  if (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

int languageOf(const std::string& word) {
  return word == "en" ? kEnglish : word == "es" ? kSpanish : kPortuguese;
}

std::string latin1(const std::string& utf8, const char* what) {
  try {
    return latin1FromUtf8(utf8);
  } catch (const ConversionError& error) {
    throw Failure(kUsage, std::string(what) + " cannot be sent: " + error.what() +
                              ".\n  next: use letters that Portuguese is written with.");
  }
}

// Somebody who looks on gets the screen; anything else, one line a change.
class SessionScreen {
 public:
  explicit SessionScreen(const SyncOptions& options) {
    if (!options.plain && !options.json && canShowScreen())
      terminal_.emplace();
    else
      text_.emplace();
  }

 private:
  std::optional<TerminalScreen> terminal_;
  std::optional<TextScreen> text_;
};

[[noreturn]] void failWithoutHost() {
  throw Failure(kUsage,
                "no host: none is named and none is stored.\n  next: name it with --host, or store it with "
                "`tellira sync config --host`.");
}

// From the command line, or from what is stored.
// A session that cannot take one of them would go by what is stored.
void checkLengths(const SyncOptions& options) {
  const struct {
    const char* name;
    const std::string& text;
    std::size_t most;
  } kTexts[] = {{"--host", options.host, kNetTextRoom - 1},
                {"--device", options.device, kNetTextRoom - 1},
                {"--group", options.group, kNetTextRoom - 1},
                {"--suffix", options.suffix, 1}};
  for (const auto& [name, text, most] : kTexts)
    if (text.size() > most)
      throw Failure(kUsage, std::string(name) + " is too long: it can have " + std::to_string(most) +
                                (most == 1 ? " byte" : " bytes") + ".\n  next: give a shorter one.");
}

vorne::HostAccess accessOf(const SyncOptions& options) {
  checkLengths(options);
  vorne::HostAccess host = {options.host, options.port, options.timeout < 0 ? kDefaultTimeout : options.timeout,
                            latin1(options.device, "the device"), latin1(options.group, "the group")};
  if (!options.host.empty()) {
    if (options.port < 1 || options.device.empty())
      throw Failure(kUsage, "--host needs --port and --device too.\n  next: see `tellira help sync`.");
    return host;
  }
  vorne::UserSettings stored;
  if (vorne::ReadSettings(stored) != vorne::SettingsFound::Yes || stored.host.empty()) failWithoutHost();
  const auto number = [](const std::string& text, int otherwise) {
    const int found = std::atoi(text.c_str());
    return found > 0 ? found : otherwise;
  };
  host.address = stored.host;
  host.port = options.port > 0 ? options.port : std::min(number(stored.port, 0), kLargestPort);
  if (options.timeout < 0) host.timeout = std::min(number(stored.timeout, kDefaultTimeout), kLongestTimeout);
  if (options.device.empty()) host.device = stored.device;
  if (options.group.empty()) host.group = stored.user;
  return host;
}

Json tableJson(const vorne::TableReport& table) {
  return {{"table", utf8FromLatin1(table.name)},
          {"received", table.received},
          {"sent", table.sent},
          {"applied", table.applied},
          {"bytes", table.bytes}};
}

int report(const SyncOptions& options, int status, double seconds) {
  const std::vector<vorne::TableReport>& tables = vorne::SessionReport();
  std::uint64_t bytes = 0;
  for (const vorne::TableReport& table : tables) bytes += table.bytes;
  if (options.json) {
    Json list = Json::array();
    for (const vorne::TableReport& table : tables) list.push_back(tableJson(table));
    Json object = {{"status", status}, {"result", vorne::SessionResult()}, {"tables", list}, {"bytes", bytes}};
    // In thousandths, so that the number is one in every language.
    object["milliseconds"] = static_cast<std::uint64_t>(seconds * 1000);
    object["seconds"] = static_cast<std::uint64_t>(seconds);
    printJson(object);
  } else {
    for (const vorne::TableReport& table : tables)
      print(utf8FromLatin1(table.name) + ": " + std::to_string(table.received) + " received, " +
            std::to_string(table.sent) + " sent, " + std::to_string(table.applied) + " applied\n");
  }
  if (status == 0 && vorne::SessionResult() == 0) return kDone;
  if (status != 0)
    note("Status = " + std::to_string(status) + "\n  " + utf8FromLatin1(vorne::CodeWords(status)));
  else
    note(vorne::SessionResult() == kNotApplied ? kSomeNotApplied : kFailedBesideTheLine);
  return kNo;
}

int runSession(const SyncOptions& options) {
  TableSession session(sessionDirectory(options));
  const vorne::HostAccess host = accessOf(options);
  const ApplicationDirectory application;
  iSyncLang = languageOf(options.language);
  std::optional<SessionScreen> screen(std::in_place, options);
  const auto start = std::chrono::steady_clock::now();
  const Obj_Node* status =
      __DoSync(__INIT_CHARPTR(options.suffix.c_str()), __INIT_CHARPTR(host.address.c_str()), __INIT_DOUBLE(host.port),
               __INIT_DOUBLE(host.timeout), __INIT_CHARPTR(host.device.c_str()), __INIT_CHARPTR(host.group.c_str()));
  const int code = static_cast<int>(status->objData.mdbl);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  screen.reset();
  session.close();
  return report(options, code, seconds);
}

// The same, with databases opened only for what is stored in them.
vorne::HostAccess dryAccessOf(const SyncOptions& options, const std::string& directory) {
  if (!options.host.empty()) return accessOf(options);
  if (!std::filesystem::exists(directory + vorne::kDataDirectory)) failWithoutHost();
  TableSession session(directory);
  const vorne::HostAccess host = accessOf(options);
  session.close();
  return host;
}

int runDry(const SyncOptions& options) {
  const std::string directory = sessionDirectory(options);
  const vorne::HostAccess host = dryAccessOf(options, directory);
  TableSession session(directory, TableSession::Databases::kUntouched);
  const TextScreen screen;
  iSyncLang = languageOf(options.language);
  Json tasks = Json::array();
  std::string lines;
  const int code = vorne::TellTasks(host, [&tasks, &lines](int number, const vorne::Task& task) {
    const std::string name = utf8FromLatin1(task.name), words = vorne::TaskWords(task);
    tasks.push_back({{"task", number},
                     {"code", static_cast<int>(task.code)},
                     {"what", words},
                     {"name", name},
                     {"records", static_cast<long>(task.records)}});
    lines += std::to_string(number) + ". " + words + (name.empty() ? "" : " " + vorne::WithoutControls(name)) +
             (task.records > 0 ? ", " + std::to_string(task.records) + " records" : "") + "\n";
  });
  session.close();
  if (options.json)
    printJson({{"status", code}, {"tasks", tasks}});
  else
    print(lines.empty() && code == 0 ? "no tasks\n" : lines);
  if (code == 0) return kDone;
  note("Status = " + std::to_string(code) + "\n  " + utf8FromLatin1(vorne::CodeWords(code)));
  return kNo;
}

Json settingsJson(const vorne::UserSettings& settings) {
  return {{"host", utf8FromLatin1(settings.host)},
          {"port", settings.port},
          {"device", utf8FromLatin1(settings.device)},
          {"user", utf8FromLatin1(settings.user)},
          {"timeout", settings.timeout}};
}

// What was given on the command line; what was not stays.
bool changeSettings(const SyncOptions& options, vorne::UserSettings& settings) {
  const struct {
    const std::string& given;
    std::string vorne::UserSettings::*place;
    std::size_t room;
    const char* name;
  } kPlaces[] = {{options.host, &vorne::UserSettings::host, 20, "--host"},
                 {options.device, &vorne::UserSettings::device, 25, "--device"},
                 {options.user, &vorne::UserSettings::user, 20, "--user"}};
  bool changed = false;
  for (const auto& place : kPlaces) {
    if (place.given.empty()) continue;
    const std::string value = latin1(place.given, place.name);
    if (value.size() > place.room)
      throw Failure(kUsage, std::string(place.name) + " is too long: the table has room for " +
                                std::to_string(place.room) + " characters.\n  next: give a shorter one.");
    settings.*place.place = value;
    changed = true;
  }
  if (options.port > 0) settings.port = std::to_string(options.port);
  if (options.timeout >= 0) settings.timeout = std::to_string(options.timeout);
  return changed || options.port > 0 || options.timeout >= 0;
}

// One of the runtime's own screens, on the terminal.
int runScreen(const SyncOptions& options, void (*show)()) {
  if (!canShowScreen()) throw Failure(kUsage, "there is no terminal for a screen.\n  next: leave --screen out.");
  TableSession session(sessionDirectory(options));
  iSyncLang = languageOf(options.language);
  vorne::UseSynchronisation();
  {
    const TerminalScreen screen;
    show();
  }
  session.close();
  return kDone;
}

int runConfig(const SyncOptions& options) {
  if (options.onScreen) {
    vorne::UserSettings given;
    if (changeSettings(options, given) || options.json)
      throw Failure(
          kUsage,
          "--screen takes no other settings: they are typed there.\n  next: leave --screen out, or the others.");
    return runScreen(options, CONFIGURACOES);
  }
  TableSession session(sessionDirectory(options));
  vorne::UserSettings settings;
  const bool found = vorne::ReadSettings(settings) == vorne::SettingsFound::Yes;
  const bool changed = changeSettings(options, settings);
  if (changed) {
    const auto text = [](const std::string& value) { return __INIT_CHARPTR(value.c_str()); };
    if (CreateUser(text(settings.device), text(settings.user), text(settings.host), text(settings.port),
                   text(settings.timeout))
            ->objData.mbool == 0)
      throw Failure(kEnded,
                    "table CAD_USER cannot be written.\n  next: `tellira db schema CAD_USER` shows whose it is.");
    vorne::ReadSettings(settings);
  }
  session.close();
  if (!found && !changed) {
    note("no settings are stored.\n  next: `tellira sync config --host H --port P --device ID` stores them.");
    return kNo;
  }
  if (options.json) {
    printJson(settingsJson(settings));
  } else {
    print("host:    " + utf8FromLatin1(settings.host) + "\nport:    " + settings.port +
          "\ndevice:  " + utf8FromLatin1(settings.device) + "\nuser:    " + utf8FromLatin1(settings.user) +
          "\ntimeout: " + settings.timeout + "\n");
  }
  return kDone;
}

int runLog(const SyncOptions& options) {
  if (options.onScreen) {
    if (options.clear || options.json)
      throw Failure(kUsage, "--screen takes neither --clear nor --json.\n  next: leave --screen out, or the others.");
    return runScreen(options, HISTORICO);
  }
  TableSession session(sessionDirectory(options));
  std::vector<std::string> lines;
  const int count = vorne::MessageCount();
  for (int i = 0; i < count; ++i) lines.push_back(utf8FromLatin1(vorne::MessageAt(i)));
  if (options.clear && confirmed("clear the log of sessions in " + sessionDirectory(options), options.yes))
    vorne::ClearMessages();
  session.close();
  if (options.json)
    printJson(Json(lines));
  else
    for (const std::string& line : lines) print(line + "\n");
  return kDone;
}

void addHostOptions(Verb& verb, const Shared& options) {
  verb.option("--host", options->host, "H", "Address or name of the host");
  verb.option("--port", options->port, "P", "Its port", 1, kLargestPort);
  verb.option("--device", options->device, "ID", "Identification of this device");
  verb.option("--timeout", options->timeout, "S", "Seconds to wait for an answer, rounded up to rounds of 30", 0,
              kLongestTimeout);
  verb.flag("--json", options->json, "Print one JSON object");
}

}  // namespace

void addSync(Verb& top) {
  auto options = std::make_shared<SyncOptions>();
  Verb verb = top.verb("sync", "Bring the tables and those of a host server into agreement");
  verb.sharedOption("--dir", options->directory, "DIR", "Working directory that holds DB (default: the current one)");
  addHostOptions(verb, options);
  verb.option("--group", options->group, "G", "Group that the device belongs to");
  verb.option("--suffix", options->suffix, "C", "One character that programs give their sessions");
  verb.choice("--lang", options->language, "LANG", "Language of the session's lines (default: pt)", {"pt", "en", "es"});
  verb.flag("--plain", options->plain, "One line a change, also on a terminal");
  verb.flag("--dry-run", options->dryRun, "Connect and tell the tasks; change nothing");
  verb.footer(kFooter);
  verb.action([options] { return options->dryRun ? runDry(*options) : runSession(*options); });

  Verb config = verb.verb("config", "Show or store whom this device calls");
  addHostOptions(config, options);
  config.option("--user", options->user, "NAME", "User, which the host takes for the group");
  config.flag("--screen", options->onScreen, "Edit them on the terminal");
  config.footer(kConfigFooter);
  config.action([options] { return runConfig(*options); });

  Verb log = verb.verb("log", "Show what sessions did");
  log.flag("--json", options->json, "Print one JSON array");
  log.flag("--clear", options->clear, "Empty it after showing");
  log.flag("--yes", options->yes, "Do not ask before");
  log.flag("--screen", options->onScreen, "Page through it on the terminal");
  log.footer(kLogFooter);
  log.action([options] { return runLog(*options); });
}

}  // namespace tool
