// Used by waiting_entries.cpp, which has the entries in their order already. Neither count nor used size is protected
// by the journal: the mark in the index's head stands while this works.
#include "storage/records/entry_file.h"

#include "storage/format/description.h"
#include "storage/records/handles.h"
#include "storage/records/moves.h"
#include "storage/records/open_databases.h"
#include "storage/records/record_places.h"

namespace vorne {

namespace {

std::vector<char> blankRecord(std::size_t entrySize) {
  const auto length = static_cast<std::uint16_t>(entrySize);
  std::vector<char> record(kRecordHeaderSize + entrySize);
  Store(record.data(), RecordHeader{length, length, 0, kMark, kMark});
  return record;
}

}  // namespace

Entries EntriesOf(const OpenStruct& index) {
  if (IsVariable(index) || index.Head.NumberOfRecords == 0) return {};
  const UInt32 begin = RecordsBegin(index.Head), stride = RecordStride(index);
  const std::uint64_t end = begin + static_cast<std::uint64_t>(index.Head.NumberOfRecords) * stride;
  if (stride <= kRecordHeaderSize + sizeof(std::int32_t) || end > static_cast<UInt32>(index.hFile->szmap)) return {};
  return {index.hFile->mapmem + begin + kRecordHeaderSize, stride, stride - kRecordHeaderSize,
          index.Head.NumberOfRecords};
}

void StoreMark(const OpenStruct& index, std::uint32_t mark) {
  if (index.Head.AppInfoLen < kDescriptionHead) return;
  StoreBarrier();
  Store(index.hFile->mapmem + kHeaderSize + kEntriesWaitAt, mark);
  StoreBarrier();
}

EntryFile::EntryFile(DmOpenRef index, std::size_t entrySize)
    : index_(index), stride_(entrySize + kRecordHeaderSize), record_(blankRecord(entrySize)) {
  // Entries move under it, and writing it back later would put an old one over a new one.
  FreeHandle(HeldRecord(*index));
}

EntryFile::~EntryFile() {
  // An error that ended the process has closed it.
  if (!IsOpen(index_)) return;
  // Also for a file that did not grow: the working header tells old sizes by now.
  FollowGrowth(index_);
  if (!bBatchOper) FlushViewOfFile(index_->hFile->mapmem, static_cast<std::size_t>(index_->hFile->szmap));
}

bool EntryFile::isSound() const {
  return RecordsBegin(index_->Head) + std::uint64_t{count()} * stride_ <= used() &&
         (count() == 0 || RecordStride(*index_) == stride_);
}

bool EntryFile::reserve(UInt32 count) {
  // Extending goes record by record from the used end, so that it must be the end of the last entry.
  const auto end = static_cast<UInt32>(record(this->count()) - index_->hFile->mapmem);
  if (end < used()) {
    std::memset(index_->hFile->mapmem + end, 0, used() - end);
    WriteUsedSize(index_->hFile, end);
  }
  const std::uint64_t bytes = std::uint64_t{count} * stride_;
  return bytes <= kLargestFile && EnsureRoom(index_->hFile, static_cast<long>(bytes));
}

}  // namespace vorne
