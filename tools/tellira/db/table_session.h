// The runtime at work on the tables of one directory, as the verbs that change something need it.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "db/directory_lock.h"
#include "storage/tables.h"
#include "storage/tables/areas.h"

namespace tool {

/// One at a time, and one in a process: it makes DIR the working directory and starts the runtime, which ends with it.
/// While it lives, standard output belongs to the runtime; the verb prints before or afterwards.
///
/// Whatever the runtime says in ending the process becomes a Failure (kEnded) with its words.
class TableSession {
 public:
  enum class Databases { kOpen, kUntouched };

  /// @param directory absolute path of the working directory; its "DB" is made when missing
  /// @param databases kUntouched for the runtime without them: nothing is made or locked
  /// @throws Failure (kUsage) when a program has its databases open
  explicit TableSession(const std::string& directory, Databases databases = Databases::kOpen);
  ~TableSession();
  TableSession(const TableSession&) = delete;
  TableSession& operator=(const TableSession&) = delete;

  /// Opens a table by its name as the files have it; the number of its area, which becomes the current one.
  /// @throws Failure (kNo) when there is none any more
  int open(const std::string& table);
  /// Writes and closes everything. The verb is done only when this has returned.
  void close();

 private:
  void end();

  class RuntimeOutput;

  std::string directory_, data_;
  std::unique_ptr<RuntimeOutput> output_;
  std::optional<DirectoryLock> lock_;
  bool running_ = false;
};

}  // namespace tool
