#include "db/read_table.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <span>

#include "storage/format/names.h"
#include "storage/repair/in_use.h"
#include "text/text.h"

namespace tool {
namespace {

constexpr std::uint32_t kRecordsAtOnce = 4096;

std::int64_t timeOf(const std::string& path) {
  struct stat found = {};
  return ::stat(path.c_str(), &found) == 0 ? found.st_mtim.tv_sec * 1'000'000'000LL + found.st_mtim.tv_nsec : 0;
}

std::int64_t now() {
  return std::chrono::nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count();
}

/// Calls `take` with the records at these positions; false when some lie beyond the table's end.
bool takeRecords(vorne::TableReader& table, std::span<const std::uint32_t> positions, vorne::Row& row,
                 vorne::StoredRows& rows, const std::function<void(const vorne::Row&)>& take) {
  bool all = true;
  for (; !positions.empty(); positions = positions.subspan(rows.taken)) {
    table.read(positions, true, rows);
    for (std::size_t place = 0; place < rows.places.size(); ++place) {
      row.load(rows, place);
      take(row);
    }
    all = all && rows.places.size() == rows.taken;
  }
  return all;
}

}  // namespace

Comings::Comings(const std::string& directory)
    : data_(directory + vorne::kDataDirectory), time_(timeOf(data_)), begun_(now()) {}

bool Comings::arePossible() const {
  // Clocks of file systems go in steps: what came a moment before may have the time of what comes now.
  constexpr std::int64_t kTimeSteps = 20'000'000;
  const std::int64_t time = timeOf(data_);
  return time != time_ || std::abs(begun_ - time) < kTimeSteps || vorne::IsInUse(data_);
}

ReadTable openedToRead(const std::string& directory, const std::string& name, const std::string& index) {
  return lookingAgain(directory, [&] {
    ReadTable opened{Dictionary(directory).table(name), {}, {}};
    if (!index.empty()) opened.index = opened.table.index(index);
    reading([&] {
      opened.reader = std::make_unique<vorne::TableReader>(directory, opened.table.name);
      return kDone;
    });
    if (!index.empty()) indexNumber(*opened.reader, opened.index.name);
    return opened;
  });
}

int reading(const std::function<int()>& action) {
  try {
    return action();
  } catch (const vorne::ReadFailure& failure) {
    throw Failure(failure.kind == vorne::ReadFailure::kRefused ? kEnded : kNo, utf8FromLatin1(failure.what()));
  }
}

std::size_t indexNumber(const vorne::TableReader& table, const std::string& index) {
  const auto& indexes = table.indexes();
  const auto found = std::find_if(indexes.begin(), indexes.end(), [&](const auto& one) { return one.name == index; });
  if (found == indexes.end())
    throw Failure(kNo,
                  "the index " + utf8FromLatin1(index) + " cannot be read.\n  next: `tellira db check` tells why.");
  return static_cast<std::size_t>(found - indexes.begin());
}

std::vector<std::uint32_t> positionsInOrder(vorne::TableReader& table, const std::string& index) {
  const vorne::KeyList list = table.find(indexNumber(table, index), {{"", ""}});
  std::vector<std::uint32_t> positions(list.count());
  for (std::size_t i = 0; i < positions.size(); ++i) positions[i] = list.position(i);
  return positions;
}

void forEachRecord(vorne::TableReader& table, const std::function<void(const vorne::Row&)>& take) {
  vorne::Row row(table);
  vorne::StoredRows rows;
  std::vector<std::uint32_t> positions(kRecordsAtOnce);
  std::iota(positions.begin(), positions.end(), 0U);
  // The count is not asked before: a program may append meanwhile, and the first position beyond the end ends it.
  while (takeRecords(table, positions, row, rows, take))
    for (std::uint32_t& position : positions) position += kRecordsAtOnce;
}

void forEachRecord(vorne::TableReader& table, const std::vector<std::uint32_t>& positions,
                   const std::function<void(const vorne::Row&)>& take) {
  vorne::Row row(table);
  vorne::StoredRows rows;
  takeRecords(table, positions, row, rows, take);
}

}  // namespace tool
