// What mapped databases do by RecordPlace and the rebuild of the offsets file, done here by reading: a reader must see
// the records that an opening would see, and change nothing.
#include "storage/reading/database_reader.h"

#include <algorithm>
#include <cstring>

#include "storage/format/chain.h"
#include "storage/format/names.h"
#include "storage/reading/read_failure.h"

namespace vorne {

namespace {

std::string plural(std::uint64_t count) {
  return std::to_string(count) + (count == 1 ? " record" : " records");
}

}  // namespace

DatabaseReader::DatabaseReader(const std::string& path, DatabaseKind kind)
    : name_(path.substr(path.rfind('/') + 1)), data_(path) {
  if (kind == kVariableDatabase) offsets_.emplace_back(OffsetsName(path));
}

void DatabaseReader::renew() {
  known_ = false;
  data_.renew();
  for (ReadFile& file : offsets_) file.renew();
}

void DatabaseReader::rest() {
  known_ = false;
  data_.close();
  for (ReadFile& file : offsets_) file.close();
}

void DatabaseReader::throwDamaged(const std::string& what) const {
  throw ReadFailure(ReadFailure::kDamaged, name_ + " is damaged: " + what + "; `tellira db check` tells more");
}

// Slots of the offsets file. A process that died while records moved leaves no file, one that had no space for it an
// empty one: then the records are those that the next one to open the database makes a new offsets file of. The slot is
// the last thing that a record gets, so that one may be missing.
std::uint32_t DatabaseReader::offsetSlots() {
  chain_.clear();
  try {
    const auto slots = static_cast<std::uint32_t>((offsets_.front().used() - kHeaderSize) / kOffsetSize);
    if (slots + 1 >= layout_.count) return slots;
  } catch (const ReadFailure& failure) {
    // For a file that is missing or cut the chain can stand in. One that the system refuses may be whole, and tell
    // more.
    if (failure.kind == ReadFailure::kRefused) throw;
  }
  followChain();
  return static_cast<std::uint32_t>(chain_.size());
}

void DatabaseReader::followChain() {
  const auto length = static_cast<std::size_t>(layout_.end);
  const FileBytes bytes(data_.at(0, length), length);
  for (std::uint64_t place = FirstRecord(bytes, data_.header().AppInfoLen);;
       place += RecordSpan(HeaderAt(bytes, place))) {
    if (IsRecord(bytes, place))
      chain_.push_back(static_cast<std::uint32_t>(place));
    else if (!IsAbandoned(bytes, place))
      return;
  }
}

const DatabaseReader::Layout& DatabaseReader::layout() {
  if (known_) return layout_;
  const FileHeader header = data_.header();
  // A step of 0: places come from the offsets file, or from the chain.
  layout_ = {std::uint64_t{kHeaderSize} + header.AppInfoLen, data_.used(), header.NumberOfRecords, 0};
  if (layout_.count == 0) {
    known_ = true;
    return layout_;
  }
  if (layout_.firstRecord + kRecordHeaderSize > layout_.end) throwDamaged("it ends before its first record");
  if (offsets_.empty()) {
    layout_.step = kRecordHeaderSize + data_.get<RecordHeader>(layout_.firstRecord).RecordLen;
    const std::uint64_t room = (layout_.end - layout_.firstRecord) / layout_.step;
    if (layout_.count > room) throwDamaged("it has room for " + plural(room) + " of " + std::to_string(layout_.count));
  } else if (const std::uint32_t slots = offsetSlots(); slots < layout_.count) {
    // Without its slot the record was never reported as stored.
    if (layout_.count - slots > 1) throwDamaged("it holds " + plural(slots) + " of " + std::to_string(layout_.count));
    layout_.count = slots;
  }
  known_ = true;
  return layout_;
}

std::uint32_t DatabaseReader::count() {
  return layout().count;
}

std::span<const char> DatabaseReader::record(std::uint32_t position) {
  const Layout& file = layout();
  if (position >= file.count) throwDamaged("there is no record " + std::to_string(std::uint64_t{position} + 1));
  std::uint64_t place = file.firstRecord + std::uint64_t{position} * file.step;
  if (!chain_.empty())
    place = chain_[position];
  else if (!offsets_.empty())
    place = offsets_.front().get<std::uint32_t>(kHeaderSize + std::uint64_t{position} * kOffsetSize);
  const auto outside = [&](std::uint64_t length) { return place > file.end || length > file.end - place; };
  RecordHeader header = {};
  if (place >= file.firstRecord && !outside(kRecordHeaderSize)) header = data_.get<RecordHeader>(place);
  // The place came from a file that a writer may be changing: nothing of it is believed before it lies inside the file.
  if (header.AllocatedSpace == 0 || header.RecordLen > header.AllocatedSpace ||
      outside(kRecordHeaderSize + std::uint64_t{header.RecordLen}))
    throwDamaged("record " + std::to_string(std::uint64_t{position} + 1) + " cannot be found");
  return {data_.at(place + kRecordHeaderSize, header.RecordLen), header.RecordLen};
}

std::span<const char> DatabaseReader::info(std::size_t most) {
  // The size may be wrong, as an opening finds out: never past what is used, and up to 8 bytes more may belong to it.
  const std::uint64_t told = std::uint64_t{data_.header().AppInfoLen} + kRecordHeaderSize;
  const auto length = static_cast<std::size_t>(std::min<std::uint64_t>({told, most, data_.used() - kHeaderSize}));
  return {data_.at(kHeaderSize, length), length};
}

std::vector<DatabaseHdrType> ReadCatalog(ReadFile& catalog) {
  std::vector<DatabaseHdrType> entries;
  // Slots behind the used ones are free, unless it is their size that is wrong.
  const std::uint64_t end = std::max<std::uint64_t>(catalog.size(), kHeaderSize);
  for (std::uint64_t place = kHeaderSize; end - place >= kCatalogEntrySize; place += kCatalogEntrySize) {
    const auto entry = catalog.get<DatabaseHdrType>(place);
    if (Load<std::uint32_t>(entry.name) != 0 && IsDatabaseName(NameOf(entry))) entries.push_back(entry);
  }
  return entries;
}

}  // namespace vorne
