// `tellira db check`: are the databases sound, and making them so.
#include <unistd.h>

#include <algorithm>
#include <map>
#include <optional>

#include "db/access.h"
#include "db/db.h"
#include "db/directory_lock.h"
#include "db/words.h"
#include "edge/confirm.h"
#include "edge/console.h"
#include "edge/json_text.h"
#include "edge/progress.h"
#include "edge/terminal.h"
#include "storage/repair/directory_check.h"

namespace tool {
namespace {

using vorne::DatabaseReport;
using vorne::DirectoryReport;
using vorne::Problem;

constexpr const char* kFooter = R"(
Without --repair nothing is changed. A repair first copies every file that it will change to DB/repair-DATE_TIME and
keeps all records that can still be read. The program must not be running.

Examples:
  tellira db check
  tellira db --dir /srv/pos check --repair --yes

Exit status: 0 everything is sound and nothing was lost, 1 damage was found or records were lost, 2 wrong usage, or the
databases are in use, 3 a file could not be read or written.)";

struct CheckVerb {
  bool repair = false;
  bool yes = false;
  bool json = false;
};

DirectoryReport inspected(const std::string& directory, bool repair) {
  Progress progress;
  vorne::CheckOptions options;
  options.progress = [&progress](const vorne::CheckProgress& at) {
    progress.show(shown(at.file), at.bytes, at.allBytes);
  };
  return repair ? vorne::RepairDirectory(directory, options) : vorne::CheckDirectory(directory, options);
}

// ------------------------------------------------------------------------------------------------------------ text

std::string placeOf(const Problem& problem) {
  const char* part = problem.file == vorne::kCatalogName ? ", entry " : ", record ";
  return shown(problem.file) + (problem.record < 0 ? "" : part + std::to_string(problem.record));
}

std::string fitting(const std::string& line) {
  return brokenTo(terminalWidth(STDOUT_FILENO), line);
}

std::string lineOf(const Problem& problem, const char* kind = "") {
  const std::string line = kind + placeOf(problem) + ": " + shown(problem.problem);
  if (!problem.repaired) return fitting(line) + "\n";
  const std::string_view mark = "[repaired]";
  std::string marked = fitting(line + " " + std::string(mark));
  return marked.erase(marked.size() - mark.size()) + styled(Style::kGreen, mark) + "\n";
}

std::string lostInWords(const DirectoryReport& report) {
  std::string words;
  const auto add = [&words](std::uint64_t count, const char* noun) {
    if (count != 0) words += (words.empty() ? "" : ", ") + counted(count, noun);
  };
  add(report.lostRecords, "record");
  add(report.lostValues, "value");
  add(report.lostDatabases, "database");
  if (words.empty()) return report.lostMore ? "records may be lost" : "";
  return (report.lostMore ? "at least " : "") + words + (report.lost() == 1 ? " is lost" : " are lost");
}

std::string summary(const DirectoryReport& report) {
  std::uint64_t records = 0, open = 0;
  for (const DatabaseReport& database : report.databases) records += database.records;
  for (const Problem& problem : report.problems) open += !problem.repaired && !problem.isRefusal;
  const std::string lost = lostInWords(report);
  return counted(report.databases.size(), "database") + ", " + counted(records, "record") + ", " +
         sizeText(report.bytes) + ": " + (report.sound ? "sound" : counted(open, "problem")) +
         (lost.empty() ? "" : ", " + lost);
}

void printText(const DirectoryReport& report) {
  std::map<std::string, bool> damaged;
  for (const Problem& problem : report.problems) {
    damaged[problem.file] = true;
    print(lineOf(problem));
  }
  for (const DatabaseReport& database : report.databases)
    // Places that are wrong are damage of the database, whichever of its files holds them.
    if (!damaged.contains(database.name) && !damaged.contains(database.name + vorne::kOffsetsSuffix))
      print(fitting(shown(database.name) + ": sound, " + counted(database.records, "record")) + "\n");
  for (const Problem& remark : report.notes) print(lineOf(remark, "note: "));
  print(styled(report.sound ? Style::kBold : Style::kRed, fitting(summary(report))) + "\n");
}

void printNextStep(const DirectoryReport& report, const CheckVerb& verb) {
  if (report.inUse) note("a program has the databases open; what it is writing just now may look like damage.");
  const char* which =
      report.refused ? "The files that could be copied, as they were, are in " : "The files as they were are in ";
  if (!report.copies.empty()) note(which + report.copies + ".");
  if (report.refused)
    return note("  next: look at the rights of the files above, at the room on the disk, and who runs the tool.");
  if (report.sound) return;
  const bool byHand = std::all_of(report.problems.begin(), report.problems.end(),
                                  [](const Problem& problem) { return problem.repaired || problem.byHand; });
  note(verb.repair || byHand
           ? "  next: what is left needs a look by hand; the lines above tell the files and the reasons."
           : "  next: end the program and run `tellira db check --repair`.");
}

// ------------------------------------------------------------------------------------------------------------ JSON

Json jsonOf(const Problem& problem) {
  Json json;
  json["file"] = shown(problem.file);
  json["record"] = problem.record < 0 ? Json() : Json(problem.record);
  json["problem"] = shown(problem.problem);
  json["repaired"] = problem.repaired;
  return json;
}

Json jsonOf(const std::vector<Problem>& problems) {
  Json list = Json::array();
  for (const Problem& problem : problems) list.push_back(jsonOf(problem));
  return list;
}

Json jsonOf(const DirectoryReport& report) {
  Json json;
  json["sound"] = report.sound;
  json["problems"] = jsonOf(report.problems);
  json["notes"] = jsonOf(report.notes);
  json["lost"] = report.lost();
  json["lostRecords"] = report.lostRecords;
  json["lostValues"] = report.lostValues;
  json["lostDatabases"] = report.lostDatabases;
  json["lostAtLeast"] = report.lostMore;
  json["copies"] = shown(report.copies);
  return json;
}

int runCheck(const DbOptions& options, const CheckVerb& verb) {
  const std::string directory = options.checkedDirectory();
  if (verb.repair && !confirmed("repair the databases of " + directory, verb.yes)) {
    note("Nothing was changed.");
    return kNo;
  }
  std::optional<DirectoryLock> lock;
  if (verb.repair) lock.emplace(directory);
  const DirectoryReport report = inspected(directory, verb.repair);
  // A program may have begun while the user was being asked.
  if (verb.repair && report.inUse) refuseInUse(directory);
  if (verb.json)
    printJson(jsonOf(report));
  else
    printText(report);
  printNextStep(report, verb);
  if (report.refused) return kEnded;
  return report.sound && report.lost() == 0 && !report.lostMore ? kDone : kNo;
}

}  // namespace

void addDbCheck(Verb& group, const SharedDbOptions& shared) {
  auto options = std::make_shared<CheckVerb>();
  Verb verb = group.verb("check", "Tell whether the databases are sound, and repair them");
  verb.flag("--repair", options->repair, "Repair what can be");
  verb.flag("--yes", options->yes, "Do not ask before the repair");
  verb.flag("--json", options->json, "Print a JSON object");
  verb.footer(kFooter);
  verb.action([shared, options] { return runCheck(*shared, *options); });
}

}  // namespace tool
