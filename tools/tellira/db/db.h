// What the verbs of `tellira db` share.
#pragma once

#include <memory>
#include <string>

#include "edge/cli.h"
#include "storage/repair/directory_check.h"

namespace tool {

/// The options of the group.
struct DbOptions {
  std::string directory = ".";

  /// Absolute path of the working directory that holds "DB".
  /// @throws Failure (kUsage) when it has no "DB"
  std::string checkedDirectory() const;
};
using SharedDbOptions = std::shared_ptr<const DbOptions>;

/// Registers one verb of the group, or a few that belong together.
void addDbList(CLI::App& group, const SharedDbOptions& options, Action& action);
void addDbSchema(CLI::App& group, const SharedDbOptions& options, Action& action);
void addDbCreate(CLI::App& group, const SharedDbOptions& options, Action& action);  ///< create, drop
void addDbImport(CLI::App& group, const SharedDbOptions& options, Action& action);
void addDbExport(CLI::App& group, const SharedDbOptions& options, Action& action);
void addDbIndex(CLI::App& group, const SharedDbOptions& options,
                Action& action);  ///< index create, index drop, reindex
void addDbSeek(CLI::App& group, const SharedDbOptions& options, Action& action);
void addDbSql(CLI::App& group, const SharedDbOptions& options, Action& action);
void addDbRecords(CLI::App& group, const SharedDbOptions& options, Action& action);  ///< delete, recall, pack, zap
void addDbCheck(CLI::App& group, const SharedDbOptions& options, Action& action);

/// Adds the name that most verbs begin with.
CLI::Option& addName(CLI::App& verb, const char* name, std::string& value, const char* description);

/// A name or text of the data directory, which is ISO-8859-1, as UTF-8 with card numbers masked.
std::string shown(std::string_view latin1);

/// A four-character code as text; '?' stands for what cannot be printed, nothing for the code 0.
std::string codeText(std::uint32_t code);

/// A count with its noun, for example "1 record", "2 records". `many` is for nouns whose plural is not their "s".
std::string counted(std::uint64_t count, const std::string& noun, const std::string& many = "");

/// A size in the unit that suits it, for example "15.4 kB".
std::string sizeText(std::uint64_t bytes);

}  // namespace tool
