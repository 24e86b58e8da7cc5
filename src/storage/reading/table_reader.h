// This folder: tables that another process may be writing, read without work areas or mappings, on format/ and files/
// alone; every byte of the files is checked before it is used. What cannot be read is a ReadFailure, nothing ends the
// process, and two readers share no more than a dictionary. This file: one table.
//
//  - A record, with its memo texts, is read as it was at one moment. Records that are read one after the other may be
//    of different moments.
//  - Positions count from 0. Texts are ISO-8859-1.
//  - Every function may throw ReadFailure.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "storage/reading/dictionary.h"
#include "storage/reading/key_ranges.h"
#include "storage/reading/read_failure.h"

namespace vorne {

struct TableIndex {
  std::string name;
  std::vector<std::uint32_t> fields;  ///< numbers of the key fields, from 0, in order
};

/// Records as they were read, to be looked at through a Row.
struct StoredRows {
  struct Place {
    std::uint32_t position;
    std::size_t offset, size;  ///< of the record in `bytes`
    std::size_t firstMemo;     ///< in `memos`, of as many as the table has memo fields
  };
  std::string bytes;
  std::vector<Place> places;
  std::vector<std::string> memos;
  std::size_t taken = 0;  ///< positions that were dealt with; those beyond the end of the table have no place

  void clear();
};

class TableReader {
 public:
  /// @param directory the working directory that holds "DB"
  /// @param name of the table, in any letters
  TableReader(const std::string& directory, std::string_view name);
  /// @param dictionary of the directory; it is renewed, and is not used after that
  TableReader(Dictionary& dictionary, std::string_view name);
  ~TableReader();
  TableReader(const TableReader&) = delete;
  TableReader& operator=(const TableReader&) = delete;

  const std::string& name() const;
  /// Without the deletion mark.
  const std::vector<TableField>& fields() const;
  /// Those that the catalogue has for the table, also when they cannot be used just now.
  const std::vector<TableIndex>& indexes() const;
  /// Records, deleted ones included.
  std::uint32_t count();

  /// Reads the first of those records, at least one and as many as are worth it at once. Memo texts only with `memos`.
  void read(std::span<const std::uint32_t> positions, bool memos, StoredRows& rows);
  /// The entries of an index with keys in the ranges, in the order of the keys. An index that does not fit the table at
  /// this moment (its writer may keep entries back for long) is not used: all its entries are made of the records then
  /// and kept in `made`, where the next searches of the same query find them.
  KeyList find(std::size_t index, const KeyRanges& ranges, std::optional<KeyList>& made);
  KeyList find(std::size_t index, const KeyRanges& ranges) {
    std::optional<KeyList> made;
    return find(index, ranges, made);
  }
  /// Gives the files back until the next reading.
  void rest();

 private:
  friend class Row;
  struct State;
  std::unique_ptr<State> state_;
};

/// One record, field by field (numbers from 0).
class Row {
 public:
  explicit Row(const TableReader& table);

  void load(const StoredRows& rows, std::size_t place);
  std::uint32_t position() const { return position_; }
  bool isDeleted() const;
  double number(std::size_t field) const;
  /// As 2004-03-17; empty for the empty date and for what is no date.
  std::string date(std::size_t field) const;
  std::string_view text(std::size_t field) const;
  bool logical(std::size_t field) const;
  /// Empty when the rows were read without memos.
  std::string_view memo(std::size_t field) const;

 private:
  const TableReader::State* table_;
  std::vector<char> buffer_;
  const StoredRows* rows_ = nullptr;
  std::size_t firstMemo_ = 0;
  std::uint32_t position_ = 0;
};

/// The names of the tables of a directory, in the catalogue's order.
std::vector<std::string> TableNames(const std::string& directory);

}  // namespace vorne
