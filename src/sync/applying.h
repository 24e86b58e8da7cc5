// Inside the sync floor: records of packets put into a table.
#pragma once

#include "sync/received_packets.h"

namespace vorne {

enum class Applied {
  Whole,
  Damaged,  ///< packets were passed over; of a table that is replaced or has no index nothing has changed then
  NoRoom,   ///< a file cannot grow: the same packets can be applied again later
  NoIndex,  ///< an index of the table cannot be opened
};

/// The table in the area gets the packets' records instead of its own.
Applied ReplaceTable(const std::string& name, int area, const ReceivedPackets& packets);
/// A live record takes the place of the one that has its key in the index of that number, or becomes a new one; a
/// deleted record marks that one as deleted.
Applied MergeTable(const std::string& name, int area, int index, const ReceivedPackets& packets);
/// The records go behind those of the table. A run that was interrupted is taken up where it ended.
Applied AppendToTable(const std::string& name, int area, const ReceivedPackets& packets);

}  // namespace vorne
