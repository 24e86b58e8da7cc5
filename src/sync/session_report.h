// Inside the sync floor: what a session has done, table by table, for whoever shows it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vorne {

struct TableReport {
  std::string name;
  std::uint64_t received = 0, sent = 0, applied = 0;  ///< records
  std::uint64_t bytes = 0;                            ///< of packets, both ways
};

/// Of the session that runs, or ran last; empties with the next one.
const std::vector<TableReport>& SessionReport();
void ClearSessionReport();
/// The table's line, made when there is none.
TableReport& ReportOf(const std::string& table);

/// How it ended, as DoSyncronize tells it: 0; 1 when it failed, which a session can with no code of the line; 2 when
/// something that came could not be applied.
int SessionResult();
void NoteSessionResult(int result);

}  // namespace vorne
