#include "sync/received_tables.h"

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

bool IsReceivedTable(const std::string& name) {
  if (!HasReceivedTables()) return false;
  const NameList list(kReceivedTables);
  return list.isOpen() && list.has(name);
}

}  // namespace vorne
