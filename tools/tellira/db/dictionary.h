// What the tables of a directory are made of, read from their files without opening them: it may run beside a program.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "storage/format/description.h"
#include "storage/repair/directory_check.h"

namespace tool {

class Dictionary {
 public:
  /// A table, or an index of one; names as the files have them (ISO-8859-1).
  struct Table {
    std::string name;
    vorne::TableDescription description;
    std::vector<vorne::IndexDescription> indexes;  ///< with the database's name as theirs

    vorne::Fields fields() const { return vorne::Fields(description.fields).first(description.fields.size() - 1); }
    /// @param name in UTF-8, any letters
    /// @throws Failure (kNo) when there is none, with the nearest names
    const vorne::IndexDescription& index(std::string_view name) const;
    /// The number of a field from 1, by a name in UTF-8.
    /// @throws Failure (kUsage) when there is none, with the nearest names
    std::uint32_t field(std::string_view name) const;
    bool hasMemo() const;
  };

  /// @param directory the working directory that holds "DB"
  explicit Dictionary(std::string directory);

  const std::vector<vorne::DatabaseReport>& databases() const { return databases_; }
  /// The database of that name (UTF-8, any letters), null for none. It lives as long as the dictionary.
  const vorne::DatabaseReport* database(std::string_view name) const&;
  const vorne::DatabaseReport* database(std::string_view name) const&& = delete;
  /// The database of that name, or the one whose offsets file has it; null for none.
  const vorne::DatabaseReport* inTheWayOf(std::string_view name) const&;
  const vorne::DatabaseReport* inTheWayOf(std::string_view name) const&& = delete;
  /// Why a database cannot have that name, which `taken` has or needs for its offsets file.
  static std::string takenText(const vorne::DatabaseReport& taken, std::string_view name);
  /// @param name in UTF-8, any letters
  /// @throws Failure (kNo) when there is no such table, with the nearest names; (kUsage) for a damaged description
  Table table(std::string_view name) const;
  /// Indexes that a table has.
  std::size_t indexesOf(const std::string& table) const;
  /// The error of a name that no database has.
  std::string unknownText(std::string_view name, const char* noun) const;

 private:
  std::vector<char> blockOf(const vorne::DatabaseReport& database) const;
  std::vector<vorne::IndexDescription> indexes(const std::string& table) const;

  std::string directory_;
  std::vector<vorne::DatabaseReport> databases_;
};

/// A name as the files have it.
/// @throws Failure (kUsage) for a character that no name can have
std::string storedName(std::string_view utf8);

/// A field as it is described when a table is made: NAME:TYPE:LEN:DEC, what goes without saying left out.
std::string fieldText(const ControlFieldTBL& field);

}  // namespace tool
