#include "storage/databases/databases.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unordered_map>

#include "runtime/latin1.h"
#include "storage/databases/catalog.h"
#include "storage/databases/rebuild.h"
#include "storage/files/diagnostic_log.h"
#include "storage/files/system.h"
#include "storage/records/app_info.h"
#include "storage/records/handles.h"
#include "storage/records/offsets.h"
#include "storage/records/records.h"
#include "storage/records/waiting_entries.h"
#include "storage/tables/opening.h"

OpenStruct** OpenFiles = nullptr;

namespace vorne {

OpenStruct* databases = nullptr;

namespace {

std::unordered_map<std::string, UInt32> slotOfName;
UInt32 firstFreeSlot = 0;  // none below is free

UInt32 SlotOfDatabase(const OpenStruct* db) {
  return static_cast<UInt32>(db - databases);
}

DmOpenRef TakeDatabase(std::string_view name, UInt32 entry) {
  while (firstFreeSlot < kOpenFiles && OpenFiles[firstFreeSlot] != nullptr) ++firstFreeSlot;
  if (firstFreeSlot >= kOpenFiles) return nullptr;
  DmOpenRef db = &databases[firstFreeSlot];
  *db = {};
  std::memcpy(db->fName, name.data(), name.size());
  db->fOffset = entry;
  db->Record = kNoRecord;
  db->firstHandle = kNoHandle;
  OpenFiles[firstFreeSlot] = db;
  slotOfName[FoldedName(name)] = firstFreeSlot;
  return db;
}

void ForgetDatabase(DmOpenRef db) {
  const UInt32 slot = SlotOfDatabase(db);
  slotOfName.erase(FoldedName(db->fName));
  OpenFiles[slot] = nullptr;
  if (slot < firstFreeSlot) firstFreeSlot = slot;
}

void Unmap(DmOpenRef db) {
  FreeHandlesOf(db);
  DropEntries(db);
  liberarmap(db->hFile);
  liberarmap(db->hOS);
  db->hFile = db->hOS = nullptr;
}

void CloseForGood(DmOpenRef db) {
  if (db->hFile != nullptr) {
    SettleHeld(db);
    __WriteAppInfo(db);
  }
  Unmap(db);
  ForgetDatabase(db);
}

DmOpenRef DatabaseOf(LocalID id) {
  return OpenFiles == nullptr || id < 1 || id > kOpenFiles ? nullptr : OpenFiles[id - 1];
}

// ---------------------------------------------------------------------------------------------------------- files

std::string OffsetsName(std::string_view name) {
  return std::string(name) + kOffsetsSuffix;
}

std::string PathOf(std::string_view name) {
  return GetWideName(std::string(name).c_str());
}

// ENOENT only: a file that cannot be looked at just now has not vanished.
bool HasVanished(std::string_view name) {
  struct stat found;
  return fileSystem.stat(PathOf(name).c_str(), &found) != 0 && errno == ENOENT;
}

// Without its data file a database is gone; an offsets file alone is nothing.
bool RemoveFiles(std::string_view name) {
  if (!DeleteFile(PathOf(name).c_str()) && !HasVanished(name)) return false;
  DeleteFile(PathOf(OffsetsName(name)).c_str());
  return true;
}

// What is left of another database under the new name goes. An offsets file that cannot follow is made anew.
bool RenameFiles(std::string_view from, std::string_view to) {
  const std::string oldOffsets = PathOf(OffsetsName(from)), newOffsets = PathOf(OffsetsName(to));
  if (fileSystem.rename(PathOf(from).c_str(), PathOf(to).c_str()) != 0) return false;
  if (fileSystem.rename(oldOffsets.c_str(), newOffsets.c_str()) != 0) {
    DeleteFile(newOffsets.c_str());
    DeleteFile(oldOffsets.c_str());
  }
  return true;
}

bool IsUsableName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos &&
         !IsReservedName(name);
}

// By its type code or, since that may be changed at any time, by its data file.
bool HasOffsets(UInt32 entry) {
  FileHeader header = {};
  long size = 0;
  const std::string name(EntryName(entry));
  if (!HasVanished(name)) GetHeaderAndSize(name.c_str(), &header, &size);
  return header.Type == kVariableDatabase || KindOfType(EntryAt(entry).type) == kVariableDatabase;
}

// A 'V' database's offsets file has a name that another database could have: only one of the two can be.
bool ClashesWithOffsets(const std::string& folded, bool hasOffsets) {
  const std::string suffix = kOffsetsSuffix;
  if (hasOffsets && EntryOf(folded + suffix) != 0) return true;
  if (!folded.ends_with(suffix)) return false;
  const UInt32 owner = EntryOf(folded.substr(0, folded.size() - suffix.size()));
  return owner != 0 && HasOffsets(owner);
}

bool MakeDataFile(std::string_view name, std::uint32_t type) {
  const std::string path = PathOf(name);
  HANDLE file = CreateFile(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW);
  if (file == INVALID_HANDLE_VALUE) file = CreateFile(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING);
  if (file == INVALID_HANDLE_VALUE) return false;
  FileHeader header = {};
  header.Version = 2;
  header.Type = KindOfType(type);
  int count = 0;
  WriteFile(file, &header, sizeof header, &count);
  CloseHandle(file);
  return count == static_cast<int>(sizeof header);
}

[[noreturn]] void CannotCreate(const char* name) {
  Logar(Message("Falha de criação do arquivo %s"_l1, name).c_str());
  __RuntimeError(11, -1);
}

}  // namespace

bool MakeOpenFiles() {
  OpenFiles = static_cast<OpenStruct**>(std::calloc(kOpenFiles + 1, sizeof(OpenStruct*)));
  databases = static_cast<OpenStruct*>(std::calloc(kOpenFiles, sizeof(OpenStruct)));
  firstFreeSlot = 0;
  slotOfName.clear();
  if (OpenFiles != nullptr && databases != nullptr) return true;
  FreeOpenFiles();
  return false;
}

void FreeOpenFiles() {
  std::free(OpenFiles);
  std::free(databases);
  OpenFiles = nullptr;
  databases = nullptr;
}

void CloseDatabases() {
  for (UInt32 slot = 0; slot < kOpenFiles; ++slot)
    if (OpenFiles[slot] != nullptr) CloseForGood(OpenFiles[slot]);
}

std::string_view ShortName(const char* name) {
  return {name, ::strnlen(name, kLongestName)};
}

std::string FoldedName(std::string_view name) {
  std::string folded(name);
  for (char& c : folded)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return folded;
}

void FollowGrowth(DmOpenRef db) {
  db->Head = HeaderOf(*db->hFile);
  PlaceHandles(db);
}

void FollowMove(DmOpenRef db, const TailMove& move) {
  for (UInt16 slot = db->firstHandle; slot != kNoHandle; slot = RecordInSlot(slot)->next) {
    RecordStruct& record = *RecordInSlot(slot);
    if (!record.isAppInfo && !record.onHeap && record.rOffset >= move.from) record.rOffset += move.to - move.from;
  }
  FollowGrowth(db);
}

void GrowthFailure(const mymap& map) {
  StorageFailure(Message("falhou CreateFileMapping do arquivo %s sz=%ld %s", map.cfile,
                         static_cast<long>(map.szallocated), __MemoryReport())
                     .c_str());
}

}  // namespace vorne

using namespace vorne;

Err DmCreateDatabase(UInt16, const char* name, UInt32 creator, UInt32 type, Boolean) {
  if (name == nullptr) return errArgument;
  if (const Err failed = OpenCatalog()) return failed;
  const std::string_view shortName = ShortName(name);
  // Not found may also mean that too many are: only the entry tells that it can be made.
  if (DmFindDatabase(0, name) != 0 || EntryOf(shortName) != 0 ||
      ClashesWithOffsets(FoldedName(shortName), KindOfType(type) == kVariableDatabase))
    return errAlreadyExists;
  if (!IsUsableName(shortName)) CannotCreate(name);
  // Files without an entry are what is left of a database that was being made or deleted.
  DeleteFile(PathOf(shortName).c_str());
  DeleteFile(PathOf(OffsetsName(shortName)).c_str());

  DatabaseHdrType entry = {};
  std::memcpy(entry.name, shortName.data(), shortName.size());
  GetLocalTime(&entry.creationDate);
  entry.modificationDate = entry.creationDate;
  entry.type = type;
  entry.creator = creator;
  __PositionOnFirstNullCatalog(entry.name);
  if (!MakeDataFile(shortName, type)) {
    DeleteFile(PathOf(shortName).c_str());
    CannotCreate(name);
  }
  AddEntry(entry);
  return errNone;
}

LocalID DmFindDatabase(UInt16, const char* name) {
  if (name == nullptr || OpenCatalog() != errNone) return 0;
  const std::string_view wanted = ShortName(name);
  const auto open = slotOfName.find(FoldedName(wanted));
  if (open != slotOfName.end()) return open->second + 1;
  const UInt32 entry = EntryOf(wanted);
  if (entry == 0) return 0;
  // The file has the name as the catalogue spells it.
  const std::string stored(EntryName(entry));
  if (!IsUsableName(stored)) return 0;
  if (HasVanished(stored)) {
    ClearEntry(entry);
    return 0;
  }
  const DmOpenRef db = TakeDatabase(stored, entry);
  return db == nullptr ? 0 : SlotOfDatabase(db) + 1;
}

DmOpenRef DmOpenDatabase(UInt16, LocalID id, UInt16) {
  DmOpenRef db = DatabaseOf(id);
  if (db == nullptr) return nullptr;
  if (db->opens == 0) FreeHandlesOf(db);
  if (db->hFile == nullptr) db->hFile = mapeararquivo(db->fName);
  if (db->opens == 0) {
    db->HeadReaded = 0;
    if (!IsSoundHeader(*db->hFile)) {
      std::printf("Falhou Abertura de %s", db->fName);
      Unmap(db);
      return nullptr;
    }
  }
  __GetAppInfo(db);
  if (db->opens == 0) {
    if (IsVariable(*db)) {
      if (db->hOS == nullptr) db->hOS = mapeararquivo(OffsetsName(db->fName).c_str());
      VerifyFileOffset(db);
    } else {
      VerifyEqualRecords(db);
    }
    // A file into which nothing was ever stored, and nothing found in it: the first record goes behind its header.
    if (db->hFile->szmap < static_cast<std::int32_t>(kHeaderSize)) WriteUsedSize(db->hFile, kHeaderSize);
    db->Head = HeaderOf(*db->hFile);
  }
  ++db->opens;
  return db;
}

Err DmCloseDatabase(DmOpenRef db) {
  if (!IsFound(db)) return errArgument;
  if (db->opens > 1)
    --db->opens;
  else
    CloseForGood(db);
  return errNone;
}

Err DmDeleteDatabase(UInt16, LocalID id) {
  DmOpenRef db = DatabaseOf(id);
  if (db == nullptr) return errArgument;
  CloseAreasOf(db);
  const std::string name = db->fName;
  const UInt32 entry = db->fOffset;
  Unmap(db);
  ForgetDatabase(db);
  bool removed = false;
  ChangeEntry(entry, {}, [&] { return removed = RemoveFiles(name); });
  return removed ? errNone : errArgument;
}

Err DmSyncDatabase(DmOpenRef db) {
  if (!IsOpen(db)) return errArgument;
  if (db->waiting != nullptr) SettleEntries(db);
  FlushViewOfFile(db->hFile->mapmem, static_cast<std::size_t>(db->hFile->szmap));
  if (db->hOS != nullptr) FlushViewOfFile(db->hOS->mapmem, static_cast<std::size_t>(db->hOS->szmap));
  return errNone;
}

namespace {

template <class T>
void Give(T* to, const T& value) {
  if (to != nullptr) *to = value;
}
template <class T>
void Take(T& to, const T* value) {
  if (value != nullptr) to = *value;
}

Err Rename(DmOpenRef db, const char* name) {
  const std::string from = db->fName;
  const std::string to(ShortName(name));
  if (to == from) return errNone;
  DatabaseHdrType entry = EntryAt(db->fOffset);
  if (!IsUsableName(to)) return errArgument;
  const UInt32 taken = EntryOf(to);
  if ((taken != 0 && taken != db->fOffset) || ClashesWithOffsets(FoldedName(to), HasOffsets(db->fOffset)))
    return errAlreadyExists;
  std::memset(entry.name, 0, sizeof entry.name);
  std::memcpy(entry.name, to.data(), to.size());
  bool renamed = false;
  ChangeEntry(db->fOffset, entry, [&] { return renamed = RenameFiles(from, to); });
  if (!renamed) return errArgument;

  slotOfName.erase(FoldedName(from));
  slotOfName[FoldedName(to)] = SlotOfDatabase(db);
  std::snprintf(db->fName, sizeof db->fName, "%s", to.c_str());
  if (db->hFile != nullptr) std::snprintf(db->hFile->cfile, sizeof db->hFile->cfile, "%s", to.c_str());
  if (db->hOS != nullptr) std::snprintf(db->hOS->cfile, sizeof db->hOS->cfile, "%s", OffsetsName(to).c_str());
  return errNone;
}

}  // namespace

Err DmDatabaseInfo(UInt16, LocalID id, char* name, UInt16* attributes, UInt16* version, SYSTEMTIME* created,
                   SYSTEMTIME* modified, UInt32* backedUp, UInt32* modification, LocalID* appInfo, LocalID* sortInfo,
                   UInt32* type, UInt32* creator) {
  const OpenStruct* db = DatabaseOf(id);
  if (db == nullptr) return errArgument;
  const DatabaseHdrType entry = EntryAt(db->fOffset);
  if (name != nullptr) std::snprintf(name, kLongestName + 1, "%.31s", entry.name);
  Give(attributes, entry.attributes);
  Give(version, entry.version);
  Give(created, entry.creationDate);
  Give(modified, entry.modificationDate);
  Give(backedUp, entry.lastBackupDate);
  Give(modification, entry.modificationNumber);
  Give(appInfo, db->appInfoID);
  Give(sortInfo, db->sortInfoID);
  Give(type, entry.type);
  Give(creator, entry.creator);
  return errNone;
}

Err DmSetDatabaseInfo(UInt16, LocalID id, const char* name, const UInt16* attributes, const UInt16* version,
                      const SYSTEMTIME*, const SYSTEMTIME*, const UInt32* backedUp, const UInt32* modification,
                      const LocalID* appInfo, const LocalID* sortInfo, const UInt32* type, const UInt32* creator) {
  DmOpenRef db = DatabaseOf(id);
  if (db == nullptr) return errArgument;
  if (appInfo != nullptr)
    if (const Err failed = SetAppInfo(db, *appInfo)) return failed;
  Take(db->sortInfoID, sortInfo);
  if (name != nullptr)
    if (const Err failed = Rename(db, name)) return failed;
  DatabaseHdrType entry = EntryAt(db->fOffset);
  Take(entry.attributes, attributes);
  Take(entry.version, version);
  Take(entry.lastBackupDate, backedUp);
  Take(entry.modificationNumber, modification);
  Take(entry.type, type);
  Take(entry.creator, creator);
  ChangeEntry(db->fOffset, entry);
  return errNone;
}
