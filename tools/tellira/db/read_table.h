// Walking a table's records for the verbs that change nothing.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "db/dictionary.h"
#include "edge/console.h"
#include "storage/reading/table_reader.h"

namespace tool {

/// Whether a directory's tables and indexes may have come or gone since this was made: files did, or a program has them
/// open.
class Comings {
 public:
  explicit Comings(const std::string& directory);
  bool arePossible() const;

 private:
  std::string data_;
  std::int64_t time_, begun_;  // nanoseconds
};

/// What `look` returns. Beside a program it may fail for something that has come or gone at this instant: then it is
/// called again.
template <class Look>
auto lookingAgain(const std::string& directory, Look look) {
  constexpr int kLooks = 10;
  constexpr std::chrono::milliseconds kBetweenLooks{50};
  for (int left = kLooks - 1;; --left) {
    const Comings comings(directory);
    try {
      return look();
    } catch (const Failure&) {
      if (left == 0 || !comings.arePossible()) throw;
    }
    std::this_thread::sleep_for(kBetweenLooks);
  }
}

/// A table that is to be read, and one of its indexes where one was named.
struct ReadTable {
  Dictionary::Table table;
  vorne::IndexDescription index;
  std::unique_ptr<vorne::TableReader> reader;
};

/// @param table, index names in UTF-8, any letters; no index for ""
/// @throws Failure when they are not there or cannot be read
ReadTable openedToRead(const std::string& directory, const std::string& table, const std::string& index);

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
