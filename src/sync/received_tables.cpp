#include "sync/received_tables.h"

#include "sync/name_list.h"

namespace vorne {

bool NoteReceivedTable(const char* name) {
  NameList list(kReceivedTables);
  return list.isOpen() && list.addOnce(name);
}

bool HasReceivedTables() {
  const DmOpenRef list = FindTemporary(kReceivedTables, kList);
  const bool has = list != nullptr && DmNumRecords(list) != 0;
  if (list != nullptr) DmCloseDatabase(list);
  return has;
}

}  // namespace vorne
