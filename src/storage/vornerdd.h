// Local storage: the file calls that keep their Win32 names, mapped files, and the record database with the names of
// the handheld's data manager. Tables, indexes, logs and transfers all store through this floor.
//
// Conventions that hold for every function here:
//  - All database files live in the directory "DB" of the working directory at the time the catalogue is opened. The
//    catalogue opens itself at the first database call.
//  - Results of type Err are 0 for success, 1 for a null or missing argument, 514 for a place outside a record, 518
//    when the catalogue could not be mapped, 531 for no such record, 537 for a database that exists already. "Error n"
//    means a call of __RuntimeError, which ends the process; failures of the mapped files are error 5, told in
//    "saida.txt".
//  - A record is edited in place, in the mapped file. One record of a database is held at a time; asking for another
//    one writes the held one back when it is new or changed. A data pointer is good until the next call that makes,
//    removes or resizes something in the same database.
//  - Killing the process at any moment loses nothing that a call had reported done: the next open finishes or undoes
//    what stood half-way.
//  - Card numbers are taken and ignored. Names are compared without regard to case; a name has at most 31 bytes.
//  - One thread at a time, and one process that writes.
#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "runtime/vorneobjs.h"
#include "storage/disk_layout.h"

typedef std::uint8_t UInt8;
typedef std::uint16_t UInt16;
typedef std::uint32_t UInt32;
typedef UInt16 Err;
typedef UInt32 LocalID;  // slot number + 1 of a handle or of a database, 0 none

inline constexpr Err errNone = 0;
inline constexpr Err errArgument = 1;
inline constexpr Err errWriteOutOfBounds = 514;
inline constexpr Err errCatalogNotMapped = 518;
inline constexpr Err errNoSuchRecord = 531;
inline constexpr Err errAlreadyExists = 537;

/// While not 0, records are written without telling the system to flush each one; set while many are loaded.
extern Boolean bBatchOper;

// ------------------------------------------------------------------------------------- files, by their Win32 names

/// A file descriptor, the address of a mapping or of a search; -1 is invalid.
typedef std::intptr_t HANDLE;

inline constexpr HANDLE INVALID_HANDLE_VALUE = -1;
inline constexpr UInt32 GENERIC_READ = 0x80000000u;
inline constexpr UInt32 GENERIC_WRITE = 0x40000000u;
inline constexpr UInt32 CREATE_NEW = 1;
inline constexpr UInt32 CREATE_ALWAYS = 2;
inline constexpr UInt32 OPEN_EXISTING = 3;
inline constexpr UInt32 OPEN_ALWAYS = 4;
inline constexpr UInt32 TRUNCATE_EXISTING = 5;
inline constexpr UInt32 FILE_BEGIN = 0;
inline constexpr UInt32 FILE_CURRENT = 1;
inline constexpr UInt32 FILE_END = 2;
inline constexpr UInt32 PAGE_READWRITE = 4;
inline constexpr UInt32 FILE_MAP_WRITE = 2;

/// Opens a file. A missing one is created, whatever `disposition` says, and OPEN_ALWAYS and TRUNCATE_EXISTING (any
/// value with the bit of 4) empty an existing one: the layers above were written against that. `access` names
/// GENERIC_READ, GENERIC_WRITE, both or neither (both). Returns -1 for an empty name or a failed open.
HANDLE CreateFile(const char* name, UInt32 access, UInt32 share = 0, void* security = nullptr,
                  UInt32 disposition = OPEN_EXISTING, UInt32 flags = 0, HANDLE model = 0);
/// The number of bytes read, also in `*count`; 0 at the end of the file, -1 on failure.
int ReadFile(HANDLE file, void* buffer, UInt32 length, int* count, void* overlapped = nullptr);
/// The number of bytes written, also in `*count`; -1 on failure.
int WriteFile(HANDLE file, const void* buffer, UInt32 length, int* count, void* overlapped = nullptr);
/// The new position, -1 on failure. `method` is FILE_BEGIN, FILE_CURRENT or FILE_END.
long SetFilePointer(HANDLE file, long distance, long* high, UInt32 method);
/// Cuts (or extends) the file at its position; 0 when done. At position 0 nothing is done.
int SetEndOfFile(HANDLE file);
/// Size in bytes; the position stays. -1 on failure.
long GetFileSize(HANDLE file, UInt32* high = nullptr);
int CloseHandle(HANDLE file);                                     ///< always 1
int FlushFileBuffers(HANDLE file);                                ///< always 1
int DeleteFile(const char* name);                                 ///< 1 when deleted, else 0
int MoveFile(const char* from, const char* to);                   ///< always 1
int CreateDirectory(const char* path, void* security = nullptr);  ///< always 1
/// Maps the first `size` bytes of a file, shared, for reading and writing. 0 for a handle below 1; -1 when it fails.
HANDLE CreateFileMapping(HANDLE file, void* security, UInt32 protection, UInt32 sizeHigh, UInt32 size,
                         const char* name = nullptr);
/// The mapping's address.
void* MapViewOfFile(HANDLE mapping, UInt32 access = 0, UInt32 offsetHigh = 0, UInt32 offset = 0, UInt32 size = 0);
/// Asks the system to write `length` bytes at `address` soon, without waiting; always 1. Nothing for null or 0.
int FlushViewOfFile(const void* address, std::size_t length);
UInt32 GetTickCount();  ///< seconds, not milliseconds, since 1970

/// The local time, milliseconds 0.
SYSTEMTIME* GetLocalTime(SYSTEMTIME* now);
int GetLastError();     ///< errno
int WSAGetLastError();  ///< errno
/// strncpy: no terminator is written when `src` has `n` bytes or more.
char* lstrcpyn(char* dest, const char* src, int n);
int WSAStartup(UInt16 version, void* data);  ///< always 0
void WSACleanup();
int closesocket(int socket);  ///< always 1
int min(int a, int b);
/// Changes a to z to capitals in the first `length` + 1 bytes (0: the whole text), not past the terminator.
char* strupr(char* text, int length = 0);

/// An entry found in a directory, in the layout of a 32-bit system.
struct FindEntry {
  std::uint32_t d_ino;
  std::int32_t d_off;
  std::uint16_t d_reclen;
  std::uint8_t d_type;
  char d_name[256];
};
static_assert(sizeof(FindEntry) == 268 && offsetof(FindEntry, d_name) == 11);

/// Starts a search: `pattern` is a path whose last part the names are held against. An entry matches when its name
/// occurs in that part (so "." and every shorter name do); wildcards are never taken as such. -1 when nothing is found.
HANDLE _findfirst(const char* pattern, FindEntry* entry);
/// The next match into `*entry`; -1 at the end.
int _findnext(HANDLE search, FindEntry* entry);
int _findclose(HANDLE search);  ///< always 1

// ------------------------------------------------------------------------------------------------------ mapped files

/// A data file mapped for reading and writing.
struct mymap {
  std::int32_t hFile;        ///< descriptor
  void* hFileMap;            ///< the mapping's handle: its address
  std::int32_t szmap;        ///< bytes in use, the header included
  std::int32_t szallocated;  ///< bytes that the file has
  std::int32_t offset;       ///< where the space handed out last begins; also the place that moves work at
  std::int32_t resize;       ///< how often this map had to grow its file
  char cfile[256];           ///< name in the data directory
  char* mapmem;              ///< address; keep offsets, not pointers: it may change when the file grows
  std::size_t mapped;        ///< bytes of address space held at mapmem; may be more than the file has
  std::int32_t reserved;     ///< bytes from the start that are known to have real space behind szmap, 0 unknown
};
typedef mymap* pmymap;

extern char wcDir[PATH_MAX];         ///< the data directory
extern char wcName[PATH_MAX + 256];  ///< the path that GetWideName built last

/// Builds `wcDir`/`name` in wcName and returns it; null empties it.
const char* GetWideName(const char* name);
/// Reads a data file's header (zeros when it has less than 20 bytes) and size; 1, or 0 for null or a failed open. A
/// missing file is created. Error 5 when it cannot be read.
int GetHeaderAndSize(const char* name, FileHeader* header, long* size);
/// Maps the data file `name` (below 128 bytes), made when missing. Error 5 when that fails.
pmymap mapeararquivo(const char* name);
/// Opens, sizes and maps wcName with `size` bytes, never shrinking it; 1, or 0 for a null map or a failed open.
/// Error 5.
int GetMappedFile(pmymap map, long size);
/// Adds `n` bytes to the used size, growing the file in steps when needed; `offset` becomes the old used size. 1, or 0
/// when the file cannot grow (nothing changed then) or would pass 0x0FFFFFFF bytes. Error 0 for null.
int increasefilesz(pmymap map, long n);
/// Makes the file `size` bytes long (not below what is used); 1, or 0 when that fails: all stays as it was.
int setfilesz(pmymap map, long size);
int liberarmap(pmymap map);                  ///< flushes, unmaps, closes and frees; 1, or 0 for null
int UnmapViewOfFile(pmymap map);             ///< unmaps, without closing; always 1
void TruncateFile(const char* name);         ///< empties or creates the file of that path
extern std::FILE* pLogFile;                  ///< the open "saida.txt", null before the first line; appends
void Logar(const char* message);             ///< a line in "saida.txt" of the working directory
int FileExists(const char* name);            ///< 1 when a search for it finds an entry whose name occurs in it
int FindFileInDefaultDir(const char* name);  ///< 1 when a search in the data directory finds it
int __GetAPPDir(char* path);                 ///< the program's directory into PATH_MAX bytes; 0 when unknown

// ------------------------------------------------------------------------------------------ databases and handles

namespace vorne {
struct WaitingEntries;
}

/// A database that has been found.
struct OpenStruct {
  char fName[128];
  UInt32 fOffset;  ///< of its entry in the catalogue
  LocalID appInfoID;
  LocalID sortInfoID;
  UInt32 Record;  ///< slot of the held record's handle, 0xFFFFFFFF none
  pmymap hFile;   ///< null until opened
  pmymap hOS;     ///< offsets file of a 'V' database
  FileHeader Head;
  Boolean HeadReaded;
  Boolean bFlushed;
  UInt32 opens;                    ///< how many callers hold it open
  UInt16 firstHandle;              ///< its handles, chained by RecordStruct::next; 0xFFFF none
  vorne::WaitingEntries* waiting;  ///< entries that are not in the file yet; null for nearly all databases
};
typedef OpenStruct* DmOpenRef;

/// What a memory handle stands for.
struct RecordStruct {
  UInt32 index;
  UInt32 size;
  UInt32 sizeallocated;
  UInt32 rOffset;     ///< of the record's header in the data file; 20 for the application-info block
  Boolean isnew;      ///< made, not yet counted
  Boolean isAppInfo;  ///< the application-info block
  Boolean dirty;
  Boolean locked;
  OpenStruct* father;
  UInt32 resize;  ///< pending size change
  char* data;
  UInt16 slot;            ///< its place in MemHandles
  UInt16 next, previous;  ///< chain of the father's handles
  UInt16 sameHash;        ///< chain of locked handles by pointer
  UInt16 hash;            ///< the chain it stands in, 0xFFFF none
  Boolean placed;         ///< a new record whose slot in the offsets file is made already
  Boolean onHeap;         ///< space that is not part of the file yet
};
/// The address of a slot in MemHandles.
typedef RecordStruct** MemHandle;

inline constexpr UInt32 kHandles = 7168;
inline constexpr UInt32 kOpenFiles = 5120;
inline constexpr UInt32 kAppend = 0x0FFFFFFE;  ///< index that stands for the end
inline constexpr UInt32 kLargestNewSpace = 15360;

extern RecordStruct** MemHandles;  ///< null while the catalogue is closed
extern OpenStruct** OpenFiles;
extern pmymap rwCatalog;

// Catalogue.
/// Opens the catalogue, first finishing what a killed process left half-done; 0, or 518. Error 5.
Err OpenCatalog();
/// Closes every database, writes the backup "catalog.bck", closes the catalogue. Nothing when it is not open.
void CloseCatalog();
/// 1 when there is no backup or it equals the catalogue; 0 when they differ or the catalogue is not open.
int VerifyCatalog();
/// Copies the backup over the catalogue; 1, or 0 when either is missing or the catalogue cannot grow.
int RestoreCatalog();
/// Writes the backup; an old one stays when that fails.
void GerarCatalogBck();
/// Points rwCatalog->offset at the entry of that name, else at the first free one, else at a new zeroed one. Error 5.
void __PositionOnFirstNullCatalog(const char* name);

// Databases.
/// Makes a database; `type` DATA and MEMO have records of any length, INDX and all others records of one length. 1 for
/// a name that no database can have: null, empty, over 31 bytes, ".", "..", with "/", "\\" or control bytes, one of the
/// directory's own files, another database's offsets file. 537 when the name is taken, or its offsets file's is. Error
/// 11 when the file cannot be made.
Err DmCreateDatabase(UInt16 card, const char* name, UInt32 creator, UInt32 type, Boolean resource);
/// The database's ID, 0 when there is none. An entry whose data file has vanished is cleared.
LocalID DmFindDatabase(UInt16 card, const char* name);
/// Maps the database and repairs its offsets file when needed; 0 for a wrong ID or a header that cannot be. Error 5.
DmOpenRef DmOpenDatabase(UInt16 card, LocalID id, UInt16 mode);
/// Gives up one opening; the last one writes back what is pending and unmaps. 0, 1 for null.
Err DmCloseDatabase(DmOpenRef db);
/// Deletes entry and files, also of an open database; 0, 1 for a wrong ID.
Err DmDeleteDatabase(UInt16 card, LocalID id);
/// Reads the catalogue entry's fields for every pointer that is not null; `name` has 32 bytes. 0, or 1.
Err DmDatabaseInfo(UInt16 card, LocalID id, char* name, UInt16* attributes, UInt16* version, SYSTEMTIME* created,
                   SYSTEMTIME* modified, UInt32* backedUp, UInt32* modification, LocalID* appInfo, LocalID* sortInfo,
                   UInt32* type, UInt32* creator);
/// Writes them; the two dates are ignored. A new name renames the files (537 when taken). A new application-info handle
/// becomes the block at the file's start, and records move to make room. 0, 1, 514 when there is no room.
Err DmSetDatabaseInfo(UInt16 card, LocalID id, const char* name, const UInt16* attributes, const UInt16* version,
                      const SYSTEMTIME* created, const SYSTEMTIME* modified, const UInt32* backedUp,
                      const UInt32* modification, const LocalID* appInfo, const LocalID* sortInfo, const UInt32* type,
                      const UInt32* creator);
Err DmSyncDatabase(DmOpenRef db);  ///< asks the system to write both files' used ranges
Err DmGetLastErr();                ///< errno

// Records.
UInt32 DmNumRecords(DmOpenRef db);  ///< 0 for null
/// A new record of `size` bytes (1 to 65535; 0 counts as 1) at `*index`; kAppend, or any index past the end, appends
/// and becomes the new index. The record counts once it is released. 0 when there is no handle, or for a size that a
/// database of equal records does not have. Error 5 when the file cannot grow.
MemHandle DmNewRecord(DmOpenRef db, UInt32* index, UInt32 size);
/// The record for reading, 0 when there is none or it is damaged.
MemHandle DmQueryRecord(DmOpenRef db, UInt32 index);
/// The same, and marks the record busy.
MemHandle DmGetRecord(DmOpenRef db, UInt32 index);
/// Writes the held record back; `dirty` sets its dirty bit. 0; 1 when another record is held, 531 when none is.
Err DmReleaseRecord(DmOpenRef db, UInt32 index, Boolean dirty);
Err DmRemoveRecord(DmOpenRef db, UInt32 index);  ///< 0, 1, 531
/// Reads or writes a record's attribute bits (0x00F0; the others stay 0). 0, 1, 531.
Err DmRecordInfo(DmOpenRef db, UInt32 index, UInt16* attributes, UInt32* = nullptr, LocalID* = nullptr);
Err DmSetRecordInfo(DmOpenRef db, UInt32 index, const UInt16* attributes, const UInt32* = nullptr);
/// Copies `length` bytes into the locked record at `record`, from `offset` on: as a whole or not at all, also when the
/// process dies. 0; 1 for a pointer of no locked handle, 514 past the record's size.
Err DmWrite(void* record, UInt32 offset, const void* source, UInt32 length);
/// Fills likewise.
Err DmSet(void* record, UInt32 offset, UInt32 length, UInt8 value);
Err DmSearchRecord(MemHandle record, DmOpenRef* db = nullptr);  ///< does nothing, 0
Err DmResetRecordStates(DmOpenRef db);                          ///< does nothing, 0

/// Compares two entries; the first argument is the key sought. Below 0, 0, above 0.
typedef std::int16_t DmComparF(void* key, void* entry, std::int16_t length, void*, void*, MemHandle appInfo);
/// The position where `key` belongs: one past the last equal entry of the run met, else the insertion point; 0 without
/// entries, kAppend when an entry cannot be read.
UInt32 DmFindSortPosition(DmOpenRef db, void* key, void* info, DmComparF* compare, std::int16_t length);
/// The first record whose first four bytes are `id`; 0, or 531.
Err DmFindRecordByID(DmOpenRef db, UInt32 id, UInt32* index);

// Handles.
/// A zero-filled space of at most kLargestNewSpace bytes. In a database that has nothing yet it is the application-info
/// block; in any other it becomes that by DmSetDatabaseInfo. 0 when there is no handle. Error 5.
MemHandle DmNewHandle(DmOpenRef db, UInt32 size);
void* MemHandleLock(MemHandle handle);  ///< the data; null for a handle that is none
Err MemHandleUnlock(MemHandle handle);
Err MemPtrUnlock(void* data);
MemHandle MemPtrRecoverHandle(void* data);  ///< the locked handle with that data, 0
UInt32 MemHandleSize(MemHandle handle);
/// Changes the size in use; what lies behind moves when the space is too small. A smaller size keeps the space. 0; 1;
/// 514 above 65535, or for a size that a database of equal records does not have. Error 5.
Err MemHandleResize(MemHandle handle, UInt32 size);
LocalID MemHandleToLocalID(MemHandle handle);
void* MemLocalIDToLockedPtr(LocalID id, UInt16 card = 0);

// Whole databases.
/// Removes all records; the application-info block stays, the files keep their size. Error 0 for null.
void __InternalZap(DmOpenRef db);
/// Removes the records `first` to `last`, both included; `last` may lie past the end. 0, 1, 531.
Err ExcluirFaixa(DmOpenRef db, UInt32 first, UInt32 last);
/// Gives back the space that no record uses, inside records and at the end of the files. 0; 1; 514 when there is no
/// room for the new copy (all stays as it was).
Err InterNalPack(DmOpenRef db);

// Steps of the calls above.
void InCreaseFile(DmOpenRef db, long size, UInt32 count);  ///< reserves space for `size` bytes and `count` records
int MoveFwd(pmymap map, long n);  ///< opens a gap of `n` zero bytes at map->offset; 1, 0 when the file cannot grow
int MoveBwd(pmymap map, long n);  ///< removes `n` bytes at map->offset; 0 when it only emptied the file
int __MoveDataBk(DmOpenRef db, long n,
                 UInt32 index);  ///< removes `n` bytes at the place of record `index`, and its slot
void PutRecOffSet(DmOpenRef db, UInt32 index, UInt32 offset, Boolean insert, long shift);
UInt32 GetRecOffSet(DmOpenRef db, UInt32 index);  ///< error 0 past the end
UInt32 __PositionOnRecordBegin(DmOpenRef db, UInt32 index);
int __GetAppInfo(DmOpenRef db);
int __WriteAppInfo(DmOpenRef db);
UInt32 __WriteRecordToFile(DmOpenRef db, Boolean dirty);
void VerifyFileOffset(DmOpenRef db);
void RefazerOS(DmOpenRef db);
/// True when a record header can stand at `offset`.
int FindEor(DmOpenRef db, UInt32 offset);

#include "storage/tables.h"
