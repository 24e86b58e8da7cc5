// What the entries of an index tell of its key.
#pragma once

#include <functional>

#include "storage/format/entry_maker.h"

namespace vorne {

/// An index and its table, however they are read.
struct IndexEvidence {
  std::uint32_t count;     ///< entries
  std::int32_t keyLength;  ///< as the index's block has it
  Fields fields;           ///< of the table
  std::function<std::span<const char>(std::uint32_t place)> entry;
  std::function<std::span<const char>(std::uint32_t position)> record;  ///< empty for one that is not there
};

/// How many entries, of at most `most` all over the index, are those that such a key makes of their records.
std::uint32_t EntriesThatFit(const IndexEvidence& index, KeyFields key, std::uint32_t most);

/// Whether a key counts the table's fields from 0, as it does in files of other origin: more entries are those of that
/// key then, or, where entries leave it open, only that key is as long as the block says.
bool CountsFromZero(const IndexEvidence& index, KeyFields key);

}  // namespace vorne
