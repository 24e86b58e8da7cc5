// What stands in the files, byte for byte: catalogue, data files, offsets files. All numbers are little-endian, all
// widths exact; files of 32-bit and 64-bit builds are the same. docs/formats.md explains them.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

static_assert(std::endian::native == std::endian::little, "files are read and written as they stand in memory");

/// A date and time of day; day of week 0 is Sunday.
struct SYSTEMTIME {
  std::uint16_t wYear, wMonth, wDayOfWeek, wDay, wHour, wMinute, wSecond, wMilliseconds;
};
static_assert(sizeof(SYSTEMTIME) == 16);

/// The first bytes of every file.
struct FileHeader {
  std::uint8_t Version;  // 2
  std::uint8_t Type;     // a vorne::DatabaseKind
  std::uint16_t padding;
  std::uint32_t AppInfoLen;       // bytes of the application-info block, which follows
  std::uint32_t NumberOfRecords;  // records that count
  std::uint32_t szallocated;      // the file's size
  std::uint32_t szmap;            // end of what is used; 1 in a file just made
};
static_assert(sizeof(FileHeader) == 20 && offsetof(FileHeader, AppInfoLen) == 4 &&
              offsetof(FileHeader, NumberOfRecords) == 8 && offsetof(FileHeader, szallocated) == 12 &&
              offsetof(FileHeader, szmap) == 16);

/// Stands before every record's bytes; the next header follows AllocatedSpace bytes behind this one.
struct RecordHeader {
  std::uint16_t RecordLen;       // bytes in use
  std::uint16_t AllocatedSpace;  // bytes reserved
  std::uint16_t RecordAttr;
  std::uint8_t marca1, marca2;  // 0xFF once the record counts, 0 before
};
static_assert(sizeof(RecordHeader) == 8 && offsetof(RecordHeader, RecordAttr) == 4 &&
              offsetof(RecordHeader, marca1) == 6);

/// One entry of the catalogue; free when the first four bytes of the name are zero.
struct DatabaseHdrType {
  char name[32];
  std::uint16_t attributes;
  std::uint16_t version;
  SYSTEMTIME creationDate;
  SYSTEMTIME modificationDate;
  std::uint32_t lastBackupDate;
  std::uint32_t modificationNumber;
  std::uint32_t type;
  std::uint32_t creator;
  std::uint32_t uniqueIDSeed;
};
static_assert(sizeof(DatabaseHdrType) == 88 && offsetof(DatabaseHdrType, attributes) == 32 &&
              offsetof(DatabaseHdrType, creationDate) == 36 && offsetof(DatabaseHdrType, modificationDate) == 52 &&
              offsetof(DatabaseHdrType, lastBackupDate) == 68 && offsetof(DatabaseHdrType, type) == 76 &&
              offsetof(DatabaseHdrType, uniqueIDSeed) == 84);

namespace vorne {

enum DatabaseKind : std::uint8_t {
  kIndexDatabase = 'B',
  kVariableDatabase = 'V',  // has an offsets file: 4 bytes a record, behind a header
  kFixedDatabase = 'X',
};

inline constexpr std::uint32_t kHeaderSize = sizeof(FileHeader);
inline constexpr std::uint32_t kRecordHeaderSize = sizeof(RecordHeader);
inline constexpr std::uint32_t kCatalogEntrySize = sizeof(DatabaseHdrType);
inline constexpr std::uint32_t kOffsetSize = 4;
inline constexpr std::uint32_t kNewFile = 1;  // szmap of a file just made
inline constexpr std::uint32_t kSmallestFile = 15360;
inline constexpr std::uint32_t kLargestFile = 0x0FFFFFFF;
inline constexpr std::uint32_t kLargestRecord = 0xFFFF;
inline constexpr std::size_t kLongestName = 31;

inline constexpr std::uint16_t kDirty = 0x0040;            // RecordAttr: released as changed
inline constexpr std::uint16_t kBusy = 0x0020;             // taken for editing
inline constexpr std::uint16_t kPrepared = 0x0010;         // packed for the host as it is; any change takes it away
inline constexpr std::uint16_t kKnownAttributes = 0x00F0;  // more would make a rebuild take the header for damage
inline constexpr std::uint8_t kMark = 0xFF;

inline constexpr char kCatalogName[] = "catalog.plm";
inline constexpr char kCatalogBackupName[] = "catalog.bck";
inline constexpr char kOffsetsSuffix[] = "_OS";
inline constexpr char kUnfinishedName[] = "journal.new";  // a file being written, before it takes another one's place
inline constexpr std::string_view kJournalNames[] = {"journal.0", "journal.1", "journal.2", "journal.3"};
inline constexpr std::string_view kSpareJournalName = "reserve.plm";  // nobody's: its space is for the next journal

/// True for the names in the data directory that no database can have.
constexpr bool IsReservedName(std::string_view name) {
  if (name == kCatalogName || name == kCatalogBackupName || name == kUnfinishedName || name == kSpareJournalName)
    return true;
  for (const std::string_view journal : kJournalNames)
    if (name == journal) return true;
  return false;
}

constexpr std::uint32_t FourChars(const char (&code)[5]) {
  std::uint32_t value = 0;
  for (int i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(code[i]);
  return value;
}
inline constexpr std::uint32_t kTypeIndex = FourChars("INDX");
inline constexpr std::uint32_t kTypeData = FourChars("DATA");
inline constexpr std::uint32_t kTypeMemo = FourChars("MEMO");

/// The kind that a database of type code `type` has.
constexpr DatabaseKind KindOfType(std::uint32_t type) {
  if (type == kTypeIndex) return kIndexDatabase;
  return type == kTypeData || type == kTypeMemo ? kVariableDatabase : kFixedDatabase;
}

/// Reads or writes a structure at an address of any alignment.
template <class T>
T Load(const void* from) {
  T value;
  std::memcpy(&value, from, sizeof value);
  return value;
}
template <class T>
void Store(void* to, const T& value) {
  std::memcpy(to, &value, sizeof value);
}

}  // namespace vorne
