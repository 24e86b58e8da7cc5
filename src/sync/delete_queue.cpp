// Tables that the host wants deleted while they hold records that it has not got: their names wait in a queue.
#include <cstring>

#include "runtime/arguments.h"
#include "storage/format/names.h"
#include "sync/delete_queue.h"
#include "sync/name_list.h"
#include "sync/vornesync.h"

using namespace vorne;

namespace {

constexpr char kQueue[] = "EnqueueDelete";

// A catalogue table that is gone is open no more.
void noteClosed(const char* name) {
  if (ng == nullptr) return;
  const auto isName = [name](const Obj_Node* other) {
    return HasText(other) && std::strcmp(name, other->objData.mbuff) == 0;
  };
  if (isName(ng->VRN_TBL_NAME)) __SET_OBJECT(ng->VrnArea, __INIT_DOUBLE(-1));
  if (isName(ng->IND_NAME)) __SET_OBJECT(ng->IndexTblArea, __INIT_DOUBLE(-1));
}

int deleteNowOrLater(const char* name) {
  // The lists that a session holds open are no tables.
  if (IsTemporaryName(name) || DmFindDatabase(0, name) == 0) return 0;
  if (HasDirty(name) != 0) {
    EnqueueDelete(name);
    return 0;
  }
  if (!IsTrue(__TBL_DeleteDatabase(__INIT_CHARPTR(name)))) return 0;
  noteClosed(name);
  return 1;
}

}  // namespace

int Op_DeleteTbl(const char* name) {
  if (name == nullptr) return 0;
  // What came for it before does not come back in the table that the catalogue has made anew.
  DeleteTemporary(name, kPacketsReceived);
  return deleteNowOrLater(name);
}

int EnqueueDelete(const char* name) {
  NameList queue(kQueue);
  if (!queue.isOpen()) return 0;
  // Only the first name is compared, as many times as there are: hosts count on a later one being queued again.
  if (queue.size() != 0 && queue.at(0) == name) return 1;
  queue.add(name);
  return 1;
}

void vorne::LeaveDeleteQueue(const std::string& name) {
  NameList queue(kQueue);
  if (!queue.isOpen()) return;
  for (UInt32 i = queue.size(); i-- > 0;)
    if (FoldedName(queue.at(i)) == FoldedName(name)) queue.remove(i);
}

void DeleteEnqueued() {
  NameList queue(kQueue);
  if (!queue.isOpen()) return;
  // Each round works on the first name, and what it deletes takes the last one that is left off the queue: what of
  // them is deleted now and what by a later session, hosts know by heart.
  for (UInt32 i = queue.size(); i-- > 0;) {
    const std::string first = queue.at(0);
    if (deleteNowOrLater(first.c_str()) != 0) queue.remove(i);
  }
}
