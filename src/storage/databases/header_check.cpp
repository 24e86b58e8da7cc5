// Each number of a header is one of several witnesses: the marks of the records, the offsets file, the description in
// the block, the other numbers. Where they do not agree, the file stays as it is and a check tells of it. Order: the
// block's size, by which all places go, then the used size, then the count.
#include "storage/databases/header_check.h"

#include <algorithm>

#include "runtime/latin1.h"
#include "storage/databases/catalog.h"
#include "storage/databases/database_files.h"
#include "storage/files/diagnostic_log.h"
#include "storage/files/mapped_file.h"
#include "storage/format/chain.h"
#include "storage/format/description.h"
#include "storage/records/open_databases.h"

namespace vorne {

namespace {

void logMended(const OpenStruct& db, const char* what, std::uint64_t from, std::uint64_t to) {
  Logar(Message("%s: %s de %lu para %lu", db.fName, what, static_cast<unsigned long>(from),
                static_cast<unsigned long>(to))
            .c_str());
}

bool isKnown(std::uint8_t kind) {
  return kind == kVariableDatabase || kind == kIndexDatabase || kind == kFixedDatabase;
}

// As RecordsBegin, of a size that may be anything.
std::uint64_t toldBegin(const FileHeader& header) {
  return kHeaderSize + std::uint64_t{header.AppInfoLen};
}

// The place of record `index`, which need not lie inside the used bytes. `stride` is 0 where places are told by the
// offsets file; all its bytes count, since its used size may be as wrong. 0 for none.
std::uint64_t toldPlace(const OpenStruct& db, const FileHeader& header, UInt32 stride, UInt32 index) {
  if (stride != 0) return toldBegin(header) + std::uint64_t{index} * stride;
  const FileBytes slots = AllBytes(*db.hOS);
  const std::uint64_t slot = kHeaderSize + std::uint64_t{index} * kOffsetSize;
  return BytesBehind(slots, slot) < kOffsetSize ? 0 : Load<UInt32>(slots.data() + slot);
}

// An offsets file that is being made anew.
bool hasNoPlaces(const OpenStruct& db, const FileHeader& header) {
  return db.hOS != nullptr && toldPlace(db, header, 0, 0) == 0;
}

// The end of the last record that the header counts, when every one of them is marked and stands where it is told to
// be, behind the one before; 0 otherwise.
std::uint64_t markedEnd(const OpenStruct& db, const FileHeader& header, UInt32 stride) {
  const FileBytes bytes = AllBytes(*db.hFile);
  const bool isUntold = hasNoPlaces(db, header);
  const std::uint64_t first = FirstRecord(bytes, header.AppInfoLen);
  std::uint64_t place = stride == 0 ? first : toldPlace(db, header, stride, 0);
  for (UInt32 i = 0; i < header.NumberOfRecords; ++i) {
    const RecordHeader record = HeaderAt(bytes, place);
    if (!isUntold && toldPlace(db, header, stride, i) != place) return 0;
    // The walk goes by headers that may be damaged, but never behind the file's end: IsRecord looks.
    if (!IsMarked(record) || !IsRecord(bytes, place)) return 0;
    if (stride != 0 && RecordSpan(record) != stride) return 0;
    place += RecordSpan(record);
  }
  return place;
}

UInt32 strideOf(const OpenStruct& db, const FileHeader& header) {
  return db.hOS != nullptr ? 0 : RecordSpan(HeaderAt(AllBytes(*db.hFile), toldBegin(header)));
}

// --------------------------------------------------------------------------------- the application information

bool isDescribed(const OpenStruct& db, const FileHeader& header, std::uint64_t begin) {
  const FileBytes bytes = AllBytes(*db.hFile);
  return begin >= kHeaderSize && begin <= bytes.size() &&
         ToldType(header, db.fName, bytes.subspan(kHeaderSize, static_cast<std::size_t>(begin) - kHeaderSize)) != 0;
}

// Of the two sizes that tell where records would begin, the one up to which a description stands.
std::uint64_t beginOfNone(const OpenStruct& db, const FileHeader& header) {
  const std::uint64_t told = toldBegin(header), used = static_cast<UInt32>(db.hFile->szmap);
  return told != used && !isDescribed(db, header, told) && isDescribed(db, header, used) ? used : told;
}

std::uint64_t beginByOffsets(const OpenStruct& db, FileHeader header) {
  const std::uint64_t told = toldBegin(header), first = toldPlace(db, header, 0, 0);
  if (first == told || first < kHeaderSize) return told;
  // Records may begin 8 bytes behind a block: only what it says tells that they are its own.
  if (first == told + kRecordHeaderSize && first == FirstRecord(AllBytes(*db.hFile), header.AppInfoLen))
    return !isDescribed(db, header, told) && isDescribed(db, header, first) ? first : told;
  header.AppInfoLen = static_cast<UInt32>(first) - kHeaderSize;
  return markedEnd(db, header, 0) != 0 ? first : told;
}

// The place from which as many equal records as are counted reach to the end of what is used.
std::uint64_t beginOfEqual(const OpenStruct& db, FileHeader header) {
  const FileBytes bytes = AllBytes(*db.hFile);
  const std::uint64_t told = toldBegin(header), used = static_cast<UInt32>(db.hFile->szmap);
  const RecordHeader atTold = HeaderAt(bytes, told);
  const bool isRecord = IsMarked(atTold) && IsRecord(bytes, told);
  // One that is being put in before all others.
  if (IsAbandoned(UsedBytes(*db.hFile), told)) return told;
  if (isRecord && told + std::uint64_t{header.NumberOfRecords} * RecordSpan(atTold) <= used) return told;
  // A record from which too few follow may not be the first one: others stand before it then.
  // At every byte: a block may have any length. This is asked only where the header is likely to be wrong.
  for (std::uint64_t place = kHeaderSize; place < (isRecord ? told : used); ++place) {
    const RecordHeader first = HeaderAt(bytes, place);
    const std::uint64_t end = place + std::uint64_t{header.NumberOfRecords} * RecordSpan(first);
    header.AppInfoLen = static_cast<UInt32>(place) - kHeaderSize;
    if (IsMarked(first) && end == used && markedEnd(db, header, RecordSpan(first)) == used) return place;
  }
  return told;
}

void verifyInfoSize(DmOpenRef db) {
  FileHeader header = HeaderOf(*db->hFile);
  const std::uint64_t begin = header.NumberOfRecords == 0 ? beginOfNone(*db, header)
                              : db->hOS != nullptr        ? beginByOffsets(*db, header)
                                                          : beginOfEqual(*db, header);
  if (begin == toldBegin(header)) return;
  logMended(*db, "tamanho das informações corrigido"_l1, header.AppInfoLen, begin - kHeaderSize);
  header.AppInfoLen = static_cast<UInt32>(begin) - kHeaderSize;
  WriteHeader(db->hFile, header);
}

// ------------------------------------------------------------------------------------ the used size and the count

// The end of a file without records, which its description tells.
std::uint64_t endOfNone(const OpenStruct& db, const FileHeader& header, std::uint64_t used) {
  const std::uint64_t told = toldBegin(header);
  const FileBytes bytes = UsedBytes(*db.hFile);
  if (told == used || used < kHeaderSize || !isDescribed(db, header, told)) return used;
  // It may be that the first record is just being put in.
  return told < used && (IsRecord(bytes, told) || IsAbandoned(bytes, told)) ? used : told;
}

// The end of the records, when it lies behind what the header says.
std::uint64_t endOfRecords(const OpenStruct& db, const FileHeader& header, std::uint64_t used) {
  const UInt32 stride = strideOf(db, header);
  const std::uint64_t last = toldPlace(db, header, stride, header.NumberOfRecords - 1);
  const bool isInside = last + RecordSpan(HeaderAt(AllBytes(*db.hFile), last)) <= used;
  return isInside && !hasNoPlaces(db, header) ? used : std::max(used, markedEnd(db, header, stride));
}

void verifyUsedSize(DmOpenRef db) {
  const auto used = static_cast<UInt32>(db->hFile->szmap);
  const FileHeader header = HeaderOf(*db->hFile);
  const std::uint64_t end =
      header.NumberOfRecords == 0 ? endOfNone(*db, header, used) : endOfRecords(*db, header, used);
  if (end == used) return;
  logMended(*db, "tamanho usado corrigido", used, end);
  WriteUsedSize(db->hFile, static_cast<std::int64_t>(end));
}

// Records of which none is there are not counted, when those that are reach to the end of what is used.
void verifyCount(DmOpenRef db) {
  FileHeader header = HeaderOf(*db->hFile);
  const UInt32 stride = strideOf(*db, header), counted = header.NumberOfRecords;
  const std::uint64_t begin = toldBegin(header), used = static_cast<UInt32>(db->hFile->szmap);
  if (counted == 0 || stride <= kRecordHeaderSize || begin >= used || (used - begin) % stride != 0) return;
  header.NumberOfRecords = static_cast<UInt32>((used - begin) / stride);
  if (header.NumberOfRecords >= counted || markedEnd(*db, header, stride) != used) return;
  logMended(*db, "contagem corrigida", counted, header.NumberOfRecords);
  WriteHeader(db->hFile, header);
}

}  // namespace

void VerifyKind(DmOpenRef db) {
  FileHeader header = HeaderOf(*db->hFile);
  const DatabaseKind kind = KindOfType(CatalogEntryAt(db->fOffset).type);
  if (isKnown(header.Type) || header.Version != 2 || (kind == kVariableDatabase) != HasOffsetsFile(db->fName)) return;
  logMended(*db, "tipo corrigido", header.Type, kind);
  header.Type = kind;
  WriteHeader(db->hFile, header);
}

void VerifySizes(DmOpenRef db) {
  if ((HeaderOf(*db->hFile).Type == kVariableDatabase) != (db->hOS != nullptr)) return;
  verifyInfoSize(db);
  verifyUsedSize(db);
  if (db->hOS == nullptr) verifyCount(db);
}

bool IsSoundHeader(const mymap& map) {
  const FileHeader header = HeaderOf(map);
  const UInt32 used = std::max(static_cast<UInt32>(map.szmap), kHeaderSize) - kHeaderSize;
  return isKnown(header.Type) && header.AppInfoLen <= used &&
         (header.Type == kVariableDatabase || header.NumberOfRecords <= used / kRecordHeaderSize);
}

}  // namespace vorne
