// The reader's side of a question that openings ask as well: from which number an index's block counts fields.
#include "storage/reading/index_key.h"

#include "storage/format/index_evidence.h"
#include "storage/reading/read_failure.h"

namespace vorne {

std::vector<IDX_Indexes> KeyFromOne(DatabaseReader& table, DatabaseReader& index, Fields fields,
                                    const IndexDescription& told) {
  const std::vector<IDX_Indexes> other = NumberedFromOne(told.keyFields);
  const bool isOther = KeyRoom(fields, other) == told.keyLength,
             isTold = KeyRoom(fields, told.keyFields) == told.keyLength;
  // Only where both numberings make keys of this length is there anything to ask the entries.
  if (!isOther || !isTold) return isOther ? other : told.keyFields;
  const auto record = [&](std::uint32_t at) { return at < table.count() ? table.record(at) : std::span<const char>(); };
  try {
    const IndexEvidence evidence{index.count(), told.keyLength, fields,
                                 [&](std::uint32_t place) { return index.record(place); }, record};
    return CountsFromZero(evidence, told.keyFields) ? other : told.keyFields;
  } catch (const ReadFailure&) {
    return told.keyFields;
  }
}

}  // namespace vorne
