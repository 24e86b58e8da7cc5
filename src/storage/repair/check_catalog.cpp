// Three sources are held against each other: the slots of the catalogue, those of its backup, the files that are there.
// The files win: an entry that names none goes, a database without an entry gets one.
#include "storage/repair/check_catalog.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <set>
#include <utility>

#include "runtime/local_clock.h"
#include "storage/files/kept_copies.h"
#include "storage/format/description.h"
#include "storage/format/names.h"
#include "storage/repair/check_sizes.h"

namespace vorne {

namespace {

// Any code that means kind 'X' will do: which one the program had given stands in the catalogue alone.
constexpr std::uint32_t kAssumedType = FourChars("OTHR");

bool isFree(const DatabaseHdrType& entry) {
  return Load<std::uint32_t>(&entry) == 0;
}

// A name without its zero would run on into the attributes behind it.
bool isNamed(const DatabaseHdrType& entry) {
  return std::memchr(entry.name, 0, sizeof entry.name) != nullptr && IsDatabaseName(NameOf(entry));
}

std::uint32_t typeOfKind(std::uint8_t kind) {
  if (kind == kIndexDatabase) return kTypeIndex;
  return kind == kVariableDatabase ? kTypeData : kAssumedType;
}

// The four letters of a type code.
std::string codeWords(std::uint32_t type) {
  std::string letters;
  for (int shift = 24; shift >= 0; shift -= 8) letters += static_cast<char>(type >> shift);
  return letters;
}

SYSTEMTIME timeNow() {
  const std::tm now = LocalNow();
  const auto narrow = [](int n) { return static_cast<std::uint16_t>(n); };
  return {narrow(now.tm_year + 1900), narrow(now.tm_mon + 1), narrow(now.tm_wday), narrow(now.tm_mday),
          narrow(now.tm_hour),        narrow(now.tm_min),     narrow(now.tm_sec),  0};
}

std::vector<DatabaseHdrType> entriesBetween(FileBytes bytes, std::uint64_t from, std::uint64_t end) {
  std::vector<DatabaseHdrType> entries;
  end = std::min<std::uint64_t>(end, bytes.size());
  // What is cut off at the end is no entry.
  for (std::uint64_t at = from; at < end && end - at >= kCatalogEntrySize; at += kCatalogEntrySize)
    entries.push_back(Load<DatabaseHdrType>(bytes.data() + at));
  return entries;
}

// What a data file without an entry tells of itself.
enum class Stray { kNone, kEmpty, kHolding };

// Technicians put all sorts of files into the directory. Only a header of which every number is possible in a file of
// this size speaks for a database: by a wrong guess the catalogue would name a foreign file.
Stray strayKind(const FileHeader& header, std::uint64_t size) {
  const bool known = header.Version == 2 && (header.Type == kVariableDatabase || header.Type == kIndexDatabase ||
                                             header.Type == kFixedDatabase);
  if (!known || header.szmap > size || header.NumberOfRecords > size) return Stray::kNone;
  if (header.szmap <= kHeaderSize && header.NumberOfRecords == 0 && header.AppInfoLen == 0) return Stray::kEmpty;
  return header.szmap >= kHeaderSize && header.AppInfoLen <= header.szmap - kHeaderSize ? Stray::kHolding
                                                                                        : Stray::kNone;
}

bool isLink(FileKind kind) {
  return kind == FileKind::kLink || kind == FileKind::kLostLink;
}

class CatalogCheck {
 public:
  CatalogCheck(const DataDirectory& directory, const RawFile& catalog, Findings& findings, DirectoryReport& report)
      : directory_(directory), catalog_(catalog), findings_(findings), report_(report) {}

  CatalogState run() {
    // The backup comes before the slots, which ask it for their type codes, and all slots before the files: what none
    // of them names is a stray.
    const std::uint32_t end = lastSlotEnd();
    state_.slots = entriesBetween(catalog_.bytes(), kHeaderSize, end);
    readLost();
    for (std::size_t i = 0; i < state_.slots.size(); ++i) checkSlot(i);
    for (const auto& [name, entry] : directory_.files()) checkFile(name, entry);
    // A repaired catalogue ends with its last entry, as one that was never longer.
    while (!state_.slots.empty() && isFree(state_.slots.back())) state_.slots.pop_back();
    settleLost();
    state_.complete = complete_;
    state_.rewrite = complete_ && !findings_.sound();
    return std::move(state_);
  }

 private:
  // Files without an entry explain entries without a file.
  void settleLost() {
    for (const std::string& found : found_) {
      const auto entry = std::find_if(state_.gone.begin(), state_.gone.end(),
                                      [&](const DatabaseHdrType& gone) { return IsAlike(NameOf(gone), found); });
      if (entry != state_.gone.end())
        state_.gone.erase(entry);
      else if (state_.lostEntries != 0)
        --state_.lostEntries;
    }
  }

  // ------------------------------------------------------------------------------------------------------- entries

  // The end of the last whole slot that is used: what a wrong end cuts in two is read as lost, from its beginning.
  std::uint32_t lastSlotEnd() {
    if (catalog_.length == 0) return kHeaderSize;
    const std::optional<std::uint32_t> told = UsedEnd(catalog_, kHeaderSize, findings_);
    const std::uint32_t end = told.value_or(kHeaderSize), last = endOfEntries(end);
    if (told && last > end)
      findings_.damage(Message("its header says %u bytes used, its entries reach to %u", end, last));
    if (last > end) return last;
    const std::uint32_t cut = (end - kHeaderSize) % kCatalogEntrySize;
    if (cut != 0) findings_.damage(Message("its header says %u bytes used, which ends within an entry", end));
    return end - cut;
  }

  // The end of the last entry behind `end` that names a file.
  std::uint32_t endOfEntries(std::uint32_t end) const {
    const auto entries = entriesBetween(catalog_.bytes(), kHeaderSize, kLargestFile);
    // Bytes behind the end mean nothing by themselves: only an entry whose file is there speaks against the header.
    for (std::size_t i = entries.size(); i > 0 && kHeaderSize + i * kCatalogEntrySize > end; --i)
      if (isNamed(entries[i - 1]) && mayHaveEntry(NameOf(entries[i - 1])))
        return static_cast<std::uint32_t>(kHeaderSize + i * kCatalogEntrySize);
    return end;
  }

  void checkSlot(std::size_t index) {
    DatabaseHdrType& entry = state_.slots[index];
    if (!isFree(entry)) {
      const auto number = static_cast<std::int64_t>(index) + 1;
      // Settled before it is judged: whether a name clashes depends on the kind, and that on the type code.
      settleType(entry, number);
      const std::string words = faultOf(entry);
      if (words.empty()) return takeName(entry);
      findings_.damage(words, number);
    }
    entry = {};
  }

  // What makes an entry useless; empty when it is good, or its name was put right.
  std::string faultOf(DatabaseHdrType& entry) {
    if (!isNamed(entry)) {
      ++state_.lostEntries;
      return "its name cannot be a database's";
    }
    const std::string name = NameOf(entry);
    if (names_.contains(FoldedName(name))) return name + " has another entry";
    if (clashes(name, KindOfType(entry.type))) return name + " shares its file with another entry's offsets file";
    const FileKind kind = directory_.kindOf(name);
    if (kind == FileKind::kOther) return name + " is not a file";
    if (kind == FileKind::kMissing) {
      const std::string other = otherSpelling(name);
      if (other.empty()) {
        state_.gone.push_back(entry);
        return "the data file of " + name + " is missing";
      }
      findings_.damage(name + " is spelled " + other + " by its data file");
      std::memset(entry.name, 0, sizeof entry.name);
      std::memcpy(entry.name, other.data(), other.size());
    }
    return {};
  }

  // A type code of another kind than its file is not believed when the file tells one, or the backup remembers one.
  void settleType(DatabaseHdrType& entry, std::int64_t number) {
    constexpr std::size_t kLongestBlock = 1 << 20;
    const std::string name = NameOf(entry);
    if (directory_.kindOf(name) != FileKind::kRegular) return;
    const RawFile head = directory_.read(name, kHeaderSize);
    const FileHeader header = FileHeaderOf(head.bytes());
    if (!head.error.empty() || KindOfType(entry.type) == header.Type) return;
    // Damage can say any length here; descriptions that programs make are far shorter.
    const std::size_t length = std::min<std::size_t>(header.AppInfoLen, kLongestBlock);
    const RawFile start = directory_.read(name, kHeaderSize + length);
    if (start.length != kHeaderSize + length) return;
    std::uint32_t type = ToldType(header, name, start.bytes().subspan(kHeaderSize));
    const auto before = lost_.find(name);
    if (type == 0 && before != lost_.end() && KindOfType(before->second.type) == header.Type)
      type = before->second.type;
    if (type == 0) return;
    findings_.damage(
        Message("the type code of %s is 0x%08X, it is %s", name.c_str(), entry.type, codeWords(type).c_str()), number);
    entry.type = type;
  }

  // The name of a file that differs from `name` in small and capital letters only; empty without one.
  std::string otherSpelling(const std::string& name) {
    // Made at the first question: nearly every directory is spelled as its catalogue says.
    if (spellings_.empty())
      for (const auto& [file, entry] : directory_.files())
        if (mayHaveEntry(file) && IsDatabaseName(file)) spellings_.emplace(FoldedName(file), file);
    const auto found = spellings_.find(FoldedName(name));
    return found == spellings_.end() ? std::string() : found->second;
  }

  // A 'V' database's offsets file has a name that another database could have.
  bool clashes(const std::string& name, DatabaseKind kind) const {
    return offsets_.contains(FoldedName(name)) ||
           (kind == kVariableDatabase && names_.contains(FoldedName(OffsetsName(name))));
  }

  void takeName(const DatabaseHdrType& entry) {
    const std::string name = NameOf(entry);
    names_.insert(FoldedName(name));
    files_.insert(name);
    // Programs open a database on another disk through a link: its entry is good.
    if (directory_.kindOf(name) == FileKind::kLink)
      report_.notes.push_back({name, -1, "it is a symbolic link; what it leads to was not looked at", false});
    if (directory_.kindOf(name) == FileKind::kLostLink)
      state_.unread.emplace(name, "a symbolic link that leads to no file");
    // Its offsets file has no entry of its own, and must not be taken for a stray.
    if (KindOfType(entry.type) == kVariableDatabase) {
      files_.insert(OffsetsName(name));
      offsets_.insert(FoldedName(OffsetsName(name)));
    }
    const auto found = directory_.files().find(name);
    if (found != directory_.files().end()) owners_[found->second.inode] = name;
  }

  // The entries of the backup, by the names of their files.
  void readLost() {
    const RawFile backup = directory_.read(kCatalogBackupName);
    complete_ = backup.error.empty() || directory_.kindOf(kCatalogBackupName) != FileKind::kRegular;
    if (!complete_) state_.unread.emplace(kCatalogBackupName, backup.error);
    for (const DatabaseHdrType& entry : entriesBetween(backup.bytes(), kHeaderSize, kLargestFile)) addLost(entry);
    // The backup may be older than the catalogue, and mostly is while a program runs: that is worth a note, no more.
    const bool same =
        backup.length == catalog_.length &&
        (backup.length == 0 || std::memcmp(backup.memory.get(), catalog_.memory.get(), backup.length) == 0);
    if (backup.length != 0 && catalog_.length != 0 && !same)
      report_.notes.push_back(
          {kCatalogBackupName, -1, "it differs from the catalogue; it is written when the catalogue is closed", false});
    if (catalog_.length == 0 && backup.length != 0) findings_.damage("it is missing, or empty");
  }

  bool mayHaveEntry(const std::string& name) const {
    return directory_.kindOf(name) == FileKind::kRegular || isLink(directory_.kindOf(name));
  }

  void addLost(const DatabaseHdrType& entry) {
    if (!isFree(entry) && isNamed(entry) && mayHaveEntry(NameOf(entry))) lost_.emplace(NameOf(entry), entry);
  }

  // --------------------------------------------------------------------------------------------------------- files

  // Folders with the copies of earlier repairs stay for good: telling them at every check would drown what matters.
  static bool isOwnFile(const std::string& name, const DataDirectory::File& entry) {
    return IsReservedName(name) || (name.starts_with(kCopiesPrefix) && entry.kind == FileKind::kOther);
  }

  void checkFile(const std::string& name, const DataDirectory::File& entry) {
    if (files_.contains(name) || isOwnFile(name, entry)) return;
    const auto owner = owners_.find(entry.inode);
    const auto lost = lost_.find(name);
    if (!mayHaveEntry(name) || !IsDatabaseName(name)) return foreign(name, "it belongs to no database");
    // By the file and not by its name: records written by one name would be seen by the other.
    if (owner != owners_.end()) {
      state_.extraNames.push_back(name);
      return foreign(name, "it is a second name of the file " + owner->second);
    }
    // Databases are found by their names in any letters: a second one could never be opened.
    if (names_.contains(FoldedName(name))) return foreign(name, "a database has this name in other letters");
    const RawFile start = directory_.read(name, kHeaderSize);
    if (!start.error.empty() && lost == lost_.end()) return passBy(name, entry.kind, start.error);
    const FileHeader header = FileHeaderOf(start.bytes());
    const Stray stray = strayKind(header, entry.size);
    if (stray == Stray::kEmpty)
      return foreign(name, "it is an empty database without an entry, left when one was being made");
    if (stray == Stray::kNone && lost == lost_.end()) {
      if (!isOrphan(name, header, entry.size)) return foreign(name, "it belongs to no database");
      return state_.orphans.push_back(name.substr(0, name.size() - std::strlen(kOffsetsSuffix)));
    }
    DatabaseHdrType found = lost == lost_.end() ? NewEntry(name, typeOfStray(name, header)) : lost->second;
    // What it holds is missed otherwise, and what goes with it taken for a lost database's.
    if (clashes(name, KindOfType(found.type))) return leaveClashing(name);
    findings_.damage(lost == lost_.end() ? Message("%s has no entry; by its kind '%c' its type code is taken to be %s",
                                                   name.c_str(), header.Type, codeWords(found.type).c_str())
                                         : "the entry of " + name + " is missing");
    restore(found);
  }

  void leaveClashing(const std::string& name) {
    const std::string offsets = OffsetsName(name), base = name.substr(0, name.rfind(kOffsetsSuffix)),
                      other = names_.contains(FoldedName(offsets)) ? offsets : base;
    state_.unread.emplace(
        name, "it and the database " + other + " would have a file in common; export and drop " + other + " first");
  }

  // A file that cannot be looked at may be any database, and must not be missed as one.
  void passBy(const std::string& name, FileKind kind, const std::string& why) {
    files_.insert(OffsetsName(name));
    found_.push_back(name);
    if (!isLink(kind)) return void(state_.unread.emplace(name, why));
    state_.links.emplace(FoldedName(name), name);
    foreign(name, "it is a symbolic link without an entry; what it leads to was not looked at");
  }

  // An offsets file that has slots, and no database to which it could belong.
  bool isOrphan(const std::string& name, const FileHeader& header, std::uint64_t size) const {
    const bool isOffsets = header.Version == 0 && header.Type == 0 && header.AppInfoLen == 0 &&
                           header.szmap > kHeaderSize && header.szmap <= size && header.szmap % kOffsetSize == 0;
    if (!isOffsets || !name.ends_with(kOffsetsSuffix)) return false;
    const std::string base = name.substr(0, name.size() - std::strlen(kOffsetsSuffix));
    return IsDatabaseName(base) && !names_.contains(FoldedName(base)) && directory_.kindOf(base) == FileKind::kMissing;
  }

  // Of those with an offsets file, tables have a description.
  std::uint32_t typeOfStray(const std::string& name, const FileHeader& header) const {
    if (header.Type != kVariableDatabase) return typeOfKind(header.Type);
    return header.AppInfoLen == 0 && name.ends_with(kMemoSuffix) ? kTypeMemo : kTypeData;
  }

  void foreign(const std::string& name, std::string words) {
    report_.notes.push_back({name, -1, std::move(words), false});
  }

  void restore(const DatabaseHdrType& entry) {
    // A free slot first, as programs do: what the others are named by stays where it is.
    const auto free = std::find_if(state_.slots.begin(), state_.slots.end(), isFree);
    if (free == state_.slots.end())
      state_.slots.push_back(entry);
    else
      *free = entry;
    takeName(entry);
    found_.push_back(NameOf(entry));
  }

  const DataDirectory& directory_;
  const RawFile& catalog_;
  Findings& findings_;
  DirectoryReport& report_;
  CatalogState state_;
  bool complete_ = true;            // without the backup's entries a rewritten catalogue would have lost them for good
  std::vector<std::string> found_;  // files that had no entry and are, or may be, databases
  std::set<std::string> names_;     // of databases, folded
  std::set<std::string> offsets_;   // names of offsets files, folded
  std::set<std::string> files_;     // of databases
  std::map<std::string, std::string> spellings_;  // file names by their folded form
  std::map<ino_t, std::string> owners_;           // data files
  std::map<std::string, DatabaseHdrType> lost_;
};

}  // namespace

std::vector<DatabaseHdrType> CatalogEntries(const RawFile& catalog) {
  return entriesBetween(catalog.bytes(), kHeaderSize, kLargestFile);
}

bool IsAlike(const std::string& a, const std::string& b) {
  constexpr int kFewLetters = 2;
  int differing = 0;
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) differing += a[i] != b[i];
  return differing <= kFewLetters;
}

CatalogState CheckCatalog(const DataDirectory& directory, const RawFile& catalog, Findings& findings,
                          DirectoryReport& report) {
  return CatalogCheck(directory, catalog, findings, report).run();
}

DatabaseHdrType NewEntry(const std::string& name, std::uint32_t type) {
  DatabaseHdrType entry = {};
  name.copy(entry.name, kLongestName);
  entry.type = type;
  entry.creationDate = entry.modificationDate = timeNow();
  return entry;
}

std::vector<char> RepairedCatalog(const RawFile& catalog, const CatalogState& state) {
  const std::uint64_t used = kHeaderSize + state.slots.size() * kCatalogEntrySize;
  std::vector<char> bytes(RepairedSize(used, catalog.length));
  FileHeader header = {};
  header.szallocated = static_cast<std::uint32_t>(bytes.size());
  header.szmap = static_cast<std::uint32_t>(used);
  Store(bytes.data(), header);
  for (std::size_t i = 0; i < state.slots.size(); ++i)
    Store(bytes.data() + kHeaderSize + i * kCatalogEntrySize, state.slots[i]);
  return bytes;
}

}  // namespace vorne
