// Walking a table's records for the verbs that change nothing.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "storage/reading/table_reader.h"

namespace tool {

/// Runs what reads tables; its failures become the tool's.
int reading(const std::function<int()>& action);

/// The positions of all records in the order of an index (its name as the reader has it).
std::vector<std::uint32_t> positionsInOrder(vorne::TableReader& table, const std::string& index);
/// Calls `take` with every record, deleted ones included, in the table's order or in that of the positions.
void forEachRecord(vorne::TableReader& table, const std::function<void(const vorne::Row&)>& take);
void forEachRecord(vorne::TableReader& table, const std::vector<std::uint32_t>& positions,
                   const std::function<void(const vorne::Row&)>& take);

/// The number of an index, from 0.
std::size_t indexNumber(const vorne::TableReader& table, const std::string& index);

}  // namespace tool
