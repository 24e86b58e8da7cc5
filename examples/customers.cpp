// The customers of a pharmacy as a table: made, filled, indexed, sought, changed and packed.
#include <cstdio>

#include "vorne.h"

namespace {

Obj_Node* text(const char* latin1) {
  return __INIT_CHARPTR(latin1);
}
Obj_Node* number(double value) {
  return __INIT_DOUBLE(value);
}
Obj_Node* field(const char* name, const char* type, int length, int decimals) {
  return __CreateArray(text(name), text(type), number(length), number(decimals), __INIT_NUL());
}
// nullptr is the current area.
Obj_Node* get(const char* name) {
  return __GetField(nullptr, text(name));
}
void set(const char* name, Obj_Node* value) {
  __SetField(nullptr, text(name), value);
}

void append(const char* code, const char* name, double born, double credit) {
  __DBAPPEND();
  set("CODE", text(code));
  set("NAME", text(name));
  set("BORN", __INIT_DATE(born));
  set("CREDIT", number(credit));
  __Commit();  // the record is in the files now
}

void showAll(const char* title) {
  std::printf("%s\n", title);
  for (__TBL_GoTop(); !__TBL_Eof()->objData.mbool; __TBL_Skip()) {
    std::printf("%3g  %-12s %-22s %8.2f\n", __TBL_RecNo()->objData.mdbl, get("NAME")->objData.mbuff,
                get("NOTE")->objData.mbuff, get("CREDIT")->objData.mdbl);
  }
}

}  // namespace

int main() {
  __BeginGlobal();
  __Set(number(11), __INIT_BOOL(1));  // pass over deleted records

  Obj_Node* fields = __CreateArray(field("CODE", "C", 6, 0), field("NAME", "C", 30, 0), field("BORN", "D", 8, 0),
                                   field("CREDIT", "N", 10, 2), field("NOTE", "M", 4, 0), __INIT_NUL());
  __DBCREATE(text("CUSTOMER"), fields);
  __DBUSEAREA(__INIT_BOOL(1), nullptr, text("CUSTOMER"));
  append("000017", "Rui Prado", __EncodeDate(1971, 5, 3), 80);
  append("000021", "Ana Melo", __EncodeDate(1980, 2, 29), 120.5);
  append("000034", "Bia Lemos", __EncodeDate(2001, 11, 9), 0);

  __DBCREATEINDEX(text("CUSTNAME"), text("NAME"));  // it is the order from now on
  showAll("by name:");

  if (__Seek(nullptr, text("Bia"))->objData.mbool) {  // the beginning of the key will do
    set("CREDIT", number(45));
    set("NOTE", text("allergic to aspirin"));
    __Commit();
  }
  __Seek(nullptr, text("C"), __INIT_BOOL(1));  // soft: no name begins so, the next one is Rui
  __TBL_Delete();
  __Commit();
  showAll("Bia changed, Rui deleted:");

  std::printf("%g records, ", __TBL_RecCount()->objData.mdbl);
  __dbPack();
  std::printf("%g after packing\n", __TBL_RecCount()->objData.mdbl);
  __dbCloseAll();
  CloseCatalog();
  __EndGlobal();
  return 0;
}
