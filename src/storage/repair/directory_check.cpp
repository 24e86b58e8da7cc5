// The two entrances; the walk itself is Inspection.
#include "storage/repair/directory_check.h"

#include <unistd.h>

#include <algorithm>

#include "storage/format/journal_head.h"
#include "storage/format/names.h"
#include "storage/repair/in_use.h"
#include "storage/repair/inspection.h"

namespace vorne {

namespace {

bool isSame(const Problem& a, const Problem& b) {
  return !a.repaired && a.file == b.file && a.record == b.record && a.problem == b.problem;
}

// What no change leaves as it was. Mapped bytes do not move a file's time on every file system, and an append may
// change no size: the heads then tell it, and the directory's own time, since who changes anything makes a journal.
struct Stamp {
  DataDirectory::File file;
  std::string head;

  bool operator==(const Stamp&) const = default;
};

std::map<std::string, Stamp> stampsOf(const std::string& path) {
  const DataDirectory directory(path);
  std::map<std::string, Stamp> stamps{{"", {FileOf(path), ""}}};
  for (const auto& [name, file] : directory.files()) {
    const RawFile head = directory.read(name, std::max<std::size_t>(kHeaderSize, sizeof(JournalHead)));
    stamps[name] = {file, {head.bytes().begin(), head.bytes().end()}};
  }
  return stamps;
}

}  // namespace

// Beside a program files come and go, and an entry without its file may have it an instant later: what looks like
// damage then is looked at again, from then on without other tools.
DirectoryReport CheckDirectory(const std::string& directory, const CheckOptions& options) {
  constexpr int kLooks = 5;
  constexpr useconds_t kBetweenLooks = 100'000;
  const std::string path = directory + kDataDirectory;
  std::optional<ToolsKeptOut> alone;
  for (int look = 1;; ++look) {
    const auto before = stampsOf(path);
    DirectoryReport report = Inspection(directory, options, false).run();
    report.inUse = report.inUse || IsInUse(path);
    if (report.sound) return report;
    // One that came and went in between shows by what it left.
    report.inUse = report.inUse || stampsOf(path) != before;
    if (!report.inUse || look == kLooks) return report;
    ::usleep(kBetweenLooks);
    if (!alone) alone.emplace(path);
  }
}

DirectoryReport RepairDirectory(const std::string& directory, const CheckOptions& options) {
  DirectoryReport repaired = Inspection(directory, options, true).run();
  if (!repaired.changed) return repaired;
  // A second look tells what the files are like now, not what the repair believes to have done.
  DirectoryReport left = CheckDirectory(directory, options);
  std::vector<Problem> problems = std::move(repaired.problems);
  for (Problem& problem : left.problems)
    if (std::none_of(problems.begin(), problems.end(), [&](const Problem& known) { return isSame(known, problem); }))
      problems.push_back(std::move(problem));
  left.problems = std::move(problems);
  left.notes = std::move(repaired.notes);
  left.changed = true;
  left.inUse = false;  // who has come since has not kept anything from being repaired
  left.refused = left.refused || repaired.refused;
  left.copies = std::move(repaired.copies);
  // What is lost the first walk alone can tell: repaired files lack nothing.
  left.lostRecords = repaired.lostRecords;
  left.lostValues = repaired.lostValues;
  left.lostDatabases = repaired.lostDatabases;
  left.lostMore = repaired.lostMore;
  return left;
}

}  // namespace vorne
