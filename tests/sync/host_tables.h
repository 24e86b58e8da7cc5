// What a host makes of its tables: records, packets, and the 'P' databases in which they arrive.
#pragma once

#include <bit>
#include <string>
#include <vector>

#include "runtime/swapped.h"
#include "storage/databases/tempdb.h"
#include "sync/compression.h"
#include "sync/wire.h"

namespace host {

struct Row {
  std::string record;
  std::vector<std::string> memos = {};
};

inline std::string text(const std::string& value) {
  return value + '\0';
}
/// A number, or a date by its day.
inline std::string number(double value) {
  const auto bits = vorne::SwapBytes(std::bit_cast<std::uint64_t>(value));
  return {reinterpret_cast<const char*>(&bits), sizeof bits};
}
inline const std::string kNoMemo(4, '\0');
inline std::string live(const std::string& fields) {
  return fields + std::string("!\0", 2);
}
inline std::string dead(const std::string& fields) {
  return fields + std::string("*\0", 2);
}

inline std::string packet(const std::vector<Row>& rows) {
  std::vector<char> content;
  for (const Row& row : rows) {
    vorne::SentRecord record{row.record, {}};
    for (const std::string& memo : row.memos) record.memos.emplace_back(memo);
    vorne::AppendToContent(record, content);
  }
  const std::vector<char> data = vorne::Deflate(content);
  const std::vector<char> body = vorne::MakeReceived(
      {0, static_cast<std::uint16_t>(rows.size()), static_cast<std::uint16_t>(content.size()), data});
  return {body.begin(), body.end()};
}
/// Packets of at most so many rows each, and of what a frame holds.
inline std::vector<std::string> packets(const std::vector<Row>& rows, std::size_t each) {
  std::vector<std::string> all;
  for (std::size_t from = 0, to = 0; from < rows.size(); from = to) {
    for (std::size_t bytes = 0; to < rows.size() && to - from < each && bytes < 9000; ++to)
      bytes += rows[to].record.size();
    all.push_back(packet({rows.begin() + from, rows.begin() + to}));
  }
  return all;
}

/// The 'P' database that a reception leaves.
inline void receive(const char* table, char type, const std::vector<std::string>& packets, bool complete = true) {
  const DmOpenRef db = vorne::OpenTemporary(table, vorne::kPacketsReceived, vorne::IfExists::Replace);
  vorne::AppendRecord(db, vorne::MakeControl({type, complete, static_cast<std::uint32_t>(packets.size())}));
  for (const std::string& each : packets) vorne::AppendRecord(db, each);
  DmCloseDatabase(db);
}
inline bool waits(const char* table) {
  return DmFindDatabase(0, vorne::TemporaryName(table, vorne::kPacketsReceived).c_str()) != 0;
}

/// A table of the host's. Fields as "CODE:C:8", indexes as "BYNAME=NAME+CODE", both parted by blanks.
struct Table {
  std::string name, fields, indexes = "", key = "", type = "P";
};
/// The catalogue tables, as they come.
void receiveCatalogue(const std::vector<Table>& tables);

}  // namespace host
