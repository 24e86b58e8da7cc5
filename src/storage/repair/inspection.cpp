#include "storage/repair/inspection.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "storage/files/kept_copies.h"
#include "storage/format/names.h"

namespace vorne {

namespace {

// Entries that say so themselves: a damaged index may be taken to have as many as its file has room for.
std::size_t entriesSeen(const DatabaseFiles& files, const DatabaseState& state) {
  const std::vector<std::uint32_t>& places = state.records.places;
  if (state.records.damaged == 0) return places.size();
  return static_cast<std::size_t>(std::count_if(places.begin(), places.end(), [&files](std::uint32_t place) {
    return IsPlainRecord(files.data.bytes(), place);
  }));
}

}  // namespace

Inspection::Inspection(const std::string& directory, const CheckOptions& options, bool repairs)
    : directory_(directory + kDataDirectory),
      options_(options),
      repairs_(repairs),
      changes_(directory_.path(), report_) {}

bool Inspection::isInterrupted(const std::string& name) {
  if (std::find(interrupted_.begin(), interrupted_.end(), name) == interrupted_.end()) return false;
  report_.problems.push_back(
      {name, -1, "a change was interrupted half-way; a repair, or the program's next start, finishes it", false});
  return true;
}

// --------------------------------------------------------------------------------------------------------- reading

RawFile Inspection::read(const std::string& name) {
  progress_.file = name;
  return directory_.read(name, kLargestFile, [this](std::size_t bytes) {
    progress_.bytes += bytes;
    if (options_.progress) options_.progress(progress_);
  });
}

// False for what cannot be looked at, which stands in the report then.
bool Inspection::isReadable(const std::string& name, const RawFile& file) {
  if (!file.error.empty()) leaveUnread(name, file.error);
  return file.error.empty();
}

void Inspection::leaveUnread(const std::string& name, const std::string& why) {
  // Beside a program files come and go: one that has gone since the listing is no refusal of the system.
  const bool isGone = FileOf(directory_.pathOf(name)).kind == FileKind::kMissing && errno == ENOENT;
  report_.refused = report_.refused || !isGone;
  unread_ = unread_ || !isGone;
  report_.problems.push_back(
      {name, -1, isGone ? "a program removes it just now" : "it cannot be read: " + why, false, true});
}

// Databases of other kinds than 'V' leave that name to another database.
FileKind Inspection::kindOfOffsets(const std::string& name) const {
  return names_.contains(OffsetsName(name)) ? FileKind::kMissing : directory_.kindOf(OffsetsName(name));
}

DatabaseFiles Inspection::readDatabase(const std::string& name) {
  DatabaseFiles files;
  files.data = read(name);
  if (kindOfOffsets(name) == FileKind::kRegular) files.offsets = read(OffsetsName(name));
  return files;
}

// -------------------------------------------------------------------------------------------------------- databases

// What tables are held against goes before them; the report has all in the catalogue's order.
void Inspection::checkDatabases() {
  const auto rank = [](const DatabaseHdrType& entry) {
    return entry.type == kTypeMemo ? 0 : entry.type == kTypeIndex ? 1 : 2;
  };
  for (int turn = 0; turn <= 2; ++turn)
    for (const DatabaseHdrType& entry : state_.slots)
      if (entry.name[0] != 0 && rank(entry) == turn && directory_.kindOf(NameOf(entry)) == FileKind::kRegular)
        checkDatabase(entry);
  std::map<std::string, std::size_t> places;
  for (const DatabaseHdrType& entry : state_.slots) places.emplace(NameOf(entry), places.size());
  std::sort(report_.databases.begin(), report_.databases.end(),
            [&](const auto& a, const auto& b) { return places[a.name] < places[b.name]; });
}

void Inspection::checkDatabase(const DatabaseHdrType& entry) {
  const std::string name = NameOf(entry), offsetsName = OffsetsName(name);
  const FileKind offsetsKind = kindOfOffsets(name);
  const DatabaseFiles files = readDatabase(name);
  // What is half-way in a change is left to its journal: repaired as it stands, the half would become lasting.
  if (isInterrupted(name) || !isReadable(name, files.data) || !isReadable(offsetsName, files.offsets)) return;

  Findings data(name), offsets(offsetsName), lasting(name);
  DatabaseState state = CheckDatabase(entry.type, files, data, offsets);
  const FileBytes block = SavedBlock(files, state.records);
  // Under another type code it belongs to no table, whatever its head names.
  if (entry.type == kTypeIndex && state.kind == kIndexDatabase)
    indexes_.push_back({name, ToldIndex(files, state), state.records.places.size(), entriesSeen(files, state),
                        static_cast<std::uint32_t>(block.size()),
                        std::all_of(block.begin(), block.end(), [](char c) { return c == '\0'; }),
                        FileHeaderOf(files.data.bytes()).Version == 2});
  if (entry.type == kTypeMemo && state.kind == kVariableDatabase)
    texts_[FoldedName(name)] = static_cast<std::uint32_t>(state.records.places.size());
  if (entry.type == kTypeData && state.kind == kVariableDatabase) checkTable(name, files, state, data, lasting);

  // A link or a directory in the place of an offsets file is somebody's own: it is told and left alone.
  const bool replaceable = offsetsKind == FileKind::kRegular || offsetsKind == FileKind::kMissing;
  if (state.kind == kVariableDatabase && !replaceable) tellStrange(offsetsName, offsetsKind);
  const bool dataDone = repairs_ && repairData(files, state, name, replaceable);
  data.tell(report_, dataDone);
  lasting.tell(report_, false, true);
  if (replaceable)
    offsets.tell(report_,
                 dataDone && state.rewriteOffsets && changes_.replace(offsetsName, RepairedOffsets(files, state)));
  // What an index loses its table has.
  if (entry.type != kTypeIndex || block.empty()) {
    report_.lostRecords += state.records.lost;
    report_.lostMore = report_.lostMore || state.records.lostMore;
  }
  report_.databases.push_back(ReportOf(entry, files, state));
}

TableContext Inspection::contextOf(const std::string& name) {
  TableContext context;
  context.name = name;
  context.copies = copiesOf(name);
  const std::string memo = name + kMemoSuffix;
  const auto texts = texts_.find(FoldedName(memo));
  if (texts != texts_.end()) {
    context.hasMemo = true;
    context.texts = texts->second;
  } else if (isTaken(memo) || memo.size() > kLongestName) {
    // Something else has the name, or it cannot be looked at: nothing can be told of references.
    context.hasMemo = true;
    context.texts = kAnyTexts;
  }
  // Memo texts or index entries that belong to it: something that says it was a table.
  context.hasOthers = texts != texts_.end() && texts->second != 0;
  for (const FoundIndex& index : indexes_) {
    if (index.entries == 0 || !index.told || FoldedName(index.told->table) != FoldedName(name)) continue;
    context.hasOthers = true;
    // One that waits for changes may still have entries of records that were packed away.
    if (index.told->entriesWait || index.entriesSeen <= context.entries) continue;
    context.entries = index.entriesSeen;
    context.witness = index.name;
  }
  return context;
}

// The latest one: of what an older one holds the user was told before. Of one second, the tenth is the longer name.
std::string Inspection::copiesOf(const std::string& name) const {
  std::string latest;
  const std::string prefix = kCopiesPrefix;
  const auto isLater = [&latest](const std::string& other) {
    constexpr std::size_t kStamp = sizeof kCopiesPrefix - 1 + sizeof "YYYYMMDD_HHMMSS" - 1;
    const std::string_view stamp = std::string_view(other).substr(0, kStamp);
    return !latest.starts_with(stamp) || other.size() >= latest.size();
  };
  for (auto at = directory_.files().lower_bound(prefix); at != directory_.files().end(); ++at) {
    if (!at->first.starts_with(prefix)) break;
    struct stat found;
    const std::string path = directory_.pathOf(at->first) + "/" + name;
    if (isLater(at->first) && ::lstat(path.c_str(), &found) == 0 && !S_ISDIR(found.st_mode)) latest = at->first;
  }
  return latest.empty() ? latest : directory_.pathOf(latest);
}

void Inspection::checkTable(const std::string& name, const DatabaseFiles& files, DatabaseState& state, Findings& data,
                            Findings& lasting) {
  const TableContext context = contextOf(name);
  const TableMeaning meaning = CheckTable(context, files, state, data, lasting);
  // Of a sound table nothing is lost: a program that dies may leave an index ahead of its records.
  if (!meaning.description && !lasting.sound())
    report_.lostValues += CountByOthers(context, false, state.records, lasting);
  else if (!data.sound())
    CountByOthers(context, true, state.records, data);
  if (!data.sound()) state.records.rewrite = state.rewriteOffsets = true;
  report_.lostValues += meaning.lostValues;
  if (!meaning.description) return;
  const std::string described = FoldedName(meaning.description->name);
  owners_.insert(described);
  if (lasting.sound()) tables_.emplace(described, name);
  if (meaning.lacksMemo) lackMemo(name);
}

void Inspection::lackMemo(const std::string& table) {
  const std::string memo = table + kMemoSuffix;
  Findings findings(memo);
  const std::string offsets = OffsetsName(memo), words = "the memo texts of the table " + table + " are missing";
  if (names_.contains(offsets)) {
    findings.damage(words + "; new ones cannot be made beside the database " + offsets);
    return findings.tell(report_, false, true);
  }
  findings.damage(words);
  settledLast_.push_back(std::move(findings));
  newMemos_.push_back(memo);
}

void Inspection::tellStrange(const std::string& name, FileKind kind) {
  if (kind == FileKind::kLink)
    report_.notes.push_back({name, -1, "it is a symbolic link; what it leads to was not looked at", false});
  else
    report_.problems.push_back({name, -1, "it is not a file", false});
}

bool Inspection::repairData(const DatabaseFiles& files, const DatabaseState& state, const std::string& name,
                            bool replaceable) {
  if (!state.records.rewrite) return true;
  const bool moves = state.kind == kVariableDatabase && replaceable;
  return changes_.replaceData(name, RepairedData(files, state), moves ? files.offsets.bytes() : FileBytes());
}

// ------------------------------------------------------------------------------------------- the end of the walk

// A link without an entry is somebody's own until something asks for the database of its name.
bool Inspection::isTaken(const std::string& name) {
  const std::string folded = FoldedName(name);
  const auto link = state_.links.find(folded);
  if (link != state_.links.end()) {
    leaveUnread(link->second,
                "a symbolic link without an entry is not followed; put the file itself in its place for a repair");
    owners_.insert(folded);
    state_.links.erase(link);
  }
  return owners_.contains(folded);
}

// A file that could not be looked at may be what goes by the name.
bool Inspection::isKnown(const std::string& owner) {
  return isTaken(owner) || unread_;
}

// What belongs to databases that are not there.
void Inspection::checkOrphans() {
  // Memo databases that are gone: an offsets file of one tells of no table.
  std::set<std::string> memos;
  for (const DatabaseHdrType& entry : state_.gone) {
    const std::string name = NameOf(entry);
    if (entry.type == kTypeMemo) memos.insert(name);
    report_.lostDatabases += entry.type == kTypeIndex || entry.type == kTypeMemo;  // the others once all is known
    if (entry.type == kTypeIndex)
      report_.problems.push_back({name, -1,
                                  "the index is gone with its file; `tellira db index create TABLE " + name +
                                      " FIELD[,FIELD...]` makes it anew",
                                  repairs_ && state_.complete});
    else if (entry.type != kTypeMemo)
      gone_.try_emplace(FoldedName(name), Gone{name, {}, {}, {}});
  }
  for (const auto& [memo, texts] : texts_) {
    if (!memo.ends_with(kMemoSuffix)) continue;
    const std::string table = memo.substr(0, memo.size() - std::strlen(kMemoSuffix));
    if (table.empty() || isKnown(table)) continue;
    const auto name = std::find_if(names_.begin(), names_.end(),
                                   [&memo = memo](const std::string& one) { return FoldedName(one) == memo; });
    if (texts == 0) {
      report_.notes.push_back({*name, -1, "it belongs to no table; `tellira db drop " + *name + "` removes it", false});
    } else {
      takeAway(table, *name, {});
      report_.lostValues += texts;
      removals_.push_back(*name);
    }
  }
  for (const std::string& name : state_.orphans) {
    const std::string offsets = OffsetsName(name);
    const std::uint32_t used = FileHeaderOf(directory_.read(offsets, kHeaderSize).bytes()).szmap;
    if (gone_.contains(FoldedName(name)))
      takeAway(name, offsets, (used - kHeaderSize) / kOffsetSize);
    else if (!memos.contains(name)) {  // alone it is what a deletion may leave
      report_.notes.push_back({offsets, -1, "it belongs to no database", false});
      continue;
    }
    leftovers_.push_back(offsets);
  }
  for (const auto& [folded, gone] : gone_) {
    Findings findings(gone.name);
    std::string remains;
    // What is put away is named with the table: whoever mends it by hand finds it among the copies.
    for (const std::string& file : gone.remains) remains += (remains.empty() ? "; put away with it: " : ", ") + file;
    findings.damage((gone.records ? Message("the table is gone; %s tells of %llu records", gone.witness.c_str(),
                                            static_cast<unsigned long long>(*gone.records))
                                  : "the table is gone; nothing tells how many records it had") +
                    remains + CopiesWords(copiesOf(gone.name)));
    settledLast_.push_back(std::move(findings));
    ++report_.lostDatabases;
    report_.lostRecords += gone.records.value_or(0);
    report_.lostMore = report_.lostMore || !gone.records;
  }
}

// Of which nothing else may tell any more.
void Inspection::checkPutAway() {
  for (const auto& [name, copies] : PutAwayIn(directory_.path())) {
    if (isKnown(name)) continue;
    Findings findings(name);
    findings.damage("it was put away for a new one of its name, which was not finished; move its files back from " +
                    copies + ", then repair");
    findings.tell(report_, false, true);
  }
}

// `file` belongs to a database that is gone, of which it tells so many records.
void Inspection::takeAway(const std::string& database, const std::string& file, std::optional<std::uint64_t> records) {
  Gone& gone = gone_.try_emplace(FoldedName(database), Gone{database, {}, {}, {}}).first->second;
  gone.remains.push_back(file);
  // The witness that tells of most records is the one to believe: indexes and offsets lose some, never win any.
  if (!records || (gone.records && *gone.records >= *records)) return;
  gone.records = records;
  gone.witness = file;
}

}  // namespace vorne
