// A packed copy is written beside the database and takes its place in one step; until then nothing of the database is
// touched.
#include "storage/databases/packing.h"

#include <algorithm>
#include <string>

#include "storage/databases/rebuild.h"
#include "storage/files/mapped_file.h"
#include "storage/files/unfinished_file.h"
#include "storage/format/names.h"
#include "storage/records/moves.h"
#include "storage/records/open_databases.h"
#include "storage/records/records.h"

namespace vorne {

namespace {

// How a copy differs from the file: records that are left out, records that get more space than they use.
struct Differences {
  std::vector<bool> without = {};
  std::span<const RecordSpace> wider = {};
};

// Writes what the database uses, records without spare space and without those to be left out; its header gets the new
// sizes and count. False for a damaged record: places that overlap would make the copy many times as large as the file,
// lengths that differ in a database of equal records would put the ones behind them where nobody looks.
bool copyUsed(const OpenStruct& db, const Differences& differences, UnfinishedFile& copy, FileHeader& header) {
  constexpr char kZeros[4096] = {};
  const std::vector<bool>& without = differences.without;
  auto wider = differences.wider.begin();
  copy.put(db.hFile->mapmem, RecordsBegin(header));
  header.szmap = RecordsBegin(header);
  header.NumberOfRecords = 0;
  UInt32 end = RecordsBegin(header);
  for (UInt32 i = 0; i < db.Head.NumberOfRecords; ++i) {
    if (i < without.size() && without[i]) continue;
    const UInt32 place = RecordPlace(db, i);
    if (place < end) return false;
    end = RecordEnd(db, place);
    RecordHeader record = HeaderAtPlace(db, place);
    if (end - place != kRecordHeaderSize + record.AllocatedSpace) return false;
    ++header.NumberOfRecords;
    if (IsVariable(db)) record.AllocatedSpace = std::max<std::uint16_t>(record.RecordLen, 1);
    const UInt32 used = record.AllocatedSpace;
    for (; wider != differences.wider.end() && wider->index <= i; ++wider)
      if (wider->index == i) record.AllocatedSpace = std::max(record.AllocatedSpace, wider->space);
    copy.put(&record, sizeof record);
    copy.put(db.hFile->mapmem + place + kRecordHeaderSize, used);
    for (UInt32 left = record.AllocatedSpace - used; left != 0; left -= std::min<UInt32>(left, sizeof kZeros))
      copy.put(kZeros, std::min<UInt32>(left, sizeof kZeros));
    if (kLargestFile - header.szmap <= kRecordHeaderSize + record.AllocatedSpace) return false;
    header.szmap += kRecordHeaderSize + record.AllocatedSpace;
  }
  // Room behind the records, at least a byte: a file that is full to its end is grown before it is looked at.
  header.szallocated = (header.szmap / kSmallestFile + 1) * kSmallestFile;
  return true;
}

// Puts such a copy in the place of the database's files, or leaves all as it was.
Err rewrite(DmOpenRef db, const Differences& differences) {
  SettleHeld(db);
  const std::string name = db->fName;
  const std::string path = GetWideName(name.c_str());
  UnfinishedFile copy(GetWideName(kUnfinishedName));
  FileHeader header = db->Head;
  if (!copyUsed(*db, differences, copy, header)) return errNoSuchRecord;
  // Without an offsets file the next opening makes it anew, whichever of the two data files it finds.
  if (db->hOS != nullptr) DeleteFile((OffsetsName(path)).c_str());
  copy.finish(header, header.szallocated);
  const bool packed = copy.become(path, UnfinishedFile::Wait::ForTheDisk);
  if (packed) {
    FreeHandlesOf(db);
    liberarmap(db->hFile);
    // Null while it is mapped anew: an error in between closes the database, and must not free the mapping twice.
    db->hFile = nullptr;
    db->hFile = mapeararquivo(name.c_str());
    FollowGrowth(db);
    __GetAppInfo(db);
  }
  if (db->hOS != nullptr) {
    liberarmap(db->hOS);
    db->hOS = nullptr;
    db->hOS = MapOrHoldInMemory(OffsetsName(name).c_str());
    VerifyFileOffset(db);
  }
  return packed ? errNone : errWriteOutOfBounds;
}

}  // namespace

void RemoveRecords(DmOpenRef db, const std::vector<bool>& which) {
  const auto begin = which.begin(), end = which.end();
  if (std::find(begin, end, true) == end) return;
  if (std::find(begin, end, false) == end) return __InternalZap(db);
  if (rewrite(db, {which}) == errNone) return;
  // Without room for a copy they go run by run, each time moving what lies behind.
  for (std::size_t last = which.size(); last-- > 0;) {
    if (!which[last]) continue;
    std::size_t first = last;
    while (first > 0 && which[first - 1]) --first;
    // From the back, so that the numbers of runs that are still to go stay right.
    ExcluirFaixa(db, static_cast<UInt32>(first), static_cast<UInt32>(last));
    last = first;
  }
}

bool WidenRecords(DmOpenRef db, std::span<const RecordSpace> wider) {
  return rewrite(db, {{}, wider}) == errNone;
}

}  // namespace vorne

using namespace vorne;

Err InterNalPack(DmOpenRef db) {
  return IsOpen(db) ? rewrite(db, {}) : errArgument;
}

void InCreaseFile(DmOpenRef db, long size, UInt32 count) {
  if (!IsOpen(db)) return;
  // Only the allocation grows: the places that a growth would move on are put back.
  const auto reserve = [](pmymap map, std::int64_t bytes) {
    const mymap before = *map;
    if (bytes <= 0 || !increasefilesz(map, static_cast<long>(bytes))) return;
    map->offset = before.offset;
    WriteUsedSize(map, before.szmap);
    FlushViewOfFile(map->mapmem, kHeaderSize);
  };
  if (db->hFile->szallocated - db->hFile->szmap < size) reserve(db->hFile, size - db->hFile->szallocated);
  if (count != 0 && db->hOS != nullptr)
    reserve(db->hOS, static_cast<std::int64_t>(count) * kOffsetSize + kHeaderSize - db->hOS->szallocated);
  FollowGrowth(db);
}
