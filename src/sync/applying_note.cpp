#include "sync/applying_note.h"

#include <zlib.h>

#include "runtime/cursor.h"
#include "storage/format/names.h"

namespace vorne {

namespace {

constexpr char kListName[] = "Applying";

std::string nameIn(std::span<const char> record) {
  return std::string(ByteReader(record).text());
}

UInt32 sumOf(std::span<const char> packet) {
  return static_cast<UInt32>(
      ::crc32(0, reinterpret_cast<const Bytef*>(packet.data()), static_cast<uInt>(packet.size())));
}

}  // namespace

ApplyingNote::ApplyingNote(std::string table, const ReceivedPackets& packets)
    : table_(FoldedName(table)),
      sum_(sumOf(RecordBytes(packets.database(), 1))),
      list_(OpenTemporary(kListName, kList, IfExists::Keep)) {}

ApplyingNote::~ApplyingNote() {
  if (list_ != nullptr) DmCloseDatabase(list_);
}

std::optional<UInt32> ApplyingNote::find() const {
  for (UInt32 i = 0; i < DmNumRecords(list_); ++i)
    if (nameIn(RecordBytes(list_, i)) == table_) return i;
  return {};
}

std::optional<Progress> ApplyingNote::read() const {
  const std::optional<UInt32> index = find();
  if (!index) return {};
  ByteReader record(RecordBytes(list_, *index));
  record.text();
  Progress progress;
  progress.packets = record.number<UInt32>(std::endian::big);
  progress.records = record.number<UInt32>(std::endian::big);
  return record.number<UInt32>(std::endian::big) == sum_ ? std::optional(progress) : std::nullopt;
}

bool ApplyingNote::store(Progress progress) {
  if (list_ == nullptr) return false;
  std::string record = table_ + '\0';
  for (const UInt32 number : {progress.packets, progress.records, sum_})
    for (int shift = 24; shift >= 0; shift -= 8) record += static_cast<char>(number >> shift);
  const std::optional<UInt32> index = find();
  return index ? StoreRecord(list_, *index, record) : TryAppendRecord(list_, record);
}

void ApplyingNote::forgetFinished() {
  const DmOpenRef list = FindTemporary(kListName, kList);
  if (list == nullptr) return;
  for (UInt32 i = DmNumRecords(list); i-- > 0;) {
    const DmOpenRef packets = FindTemporary(nameIn(RecordBytes(list, i)), kPacketsReceived);
    if (packets != nullptr)
      DmCloseDatabase(packets);
    else
      DmRemoveRecord(list, i);
  }
  const bool isEmpty = DmNumRecords(list) == 0;
  DmCloseDatabase(list);
  if (isEmpty) DeleteTemporary(kListName, kList);
}

}  // namespace vorne
