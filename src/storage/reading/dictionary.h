// What a directory holds, read once and handed on: the catalogue's databases, and which table each index belongs to. So
// what opening a table costs does not grow with the number of databases more than once.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "storage/disk_layout.h"
#include "storage/format/description.h"
#include "storage/format/names.h"
#include "storage/reading/read_failure.h"

namespace vorne {

/// A database as its catalogue's entry and the head of its data file describe it.
struct StoredDatabase {
  DatabaseHdrType entry = {};
  std::string name;                               ///< as the catalogue spells it
  FileHeader header = {};                         ///< zeros while the head was not read
  std::uint64_t dataBytes = 0, offsetsBytes = 0;  ///< of its files; likewise
  std::optional<IndexDescription> index;          ///< what an index's block says
  std::string failure;                            ///< why the data file cannot be read; empty when it can
};

class Dictionary {
 public:
  /// Whose heads are read, one opening of a file for each.
  enum class Heads { kOfIndexes, kOfAll };

  /// Reads nothing yet.
  /// @param directory the working directory that holds "DB"
  explicit Dictionary(const std::string& directory) : path_(directory + kDataDirectory + "/") {}

  /// Reads the catalogue. An index's head is read again only when its entry in the catalogue has changed, or with
  /// kOfAll.
  /// @throws ReadFailure of the catalogue; what is wrong with a data file becomes its `failure`
  void renew(Heads heads);

  /// What was read may have changed while it was: the next renew() reads all heads again.
  void forget() { isBelieved_ = false; }

  /// In the catalogue's order, without those whose file was found missing.
  const std::vector<StoredDatabase>& databases() const { return databases_; }
  /// The database of that name, in any letters; null for none. Until the next renew().
  const StoredDatabase* find(std::string_view name) const;
  /// The same, should it be of that type.
  const StoredDatabase* find(std::string_view name, std::uint32_t type) const;
  /// The indexes whose heads name the table, in the catalogue's order. Until the next renew().
  std::vector<const StoredDatabase*> indexesOf(std::string_view table) const;

  /// A table's description, read from its file; none when it is damaged.
  /// @throws ReadFailure kMissing, kRefused
  std::optional<TableDescription> describe(const StoredDatabase& table) const;
  /// What the table's indexes say of themselves, their key fields numbered from 1.
  std::vector<IndexDescription> describeIndexes(const StoredDatabase& table, Fields fields) const;

  /// Ends with "/DB/".
  const std::string& path() const { return path_; }

 private:
  using Places = std::unordered_map<std::string, std::vector<std::size_t>>;

  bool readHead(StoredDatabase& database) const;

  std::string path_;
  std::vector<StoredDatabase> databases_;
  Places byName_, byOwner_;  // in capital letters
  bool isBelieved_ = false;
};

}  // namespace vorne
