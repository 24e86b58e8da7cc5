// Inside the storage floor: opening tables into work areas, and closing them.
#pragma once

#include "storage/tables/areas.h"

namespace vorne {

/// Takes a free area for an open table, which the area owns from now on; -1 when there is none. Error 5.
int OpenArea(myAppInfoType* table, const std::string& alias, Obj_Node* constant);
/// Closes the areas that hold a database that is going to be deleted; their changes are dropped.
void CloseAreasOf(DmOpenRef db);
/// A database is being made while the object lives: an error that ends the process then deletes it again. Objects end
/// in the reverse order of their beginning.
class Making {
 public:
  explicit Making(std::string name);
  ~Making();
  Making(const Making&) = delete;
  Making& operator=(const Making&) = delete;
};

/// Closes every area.
void CloseAllAreas();
/// Closes the table's database and indexes and frees the description. Null is ignored.
void ReleaseTable(myAppInfoType* table);

}  // namespace vorne
