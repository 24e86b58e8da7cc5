// Inside the storage floor: the description blocks of tables and indexes as bytes. Pure functions: they serve the work
// areas, the checks and the readers of other processes alike.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "storage/tables.h"

namespace vorne {

using Fields = std::span<const ControlFieldTBL>;
using KeyFields = std::span<const IDX_Indexes>;

inline constexpr std::uint32_t kDescriptionHead = 72;  // bytes before the texts
inline constexpr std::uint32_t kMostFields = 1024;
inline constexpr std::int32_t kLongestField = 32767;
inline constexpr std::size_t kLongestFieldName = 20;
inline constexpr std::size_t kLongestTableName = 30;
inline constexpr char kMemoSuffix[] = "_M";

/// In the head of an index (bytes 64 to 67) while entries wait in memory: should the process die, the index is behind
/// its table. Any other value means nothing.
inline constexpr std::uint32_t kEntriesWait = FourChars("WAIT");
inline constexpr std::uint32_t kEntriesWaitAt = 64;

struct TableDescription {
  datetime lastUpdate = 0;
  std::string name;
  std::uint32_t cardNumber = 0;
  std::uint32_t type = kTypeData;
  std::uint32_t openMode = 3;
  std::uint32_t indexes = 0;            ///< as the block counts them
  std::vector<ControlFieldTBL> fields;  ///< the deletion mark is the last one; with their places in the field buffer
};

struct IndexDescription {
  std::string table;  ///< that it orders
  std::string name;
  std::int32_t keyLength = 0;
  std::vector<IDX_Indexes> keyFields;  ///< as they stand: from 1, in files of other origin from 0
  bool entriesWait = false;
};

/// None for a block that no table can have: 1 to 1024 fields, lengths of 0 to 32767, types of 0 to 6, all inside the
/// block. Names are cut to 20 characters.
std::optional<TableDescription> ParseTableBlock(std::span<const char> block);
/// None for a block that no index can have: 1 to 1024 key fields with numbers to 1024, a key of 1 to 32767 bytes.
std::optional<IndexDescription> ParseIndexBlock(std::span<const char> block);
/// A table's description, should it be one that a program made and nothing has damaged: the deletion mark is its last
/// field, and nothing but zeros follow it.
std::optional<TableDescription> ReadDescription(std::span<const char> block);
/// The type code of a database by its file's own words: with a table's or an index's description it is that, memo texts
/// are told by the suffix of their name. 0 when the file tells none.
std::uint32_t ToldType(const FileHeader& header, std::string_view name, std::span<const char> block);
std::string TableBlock(const TableDescription& table);
/// The head is the table's, the rest the index's own.
std::string IndexBlock(const TableDescription& table, const IndexDescription& index);

/// The type letter of a field, as __DBCREATE takes it, and the type of a letter; none for another letter.
char TypeLetter(FType type);
std::optional<FType> TypeOfLetter(char letter);

/// A field, its place in the buffer left open.
ControlFieldTBL MakeField(std::string_view name, FType type, std::int32_t length, std::int32_t decimals);
/// Gives every field its place in the field buffer, one behind the other; returns their total size.
std::int32_t PlaceFields(std::span<ControlFieldTBL> fields);
/// The number of a field from 1 (in any letters), 0 when there is none.
std::uint32_t FieldNumber(Fields fields, std::string_view name);

}  // namespace vorne
