#include "sync/session_report.h"

#include <algorithm>

namespace vorne {

namespace {

std::vector<TableReport> report;
int result = 0;

}  // namespace

const std::vector<TableReport>& SessionReport() {
  return report;
}

void ClearSessionReport() {
  report.clear();
  result = 0;
}

int SessionResult() {
  return result;
}

void NoteSessionResult(int ended) {
  result = ended;
}

TableReport& ReportOf(const std::string& table) {
  const auto found =
      std::find_if(report.begin(), report.end(), [&table](const TableReport& line) { return line.name == table; });
  if (found != report.end()) return *found;
  report.push_back({table});
  return report.back();
}

}  // namespace vorne
