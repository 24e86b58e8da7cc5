// By the same steps as for a record that is written: it is loaded into a field buffer, and the key is made of that. The
// buffer serves for all records of a table.
#include "storage/format/entry_maker.h"

#include <algorithm>

#include "storage/format/record_bytes.h"

namespace vorne {

namespace {

constexpr std::size_t kBufferSpare = 4;

// The fields up to the last one of the key, and one more: the last one given is taken for the deletion mark.
Fields fieldsToLoad(Fields fields, KeyFields key) {
  std::size_t last = 1;
  for (const IDX_Indexes& part : key) last = std::max<std::size_t>(last, part.KeyField);
  return fields.first(std::min(last + 1, fields.size()));
}

}  // namespace

EntryMaker::EntryMaker(Fields fields, KeyFields key)
    : loaded_(fieldsToLoad(fields, key)), key_(key), size_(static_cast<std::size_t>(KeyRoom(fields, key))) {
  if (size_ == 0) return;
  size_ += kEntryKeyAt;
  const ControlFieldTBL& last = fields.back();
  buffer_.resize(static_cast<std::size_t>(last.iOffset + BufferRoom(last)) + kBufferSpare);
}

void EntryMaker::make(std::int32_t position, std::span<const char> record, char* at) {
  LoadFields(loaded_, record, bswapnum, buffer_.data());
  Store(at, position);
  MakeKey(loaded_, key_, buffer_.data(), false, at + kEntryKeyAt);
}

}  // namespace vorne
