#include "sync/received_tables.h"

#include "sync/name_list.h"

namespace vorne {

bool NoteReceivedTable(const char* name) {
  NameList list(kReceivedTables);
  if (!list.isOpen()) return false;
  for (UInt32 i = 0; i < list.size(); ++i)
    if (list.at(i) == name) return true;
  return list.add(name);
}

bool HasReceivedTables() {
  const DmOpenRef list = FindTemporary(kReceivedTables, kList);
  const bool has = list != nullptr && DmNumRecords(list) != 0;
  if (list != nullptr) DmCloseDatabase(list);
  return has;
}

}  // namespace vorne
