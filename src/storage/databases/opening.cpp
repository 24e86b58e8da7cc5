// What must be in this order: interrupted changes are finished before anything is mapped, the catalogue is checked
// before a database is looked for, a file's header is checked before its records are, and those before the first
// access.
#include "storage/databases/opening.h"

#include <sys/file.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "runtime/hooks.h"
#include "runtime/latin1.h"
#include "storage/databases/catalog.h"
#include "storage/databases/catalog_check.h"
#include "storage/databases/header_check.h"
#include "storage/databases/rebuild.h"
#include "storage/files/diagnostic_log.h"
#include "storage/files/mapped_file.h"
#include "storage/files/patient_lock.h"
#include "storage/files/system.h"
#include "storage/format/names.h"
#include "storage/journal/journal.h"
#include "storage/journal/recovery.h"
#include "storage/records/handles.h"
#include "storage/records/open_databases.h"
#include "storage/records/records.h"
#include "storage/records/waiting_entries.h"

namespace vorne {

void UnmapDatabase(DmOpenRef db) {
  FreeHandlesOf(db);
  DropEntries(db);
  liberarmap(db->hFile);
  liberarmap(db->hOS);
  db->hFile = db->hOS = nullptr;
}

namespace {

bool findDirectory() {
  char working[PATH_MAX];
  if (::getcwd(working, sizeof working) == nullptr) return false;
  const std::string path = std::string(working) + kDataDirectory;
  if (path.size() >= sizeof wcDir) return false;
  std::memcpy(wcDir, path.c_str(), path.size() + 1);
  CreateDirectory(wcDir);
  return true;
}

void closeForGood(DmOpenRef db) {
  if (db->hFile != nullptr) {
    SettleHeld(db);
    __WriteAppInfo(db);
  }
  UnmapDatabase(db);
  ForgetDatabase(db);
}

// Maps a database's files. False for what no database's files can be.
bool mapFiles(DmOpenRef db) {
  // A table does without an index that cannot be made whole.
  const bool isIndex = CatalogEntryAt(db->fOffset).type == kTypeIndex;
  if (db->hFile == nullptr) db->hFile = isIndex ? MapAsFarAsItGoes(db->fName) : mapeararquivo(db->fName);
  db->HeadReaded = 0;
  VerifyKind(db);
  if (HeaderOf(*db->hFile).Type == kVariableDatabase) {
    const std::string offsets = OffsetsName(db->fName);
    if (db->hOS == nullptr) db->hOS = MapOrHoldInMemory(offsets.c_str());
    // Only what the catalogue names is another's: of an offsets file's header nothing but its sizes is kept.
    if (HeaderOf(*db->hOS).Type != 0 && CatalogEntryOf(offsets) != 0) {
      Logar(Message("O banco %s não pode ser aberto: o arquivo %s é de outro banco"_l1, db->fName, offsets.c_str())
                .c_str());
      return false;
    }
  }
  VerifySizes(db);
  return IsSoundHeader(*db->hFile);
}

// What a process wrote that died before it took another file's place. Only who is alone here can tell it from what
// another one is just writing.
void removeUnfinished() {
  struct stat found;
  const std::string path = GetWideName(kUnfinishedName);
  if (fileSystem.stat(path.c_str(), &found) == 0 && fileSystem.flock(rwCatalog->hFile, LOCK_EX | LOCK_NB) == 0)
    fileSystem.unlink(path.c_str());
}

// Tells a repair that the files are in use; databases open without it all the same. It may pass through
// removeUnfinished in another process, whose lock becomes this one in two steps, or through a tool that asks.
void shareCatalog() {
  LockPatiently(rwCatalog->hFile, LOCK_SH);
}

void closeDatabases() {
  for (UInt32 slot = 0; slot < kOpenFiles; ++slot)
    if (OpenFiles[slot] != nullptr) closeForGood(OpenFiles[slot]);
}

}  // namespace

}  // namespace vorne

using namespace vorne;

Err OpenCatalog() {
  if (rwCatalog != nullptr) return errNone;
  if (!MakeHandles() || !MakeOpenFiles()) {
    Logar(MemHandles == nullptr ? "falhou 1" : "falhou 2");
    FreeHandles();
    __RuntimeError(5, -1);
  }
  // From here on a process that ends, by an error too, closes what is open.
  hooks.closeCatalog = CloseCatalog;
  hooks.leaveJournal = LeaveJournal;
  ForgetCatalogNames();
  if (findDirectory()) {
    // Before anything is mapped: it may change any file, the catalogue too.
    RecoverInterruptedChanges();
    rwCatalog = mapeararquivo(kCatalogName);
    removeUnfinished();
    shareCatalog();
    VerifyCatalogEntries();
  }
  if (rwCatalog != nullptr) return errNone;
  std::printf("falhou mapeamento %s ...", kCatalogName);
  FreeOpenFiles();
  FreeHandles();
  return errCatalogNotMapped;
}

void CloseCatalog() {
  if (rwCatalog != nullptr) {
    closeDatabases();
    FlushCatalog();
    // After the databases, so that it is the catalogue as it stays.
    GerarCatalogBck();
    liberarmap(rwCatalog);
    rwCatalog = nullptr;
    // Behind all that may still need it: closing a database writes back what is held.
    CloseJournal();
  }
  FreeOpenFiles();
  FreeHandles();
  CloseDiagnosticLog();
}

int FindFileInDefaultDir(const char* name) {
  if (name == nullptr || OpenCatalog() != errNone) return 0;
  FindEntry entry;
  const HANDLE search = _findfirst(GetWideName(name), &entry);
  _findclose(search);
  return search != INVALID_HANDLE_VALUE;
}

DmOpenRef DmOpenDatabase(UInt16, LocalID id, UInt16) {
  DmOpenRef db = DatabaseById(id);
  if (db == nullptr) return nullptr;
  if (db->opens == 0) {
    FreeHandlesOf(db);
    if (!mapFiles(db)) {
      std::printf("Falhou Abertura de %s", db->fName);
      UnmapDatabase(db);
      return nullptr;
    }
  }
  __GetAppInfo(db);
  if (db->opens == 0) {
    if (IsVariable(*db))
      VerifyFileOffset(db);
    else
      VerifyEqualRecords(db);
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
    closeForGood(db);
  return errNone;
}
