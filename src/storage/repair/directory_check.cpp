#include "storage/repair/directory_check.h"

#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <set>

#include "storage/files/descriptor.h"
#include "storage/files/kept_copies.h"
#include "storage/format/names.h"
#include "storage/journal/recovery.h"
#include "storage/repair/check_catalog.h"
#include "storage/repair/check_indexes.h"

namespace vorne {

namespace {

constexpr int kRecovered = 42;  // the exit status of a child that could finish the interrupted changes

// A program that has the databases open holds a lock on the catalogue, and one on its journal once it has changed
// anything.
bool IsInUse(const DataDirectory& directory) {
  bool held = false;
  for (const auto& [name, entry] : directory.entries()) {
    if (entry.kind != FileKind::kRegular || !IsReservedName(name)) continue;
    const int file = OpenFile(directory.pathOf(name).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
    if (file < 0) continue;
    held = held || (fileSystem.flock(file, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK);
    fileSystem.close(file);
  }
  return held;
}

// In a process of its own: it works through the mapped files, which end the process where they cannot go on.
bool FinishInterruptedChanges(const std::string& path) {
  if (path.size() >= sizeof wcDir) return false;
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(STDERR_FILENO, STDOUT_FILENO);  // where it would say why it ends
    std::memcpy(wcDir, path.c_str(), path.size() + 1);
    RecoverInterruptedChanges();
    ::_exit(kRecovered);
  }
  int status = 0;
  return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == kRecovered;
}

bool IsSame(const Problem& a, const Problem& b) {
  return !a.repaired && a.file == b.file && a.record == b.record && a.problem == b.problem;
}

// One inspection of a directory, which also repairs when told to.
class Inspection {
 public:
  Inspection(const std::string& directory, const CheckOptions& options, bool repairs)
      : directory_(directory + kDataDirectory), options_(options), repairs_(repairs) {}

  DirectoryReport run() {
    report_.exists = directory_.exists();
    report_.inUse = IsInUse(directory_);
    if (!report_.exists || (repairs_ && report_.inUse)) return std::move(report_);
    if (repairs_) BeginCopies();
    interrupted_ = InterruptedChanges(directory_.path().c_str());
    if (repairs_ && !interrupted_.empty()) finishInterrupted();
    for (const auto& [name, entry] : directory_.entries()) progress_.allBytes += entry.size;
    checkCatalog();
    report_.sound = report_.problems.empty();
    report_.bytes = progress_.bytes;
    if (repairs_) report_.copies = CopiesDirectory();
    return std::move(report_);
  }

 private:
  // ------------------------------------------------------------------------------------------- interrupted changes

  // What cannot be finished is left alone: taken for damage, half of the change would become lasting.
  void finishInterrupted() {
    for (const std::string& name : interrupted_)
      for (const std::string& file : {name, OffsetsName(name)})
        if (!keep(file)) return;
    report_.changed = true;
    if (!FinishInterruptedChanges(directory_.path())) return;
    for (const std::string& name : interrupted_)
      report_.problems.push_back({name, -1, "a change was interrupted half-way", true});
    interrupted_.clear();
    directory_ = DataDirectory(directory_.path());
  }

  bool isInterrupted(const std::string& name) {
    if (std::find(interrupted_.begin(), interrupted_.end(), name) == interrupted_.end()) return false;
    report_.problems.push_back(
        {name, -1, "a change was interrupted half-way; a repair, or the program's next start, finishes it", false});
    return true;
  }

  // -------------------------------------------------------------------------------------------------------- reading

  RawFile read(const std::string& name) {
    progress_.file = name;
    return directory_.read(name, kLargestFile, [this](std::size_t bytes) {
      progress_.bytes += bytes;
      if (options_.progress) options_.progress(progress_);
    });
  }

  // False for what cannot be looked at, which stands in the report then.
  bool isReadable(const std::string& name, const RawFile& file) {
    if (file.error.empty()) return true;
    report_.problems.push_back({name, -1, "it cannot be read: " + file.error, false});
    return false;
  }

  // ------------------------------------------------------------------------------------------------------ catalogue

  void checkCatalog() {
    RawFile file;
    if (directory_.kindOf(kCatalogName) != FileKind::kMissing) file = read(kCatalogName);
    if (isInterrupted(kCatalogName) || !isReadable(kCatalogName, file)) return;
    Findings findings(kCatalogName);
    const CatalogState state = CheckCatalog(directory_, file, findings, report_);
    const bool repaired = repairs_ && state.rewrite && replace(kCatalogName, RepairedCatalog(file, state));
    findings.tell(report_, repaired);
    if (repairs_) putAway(state.extraNames);
    for (const DatabaseHdrType& entry : state.slots) databases_.insert(NameOf(entry));
    for (const DatabaseHdrType& entry : state.slots)
      if (entry.name[0] != 0 && directory_.kindOf(NameOf(entry)) == FileKind::kRegular) checkDatabase(entry);
    checkIndexes();
  }

  void putAway(const std::vector<std::string>& names) {
    for (const std::string& name : names)
      if (keep(name)) remove(name);
  }

  // ------------------------------------------------------------------------------------------------------ databases

  // Databases of other kinds than 'V' leave that name to another database.
  FileKind kindOfOffsets(const std::string& name) const {
    return databases_.contains(OffsetsName(name)) ? FileKind::kMissing : directory_.kindOf(OffsetsName(name));
  }

  DatabaseFiles readDatabase(const std::string& name) {
    DatabaseFiles files;
    files.data = read(name);
    if (kindOfOffsets(name) == FileKind::kRegular) files.offsets = read(OffsetsName(name));
    return files;
  }

  void checkDatabase(const DatabaseHdrType& entry) {
    const std::string name = NameOf(entry), offsetsName = OffsetsName(name);
    const FileKind offsetsKind = kindOfOffsets(name);
    const DatabaseFiles files = readDatabase(name);
    if (isInterrupted(name) || !isReadable(name, files.data) || !isReadable(offsetsName, files.offsets)) return;

    Findings data(name), offsets(offsetsName);
    const DatabaseState state = CheckDatabase(entry.type, files, data, offsets);
    // Under another type code it belongs to no table, whatever its head names.
    if (const std::optional<IndexDescription> index = ToldIndex(files, state); index && entry.type == kTypeIndex)
      indexes_[FoldedName(index->table)].push_back(name);
    const bool replaceable = offsetsKind == FileKind::kRegular || offsetsKind == FileKind::kMissing;
    if (state.kind == kVariableDatabase && !replaceable) tellStrange(offsetsName, offsetsKind);
    const bool dataDone = repairs_ && repairData(files, state, name, offsetsName, replaceable);
    data.tell(report_, dataDone);
    if (replaceable)
      offsets.tell(report_, dataDone && state.rewriteOffsets && replace(offsetsName, RepairedOffsets(files, state)));
    report_.lostRecords += state.records.lost;
    report_.lostMore = report_.lostMore || state.records.lostMore;
    report_.databases.push_back(ReportOf(entry, files, state));
  }

  // -------------------------------------------------------------------------------------------------------- indexes

  // Read anew, since a repair may have changed what they are held against. What is damaged has been told already.
  std::optional<CheckedDatabase> readSound(const std::string& name, std::uint32_t type) {
    if (std::find(interrupted_.begin(), interrupted_.end(), name) != interrupted_.end()) return {};
    for (const std::string& file : {name, OffsetsName(name)})
      if (const auto found = directory_.entries().find(file); found != directory_.entries().end())
        progress_.allBytes += found->second.size;
    CheckedDatabase database{readDatabase(name), {}};
    if (!database.files.data.error.empty() || !database.files.offsets.error.empty()) return {};
    Findings data(name), offsets(OffsetsName(name));
    database.state = CheckDatabase(type, database.files, data, offsets);
    if (!data.sound() || !offsets.sound()) return {};
    return database;
  }

  void checkIndexes() {
    for (const std::string& name : databases_) {
      const auto indexes = indexes_.find(FoldedName(name));
      if (indexes == indexes_.end() || directory_.kindOf(name) != FileKind::kRegular) continue;
      const std::optional<CheckedDatabase> table = readSound(name, kTypeData);
      if (!table || !IsTable(*table)) continue;
      for (const std::string& index : indexes->second) checkIndex(*table, index);
    }
  }

  void checkIndex(const CheckedDatabase& table, const std::string& name) {
    const std::optional<CheckedDatabase> index = readSound(name, kTypeIndex);
    if (!index) return;
    Findings findings(name);
    CheckIndex(table, *index, findings);
    if (findings.sound()) return;
    const std::vector<char> fresh = repairs_ ? FreshIndex(table, *index) : std::vector<char>();
    findings.tell(report_, !fresh.empty() && replace(name, fresh));
  }

  void tellStrange(const std::string& name, FileKind kind) {
    if (kind == FileKind::kLink)
      report_.notes.push_back({name, -1, "it is a symbolic link; what it leads to was not looked at", false});
    else
      report_.problems.push_back({name, -1, "it is not a file", false});
  }

  // The offsets file of the old data goes first: should the repair end in between, the next opening makes it anew.
  bool repairData(const DatabaseFiles& files, const DatabaseState& state, const std::string& name,
                  const std::string& offsetsName, bool replaceable) {
    if (!state.records.rewrite) return true;
    if (state.kind == kVariableDatabase && files.offsets.length != 0 && replaceable &&
        (!keep(offsetsName) || !remove(offsetsName)))
      return false;
    return replace(name, RepairedData(files, state));
  }

  // -------------------------------------------------------------------------------------------------------- repairs

  // Once: what a file was before the first change is what counts.
  bool keep(const std::string& file) {
    if (isKept(file) || KeepCopy(directory_.path().c_str(), file.c_str())) return true;
    failed(file, "it could not be copied before its repair");
    return false;
  }

  bool replace(const std::string& file, const std::vector<char>& content) {
    if (!keep(file)) return false;
    const bool replaced = ReplaceFile(directory_.path(), file, content);
    report_.changed = report_.changed || replaced;
    if (!replaced) failed(file, "its repair could not be written, it is as it was");
    return replaced;
  }

  bool remove(const std::string& file) {
    const bool removed = fileSystem.unlink(directory_.pathOf(file).c_str()) == 0;
    report_.changed = report_.changed || removed;
    if (!removed) failed(file, "it could not be removed");
    return removed;
  }

  bool isKept(const std::string& file) const {
    struct stat found;
    return !CopiesDirectory().empty() && fileSystem.stat((CopiesDirectory() + "/" + file).c_str(), &found) == 0;
  }

  void failed(const std::string& file, const std::string& words) {
    report_.problems.push_back({file, -1, words + ": " + std::strerror(errno), false});
  }

  DataDirectory directory_;
  const CheckOptions& options_;
  const bool repairs_;
  std::vector<std::string> interrupted_;
  std::set<std::string> databases_;
  std::map<std::string, std::vector<std::string>> indexes_;  // by the names of their tables in capitals
  CheckProgress progress_{};
  DirectoryReport report_;
};

}  // namespace

DirectoryReport CheckDirectory(const std::string& directory, const CheckOptions& options) {
  return Inspection(directory, options, false).run();
}

DirectoryReport RepairDirectory(const std::string& directory, const CheckOptions& options) {
  DirectoryReport repaired = Inspection(directory, options, true).run();
  if (!repaired.changed) return repaired;
  DirectoryReport left = CheckDirectory(directory, options);
  std::vector<Problem> problems = std::move(repaired.problems);
  for (Problem& problem : left.problems)
    if (std::none_of(problems.begin(), problems.end(), [&](const Problem& known) { return IsSame(known, problem); }))
      problems.push_back(std::move(problem));
  left.problems = std::move(problems);
  left.notes = std::move(repaired.notes);
  left.changed = true;
  left.copies = std::move(repaired.copies);
  left.lostRecords = repaired.lostRecords;
  left.lostMore = repaired.lostMore;
  return left;
}

}  // namespace vorne
