// The course of an inspection, from the changes that were under way to the catalogue's new state: above what looks at
// databases and at indexes.
#include <algorithm>
#include <optional>

#include "storage/files/kept_copies.h"
#include "storage/format/names.h"
#include "storage/journal/recovery.h"
#include "storage/repair/finish_changes.h"
#include "storage/repair/in_use.h"
#include "storage/repair/inspection.h"

namespace vorne {

DirectoryReport Inspection::run() {
  report_.exists = directory_.exists();
  report_.inUse = IsInUse(directory_.path());
  std::optional<HeldDirectory> held;
  // Programs that begin now find the catalogue locked, try for a few milliseconds, and go on without the lock; a
  // second repair refuses. One that began since it was looked has its lock, and keeps the repair out.
  if (report_.exists && repairs_ && !report_.inUse) {
    held.emplace(directory_.path());
    report_.inUse = held->isOthers();
  }
  if (!report_.exists || (repairs_ && report_.inUse)) return std::move(report_);
  if (repairs_) BeginCopies();
  // Changes under way come first: a file in the middle of one looks damaged, and its journal puts it right without
  // loss.
  interrupted_ = InterruptedChanges(directory_.path().c_str());
  if (repairs_ && !interrupted_.empty()) finishInterrupted();
  for (const auto& [name, file] : directory_.files()) progress_.allBytes += file.size;
  checkCatalog();
  report_.sound = report_.problems.empty();
  for (const DatabaseReport& database : report_.databases)
    report_.bytes += database.dataFileBytes + database.offsetsFileBytes;
  if (repairs_) report_.copies = CopiesDirectory();
  return std::move(report_);
}

// What cannot be finished is left alone: taken for damage, half of the change would become lasting.
void Inspection::finishInterrupted() {
  for (const std::string& name : interrupted_)
    // The journal puts them right in place: without a copy made before it, nothing could take a wrong journal back.
    for (const std::string& file : {name, OffsetsName(name)})
      if (!changes_.keep(file)) return;
  report_.changed = true;
  if (!FinishInterruptedChanges(directory_.path())) return;
  for (const std::string& name : interrupted_)
    report_.problems.push_back({name, -1, "a change was interrupted half-way", true});
  interrupted_.clear();
  directory_ = DataDirectory(directory_.path());
}

void Inspection::checkCatalog() {
  if (directory_.kindOf(kCatalogName) != FileKind::kMissing) catalog_ = read(kCatalogName);
  if (isInterrupted(kCatalogName) || !isReadable(kCatalogName, catalog_)) return;
  Findings findings(kCatalogName);
  state_ = CheckCatalog(directory_, catalog_, findings, report_);
  // Before the databases: a repair that is cut off later leaves a catalogue that names all of them.
  const bool repaired = repairs_ && state_.rewrite && changes_.replace(kCatalogName, RepairedCatalog(catalog_, state_));
  findings.tell(report_, repaired);
  if (repairs_)
    for (const std::string& name : state_.extraNames) changes_.remove(name);
  for (const DatabaseHdrType& entry : state_.slots)
    if (entry.name[0] != 0) names_.insert(NameOf(entry));
  for (const std::string& name : names_) owners_.insert(FoldedName(name));
  for (const auto& [name, why] : state_.unread) {
    owners_.insert(FoldedName(name));
    leaveUnread(name, why);
  }
  // What a damaged catalogue has lost may be what such a link leads to.
  if (!findings.sound() || catalog_.length == 0)
    while (!state_.links.empty()) isTaken(state_.links.begin()->first);
  report_.lostDatabases += state_.lostEntries;
  report_.lostMore = report_.lostMore || state_.lostEntries != 0;
  checkDatabases();
  checkIndexes();
  checkOrphans();
  checkPutAway();
  finishCatalog();
}

// First what the catalogue will name is there, then it names that and no more, then what it named before goes: the next
// repair takes up what a dying one leaves.
void Inspection::finishCatalog() {
  // What seems to be missing may be in a file that could not be looked at: nothing goes, and nothing takes its place.
  bool done = repairs_ && state_.complete && !unread_;
  const bool changes = !newMemos_.empty() || !removals_.empty();
  for (const std::string& memo : newMemos_) {
    done = done && changes_.replace(memo, EmptyDatabase(kVariableDatabase));
    state_.slots.push_back(NewEntry(memo, kTypeMemo));
    // The places of the texts that are missing.
    if (kindOfOffsets(memo) == FileKind::kRegular) leftovers_.push_back(OffsetsName(memo));
  }
  for (DatabaseHdrType& entry : state_.slots)
    if (std::find(removals_.begin(), removals_.end(), NameOf(entry)) != removals_.end()) entry = {};
  done = done && (!changes || changes_.replace(kCatalogName, RepairedCatalog(catalog_, state_)));
  for (const std::string& name : removals_) {
    leftovers_.push_back(name);
    if (kindOfOffsets(name) == FileKind::kRegular) leftovers_.push_back(OffsetsName(name));
  }
  for (const std::string& file : leftovers_) done = done && changes_.remove(file);
  for (const Findings& findings : settledLast_) findings.tell(report_, done);
}

}  // namespace vorne
