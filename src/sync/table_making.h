// Inside the sync floor: tables and indexes as the host's catalogue describes them. What cannot be is refused with a
// state line.
#pragma once

#include <cstddef>
#include <string>

#include "sync/sync_texts.h"

namespace vorne {

inline constexpr std::size_t kMostIndexes = 32;  ///< of a table of the host's

/// True for what a table or an index of the host's can be called.
bool IsTableName(const std::string& name);
/// Makes a table that is missing; false when the catalogue describes none that can be.
bool MakeTable(const std::string& name);
/// The first field by which the records of a table are not laid out as the catalogue says of it; empty when there is
/// none, no such table, or the catalogue says nothing.
std::string WhatDiffers(const std::string& table);
/// Tells that the table or index `name` is refused, and why: the field, or whose the name is; false.
bool Refuse(SyncText what, const std::string& name, const std::string& why);
/// Opens the table's indexes in its area, and makes those that are missing; false when one of them cannot be.
bool OpenIndexes(const std::string& table, int area);
/// The number of the index in the area that identifies a record: the one of that name, without a name the table's
/// first; -1 when it has none, -2 for a name that no index has.
int MergeIndex(const std::string& table, const std::string& name, int area);

}  // namespace vorne
