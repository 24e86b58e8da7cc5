// What the tables of a directory are made of, read from their files without opening them: it may run beside a program.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "db/access.h"
#include "storage/disk_layout.h"
#include "storage/format/description.h"
#include "storage/reading/dictionary.h"

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

  using Heads = vorne::Dictionary::Heads;

  /// @param directory the working directory that holds "DB"
  /// @param heads records and sizes are known of those whose heads are read
  /// @throws Failure (kEnded) when the catalogue cannot be read; without one there are no databases
  explicit Dictionary(const std::string& directory, Heads heads = Heads::kOfIndexes);

  const std::vector<vorne::StoredDatabase>& databases() const { return stored_.databases(); }
  /// The database of that name (UTF-8, any letters), null for none. It lives as long as the dictionary.
  const vorne::StoredDatabase* database(std::string_view name) const&;
  const vorne::StoredDatabase* database(std::string_view name) const&& = delete;
  /// True when the catalogue has no such database, but a file of that name holds more than an unfinished one.
  /// @param name as files have it
  bool isLost(const std::string& name) const;
  /// The lost table that these are the memo texts or an index of, empty for none.
  std::string lostTableOf(const vorne::StoredDatabase& database) const;
  /// @param name in UTF-8, any letters
  /// @throws Failure (kNo) when there is no such table, with the nearest names; (kUsage) for a damaged description;
  /// (kEnded) when a file of it cannot be used so
  Table table(std::string_view name, Use use = Use::kReads) const;
  /// The files of a database, and of a table those of its memo texts and indexes. An index that cannot be read may be
  /// this table's.
  /// @throws Failure (kEnded) with the file and the cause when one cannot be used so
  void demandFiles(const vorne::StoredDatabase& database, Use use) const;
  /// Of one database alone.
  void demandOwnFiles(const vorne::StoredDatabase& database, Use use) const;
  /// Indexes that a table has.
  std::size_t indexesOf(const std::string& table) const { return stored_.indexesOf(table).size(); }
  /// The error of a name that no database has.
  std::string unknownText(std::string_view name, const char* noun) const;

 private:
  std::string directory_;
  vorne::Dictionary stored_;
};

/// A name as the files have it.
/// @throws Failure (kUsage) for a character that no name can have
std::string storedName(std::string_view utf8);

/// A field as it is described when a table is made: NAME:TYPE:LEN:DEC, what goes without saying left out.
std::string fieldText(const ControlFieldTBL& field);

}  // namespace tool
