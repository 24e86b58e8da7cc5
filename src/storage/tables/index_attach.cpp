// An index belongs to the table that the description in its own block names; the table itself lists none. Every opening
// of a table therefore looks through the catalogue's indexes (IndexesOf), opens its own and holds a sample of each
// against the records (makeFit). An index that does not fit is made anew on the spot, or left out where there is no
// space.
#include "storage/tables/index_attach.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>
#include <unordered_map>
#include <utility>

#include "runtime/latin1.h"
#include "runtime/memory.h"
#include "storage/databases/catalog.h"
#include "storage/databases/database_files.h"
#include "storage/databases/rebuild.h"
#include "storage/files/descriptor.h"
#include "storage/files/diagnostic_log.h"
#include "storage/files/mapped_file.h"
#include "storage/format/keys.h"
#include "storage/format/names.h"
#include "storage/journal/journal.h"
#include "storage/records/open_databases.h"
#include "storage/records/waiting_entries.h"
#include "storage/tables/index_entries.h"
#include "storage/tables/table_descriptions.h"

namespace vorne {

namespace {

constexpr UInt16 kReadWrite = 3;

// The table that an index's head names, read from the file: nothing needs to be opened for it.
// `why` tells what keeps it from having one; empty also for a database whose block is too short for one of an index:
// programs keep such ones of their own.
std::string ownerOf(const std::string& index, std::string& why) {
  // Of the table's name in a description's head.
  constexpr std::size_t kNameAt = 8, kNameRoom = 31;
  char bytes[kHeaderSize + kDescriptionHead] = {};
  const int file = OpenFile(GetWideName(index.c_str()), O_RDONLY | O_NONBLOCK);
  if (file < 0) {
    why = std::strerror(errno);
    return {};
  }
  const ssize_t read = fileSystem.read(file, bytes, sizeof bytes);
  fileSystem.close(file);
  const auto header = Load<FileHeader>(bytes);
  std::string owner;
  if (read == static_cast<ssize_t>(sizeof bytes) && header.AppInfoLen != 0) {
    const char* name = bytes + kHeaderSize + kNameAt;
    owner = FoldedName({name, ::strnlen(name, kNameRoom)});
  }
  const bool isIndex = header.Type != kIndexDatabase || header.AppInfoLen >= kDescriptionHead;
  if (isIndex && (owner.empty() || CatalogEntryOf(owner) == 0)) why = "o cabeçalho não nomeia tabela que exista"_l1;
  return owner;
}

// The tables that the catalogue's indexes belong to, by the place of the index's entry, so that a head is read once and
// not for every table that is opened. It holds as long as the entry is the same. A head that names nothing yet is not
// remembered.
class Owners {
 public:
  bool isOf(UInt32 place, const DatabaseHdrType& entry, const std::string& table) {
    if (std::exchange(generation_, CatalogGeneration()) != CatalogGeneration()) known_.clear();
    Known& known = known_[place];
    // The whole entry: a database that was made anew in this slot has other times.
    const bool isSame = std::memcmp(&known.entry, &entry, sizeof entry) == 0;
    if (known.owner.empty() || !isSame) {
      const std::string name(CatalogEntryName(place));
      std::string why;
      known = {entry, ownerOf(name, why)};
      // Its table goes on without it, in another order. Told once a process: programs open their tables at every sale.
      if (!why.empty() && told_.insert(GetWideName(name.c_str())).second)
        Logar(Message("Índice %s não aberto: %s"_l1, name.c_str(), why.c_str()).c_str());
    }
    return known.owner == table;
  }
  void forget(UInt32 place) { known_.erase(place); }

 private:
  struct Known {
    DatabaseHdrType entry = {};
    std::string owner;  // in capital letters
  };
  std::unordered_map<UInt32, Known> known_;
  std::set<std::string> told_;  // paths
  UInt32 generation_ = 0;
};
Owners owners;

// True for a type code of which one byte is damaged.
bool isAlmost(UInt32 type, UInt32 right) {
  // One byte: the bits that differ lie all within the same eight.
  const UInt32 differing = type ^ right;
  return differing != 0 && std::countl_zero(differing) / 8 + std::countr_zero(differing) / 8 == 3;
}

DmOpenRef openDatabase(const char* name) {
  const LocalID id = DmFindDatabase(0, name);
  return id == 0 ? nullptr : DmOpenDatabase(0, id, kReadWrite);
}

bool isOpenElsewhere(DmOpenRef db) {
  return db->opens > 1;
}

// Entries stand elsewhere then, for every area that has the index. False without room for it.
bool makeAnew(const myAppInfoType& table, IDX_IndexesNames& index, EntryMaker& maker) {
  const bool made = ReplaceEntries(index.IDX_dbRef, EntriesOfTable(table.TBL_dbRef, maker), maker.size());
  index.IDX_recID = -1;
  ForEachIndexOf(index.IDX_dbRef, table.TBL_dbRef, [](IDX_IndexesNames& other) { other.IDX_recID = -1; });
  return made;
}

void logMade(const myAppInfoType& table, const IDX_IndexesNames& index, const std::string& why) {
  Logar(Message("Índice %s da tabela %s refeito: %s"_l1, index.IDX_name, table.TBL_name, why.c_str()).c_str());
}

void takeNumbers(IDX_IndexesNames& index, KeyFields key, bool fromZero) {
  std::copy(key.begin(), key.end(), index.IDX_ind);
  static_cast<OwnedIndex&>(index).countsFromZero = fromZero;
}

std::string whatDoesNotFit(const myAppInfoType& table, const IDX_IndexesNames& index, bool behind) {
  if (behind) return "ficou atrás da tabela"_l1;
  EntryMaker maker(FieldsOf(table), KeyFieldsOf(index));
  return WhatDoesNotFit(table.TBL_dbRef, index.IDX_dbRef, maker);
}

// Why indexes were left out for want of space, by their names. The log may have none either.
std::unordered_map<std::string, std::string> leftOut;

// Makes an open index fit the table; `behind`: its block says that entries waited when the process that had it died.
// False when no index can be made of that key, or there is no space for it.
bool makeFit(myAppInfoType& table, IDX_IndexesNames& index, bool behind) {
  if (!leftOut.empty()) leftOut.erase(FoldedName(index.IDX_name));
  // What other areas have open already has been looked at.
  const bool isKnown = isOpenElsewhere(index.IDX_dbRef) && !behind;
  if (isKnown)
    ForEachIndexOf(index.IDX_dbRef, table.TBL_dbRef, [&](const IDX_IndexesNames& other) {
      takeNumbers(index, KeyFieldsOf(other), static_cast<const OwnedIndex&>(other).countsFromZero);
    });
  // Why it does not fit, in the log's words; empty when it does.
  std::string words = isKnown ? std::string() : whatDoesNotFit(table, index, behind);
  // A record that is looked for in the wrong place has other keys than its entries, too.
  if (!words.empty() && !behind && VerifyPlaces(table.TBL_dbRef)) words = whatDoesNotFit(table, index, behind);
  // Before anything is made anew from the wrong fields, or made of them at all.
  if ((!words.empty() || (!isKnown && DmNumRecords(index.IDX_dbRef) == 0)) &&
      CountsFromZero(table.TBL_dbRef, index.IDX_dbRef, FieldsOf(table), KeyFieldsOf(index))) {
    takeNumbers(index, NumberedFromOne(KeyFieldsOf(index)), true);
    words = whatDoesNotFit(table, index, behind);
  }
  EntryMaker maker(FieldsOf(table), KeyFieldsOf(index));
  if (maker.size() == 0) {
    Logar(Message("Índice %s não aberto: a tabela %s não tem os campos da chave"_l1, index.IDX_name, table.TBL_name)
              .c_str());
    return false;
  }
  index.IDX_tam_max_key = static_cast<std::int32_t>(maker.size() - kEntryKeyAt);
  if (words.empty()) return true;
  // Its space comes first: the table can do without the index, but not without the journal.
  HasJournal();
  logMade(table, index, words);
  if (makeAnew(table, index, maker)) return true;
  std::string& why = leftOut[FoldedName(index.IDX_name)];
  why = Message("Índice %s não aberto: %s"_l1, index.IDX_name, WhyNotGrown(*index.IDX_dbRef->hFile).c_str());
  Logar(why.c_str());
  // Marked, so that the next opening tries again; the table works without it until then.
  LeaveBehind(index.IDX_dbRef);
  return false;
}

std::optional<IndexDescription> describe(DmOpenRef db) {
  SettleEntries(db);
  return ParseIndexBlock(BlockOf(db));
}

void releaseIndex(IDX_IndexesNames* index) {
  CloseIndex(*index);
  Release(index->IDX_ind);
  Release(index);
}

}  // namespace

std::vector<std::string> IndexesOf(const char* table) {
  std::vector<std::string> names;
  const std::string owner = FoldedName(table);
  if (OpenCatalog() != errNone) return names;
  // A damaged end must not lead out of the file.
  const auto end = static_cast<UInt32>(std::min(rwCatalog->szmap, rwCatalog->szallocated));
  for (UInt32 place = kHeaderSize; place + kCatalogEntrySize <= end; place += kCatalogEntrySize) {
    const DatabaseHdrType entry = CatalogEntryAt(place);
    const std::string_view name = CatalogEntryName(place);
    const bool isIndex = entry.type == kTypeIndex || (isAlmost(entry.type, kTypeIndex) && IsOfType(place, kTypeIndex));
    if (isIndex && !name.empty() && owners.isOf(place, entry, owner)) names.emplace_back(name);
  }
  return names;
}

std::string WhyLeftOut(const std::string& name) {
  const auto found = leftOut.find(FoldedName(name));
  return found == leftOut.end() ? std::string() : found->second;
}

void ForgetOwner(DmOpenRef index) {
  owners.forget(index->fOffset);
}

int AddIndex(myAppInfoType& table, const char* name, DmOpenRef db, KeyFields key) {
  auto* index = static_cast<OwnedIndex*>(Allocate(sizeof(OwnedIndex)));
  std::string_view(name).substr(0, kLongestTableName).copy(index->IDX_name, kLongestTableName);
  index->IDX_dbRef = db;
  index->IDX_recID = -1;
  // The buffer may hold changes from before the index was.
  index->IDX_fieldchanged = 1;
  index->IDX_tam_max_key = KeyRoom(FieldsOf(table), key);
  index->IDX_amntFieldKeys = static_cast<std::int32_t>(key.size());
  index->IDX_ind = static_cast<IDX_Indexes*>(Allocate(key.size_bytes()));
  std::copy(key.begin(), key.end(), index->IDX_ind);
  const std::uint32_t count = table.TBL_numIndexes;
  // A new list instead of a longer one: should there be no memory, the table has the old one.
  auto** list = static_cast<IDX_IndexesNames**>(Allocate((count + std::size_t{1}) * sizeof(IDX_IndexesNames*)));
  std::copy_n(table.TBL_IndexesNames, count, list);
  list[count] = index;
  Release(table.TBL_IndexesNames);
  table.TBL_IndexesNames = list;
  table.TBL_numIndexes = count + 1;
  return static_cast<int>(count);
}

int AttachIndex(myAppInfoType& table, const std::string& name) {
  DmOpenRef db = openDatabase(name.c_str());
  if (db == nullptr) return -1;
  const std::optional<IndexDescription> told = describe(db);
  if (!told || FoldedName(told->table) != FoldedName(table.TBL_name)) {
    if (!told) Logar(Message("Índice %s não aberto: descrição ilegível"_l1, name.c_str()).c_str());
    DmCloseDatabase(db);
    return -1;
  }
  const int number = AddIndex(table, FoldedName(name).c_str(), db, told->keyFields);
  IDX_IndexesNames& index = *table.TBL_IndexesNames[number];
  if (!makeFit(table, index, told->entriesWait)) {
    DetachIndex(table, number);
    return -1;
  }
  // Readers beside the program hold the block's length against the key: it is put right once.
  if (told->keyLength != index.IDX_tam_max_key) __TBL_CreateOrChangeMyAppInfo(&table);
  return number;
}

void AttachIndexes(myAppInfoType& table) {
  table.TBL_numIndexes = 0;
  for (const std::string& name : IndexesOf(table.TBL_name)) AttachIndex(table, name);
}

void DetachIndex(myAppInfoType& table, int index) {
  IDX_IndexesNames** at = table.TBL_IndexesNames + index;
  releaseIndex(*at);
  std::copy(at + 1, table.TBL_IndexesNames + table.TBL_numIndexes, at);
  --table.TBL_numIndexes;
}

void DetachIndexes(myAppInfoType& table) {
  for (std::uint32_t i = 0; i < table.TBL_numIndexes; ++i) releaseIndex(table.TBL_IndexesNames[i]);
  Release(table.TBL_IndexesNames);
  table.TBL_IndexesNames = nullptr;
  table.TBL_numIndexes = 0;
}

StrayIndexes StrayIndexesOf(const std::string& table) {
  StrayIndexes strays;
  std::error_code failed, unseen;
  for (std::filesystem::directory_iterator at(wcDir, failed), end; !failed && at != end; at.increment(failed)) {
    const std::string name = at->path().filename();
    if (!IsDatabaseName(name) || CatalogEntryOf(name) != 0 || !at->is_regular_file(unseen)) continue;
    errno = 0;
    std::string why;
    const std::optional<FileHeader> header = HeaderInFile(name);
    if (header && header->Type != kIndexDatabase) continue;
    const std::string owner = header ? ownerOf(name, why) : std::string();
    if (owner.empty() && errno != 0)
      strays = {strays.names, name, errno};
    else if (owner == FoldedName(table))
      strays.names.push_back(name);
  }
  if (failed) strays = {{}, table, failed.value()};
  return strays;
}

void DeleteIndexes(const char* table) {
  for (const std::string& name : IndexesOf(table)) DmDeleteDatabase(0, DmFindDatabase(0, name.c_str()));
}

bool OpenIndex(myAppInfoType& table, IDX_IndexesNames& index) {
  if (IsOpen(index.IDX_dbRef)) {
    if (IsBehind(index.IDX_dbRef)) MendIndex(table, index);
    return true;
  }
  index.IDX_dbRef = openDatabase(index.IDX_name);
  if (index.IDX_dbRef == nullptr) return false;
  const std::optional<IndexDescription> told = describe(index.IDX_dbRef);
  if (told && makeFit(table, index, told->entriesWait)) return true;
  CloseIndex(index);
  return false;
}

bool CloseIndex(IDX_IndexesNames& index) {
  if (index.IDX_dbRef == nullptr) return false;
  DmCloseDatabase(index.IDX_dbRef);
  index.IDX_dbRef = nullptr;
  index.IDX_recID = -1;
  return true;
}

bool RebuildIndex(myAppInfoType& table, IDX_IndexesNames& index) {
  if (!IsOpen(index.IDX_dbRef)) index.IDX_dbRef = openDatabase(index.IDX_name);
  EntryMaker maker(FieldsOf(table), KeyFieldsOf(index));
  if (index.IDX_dbRef == nullptr || maker.size() == 0) return false;
  if (!makeAnew(table, index, maker)) GrowthFailure(*index.IDX_dbRef->hFile);
  return true;
}

void MendIndex(myAppInfoType& table, IDX_IndexesNames& index) {
  logMade(table, index, "não tem uma entrada para cada registro"_l1);
  RebuildIndex(table, index);
}

bool NamesLoadedRecord(const VORNE_RDD& area, const IDX_IndexesNames& index, const Entries& entries, int place) {
  return static_cast<UInt32>(place) < entries.count &&
         entries.keyLength() == static_cast<std::size_t>(index.IDX_tam_max_key) &&
         HasKey(FieldsOf(area), KeyFieldsOf(index), area.TBL_buff, entries.key(static_cast<std::size_t>(place)));
}

void RebuildIndexes(myAppInfoType& table) {
  for (std::uint32_t i = 0; i < table.TBL_numIndexes; ++i) RebuildIndex(table, *table.TBL_IndexesNames[i]);
}

void ZapIndexes(myAppInfoType& table) {
  for (std::uint32_t i = 0; i < table.TBL_numIndexes; ++i) {
    IDX_IndexesNames& index = *table.TBL_IndexesNames[i];
    if (!IsOpen(index.IDX_dbRef)) index.IDX_dbRef = openDatabase(index.IDX_name);
    if (index.IDX_dbRef != nullptr) __InternalZap(index.IDX_dbRef);
    index.IDX_recID = -1;
  }
}

}  // namespace vorne
