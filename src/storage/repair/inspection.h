// One walk over a data directory: everything in it is checked and, when told to, repaired. The course of it; what is
// found in one file is told by check_*, what becomes of a file by changes.
#pragma once

#include <map>
#include <set>

#include "storage/repair/changes.h"
#include "storage/repair/check_catalog.h"
#include "storage/repair/check_indexes.h"
#include "storage/repair/check_tables.h"

namespace vorne {

class Inspection {
 public:
  /// @param directory the working directory that holds "DB"
  Inspection(const std::string& directory, const CheckOptions& options, bool repairs);

  DirectoryReport run();

 private:
  struct FoundIndex {
    std::string name;
    std::optional<IndexDescription> told;
    std::size_t entries;
    std::size_t entriesSeen;  // of which it is sure
    std::uint32_t info;       // bytes of its description
    bool isBlank;             // with nothing in them
    bool hasHead;             // the file's header can be one
  };
  // A database that is not there any more.
  struct Gone {
    std::string name;
    std::optional<std::uint64_t> records;  // that something tells of
    std::string witness;
    std::vector<std::string> remains;  // files that belong to it
  };

  void finishInterrupted();
  bool isInterrupted(const std::string& name);

  RawFile read(const std::string& name);
  bool isReadable(const std::string& name, const RawFile& file);
  void leaveUnread(const std::string& name, const std::string& why);
  FileKind kindOfOffsets(const std::string& name) const;
  DatabaseFiles readDatabase(const std::string& name);

  void checkCatalog();
  void checkDatabases();
  void checkDatabase(const DatabaseHdrType& entry);
  void checkTable(const std::string& name, const DatabaseFiles& files, DatabaseState& state, Findings& data,
                  Findings& lasting);
  TableContext contextOf(const std::string& name);
  std::string copiesOf(const std::string& name) const;
  void lackMemo(const std::string& table);
  void tellStrange(const std::string& name, FileKind kind);
  bool repairData(const DatabaseFiles& files, const DatabaseState& state, const std::string& name, bool replaceable);

  std::optional<CheckedDatabase> readAgain(const std::string& name, std::uint32_t type);
  std::optional<CheckedTable> readTable(const std::string& name);
  void checkIndexes();
  void checkIndex(const CheckedTable& table, const FoundIndex& index);
  void settleIndex(const FoundIndex& index);
  bool findTableOf(const CheckedDatabase& index, const FoundIndex& found);
  bool isMisnamed(const CheckedTable& table, const CheckedDatabase& index, const FoundIndex& found) const;
  void remakeIndex(const CheckedTable& table, const CheckedDatabase& index, const IndexDescription& told,
                   Findings& findings);
  void dropIndex(const std::string& name, const std::string& words);

  bool isTaken(const std::string& name);
  bool isKnown(const std::string& owner);
  void checkOrphans();
  void checkPutAway();
  void takeAway(const std::string& database, const std::string& file, std::optional<std::uint64_t> records);
  void finishCatalog();

  DataDirectory directory_;
  const CheckOptions& options_;
  const bool repairs_;
  std::vector<std::string> interrupted_;
  RawFile catalog_;
  CatalogState state_;
  bool unread_ = false;                         // a file could not be looked at: what is missing may be in it
  std::set<std::string> names_;                 // of databases
  std::set<std::string> owners_;                // names that tables go by, folded: their files' and their descriptions'
  std::map<std::string, std::string> tables_;   // files' names by the descriptions', folded
  std::map<std::string, std::uint32_t> texts_;  // in memo databases, by their names, folded
  std::vector<FoundIndex> indexes_;
  std::map<std::string, Gone> gone_;    // by name, folded
  std::vector<std::string> removals_;   // databases that go
  std::vector<std::string> leftovers_;  // files that go with databases which are gone
  std::vector<std::string> newMemos_;
  std::vector<Findings> settledLast_;  // what is repaired when the catalogue is
  CheckProgress progress_{};
  DirectoryReport report_;
  Changes changes_;
};

}  // namespace vorne
