// Short ways to work with tables in tests, as scripts do: values are words of runtime/values.h.
#pragma once

#include "runtime/values.h"
#include "storage/files/system.h"
#include "storage/tables/areas.h"
#include "support/store.h"

/// Opens a table in an area of its own.
inline bool use(const char* name, const char* alias = nullptr, bool newArea = true) {
  return __DBUSEAREA(__INIT_BOOL(newArea), nullptr, text(name), alias == nullptr ? nullptr : text(alias))
             ->objData.mbool != 0;
}
/// Makes a table of that structure and opens it.
inline bool make(const char* name, const char* structure) {
  return __DBCREATE(text(name), value(structure))->objData.mbool != 0 && use(name);
}
inline bool makeIndex(const char* name, const char* expression) {
  return __DBCREATEINDEX(text(name), text(expression))->objData.mbool != 0;
}
inline void set(const char* field, const std::string& word) {
  __SetField(nullptr, text(field), value(word));
}
inline void append(const std::string& name, const char* price = "1") {
  __DBAPPEND();
  set("NAME", "'" + name + "'");
  set("PRICE", price);
  __Commit();
}
inline void go(int record) {
  __TBL_GoTo(nullptr, number(record));
}
inline void remove(int record) {
  go(record);
  __TBL_Delete();
  __Commit();
}
inline void closeAll() {
  __dbCloseAll();
  CloseCatalog();
}

class TableTest : public StoreTest {
 protected:
  void TearDown() override {
    vorne::fileSystem = vorne::kSystem;
    __dbCloseAll();
    StoreTest::TearDown();
  }
};
