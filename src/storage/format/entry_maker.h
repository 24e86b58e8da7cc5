// The entry that a stored record has in an index.
#pragma once

#include <vector>

#include "storage/format/keys.h"

namespace vorne {

/// Makes entries of stored records, for one index.
class EntryMaker {
 public:
  /// Both must outlive it.
  EntryMaker(Fields fields, KeyFields key);

  /// Bytes of an entry; 0 when there can be none, since the key names a field that is missing or cannot be a key.
  std::size_t size() const { return size_; }
  /// Writes the entry of the record at `position`, size() bytes (not 0).
  void make(std::int32_t position, std::span<const char> record, char* at);

 private:
  Fields loaded_;
  KeyFields key_;
  std::size_t size_;
  std::vector<char> buffer_;
};

}  // namespace vorne
