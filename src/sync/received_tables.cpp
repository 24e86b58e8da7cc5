#include "sync/received_tables.h"

#include <algorithm>

#include "sync/name_list.h"
#include "sync/vornenet.h"

namespace vorne {

bool NoteReceivedTable(const char* name) {
  NameList list(kReceivedTables);
  return list.isOpen() && list.addOnce(name);
}

bool HasReceivedTables() {
  return GetTmpDbQtdRecs(kReceivedTables, kList) != 0;
}

std::vector<std::string> ReceivedTables() {
  std::vector<std::string> names;
  if (!HasReceivedTables()) return names;
  const NameList list(kReceivedTables);
  for (UInt32 i = 0; list.isOpen() && i < list.size(); ++i) names.push_back(list.at(i));
  return names;
}

bool IsReceivedTable(const std::string& name) {
  const std::vector<std::string> names = ReceivedTables();
  return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace vorne
