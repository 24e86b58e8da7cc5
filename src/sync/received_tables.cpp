#include "sync/received_tables.h"

#include "sync/name_list.h"

namespace vorne {

bool NoteReceivedTable(const char* name) {
  NameList list(kReceivedTables);
  return list.isOpen() && list.addOnce(name);
}

}  // namespace vorne
