// Tables with indexes, for tests of what they do in order, when they are damaged, and on a full disk.
#pragma once

#include <string>
#include <vector>

#include "storage/journal/journal.h"
#include "storage/records/records.h"
#include "storage/tables/index_upkeep.h"
#include "support/file_images.h"
#include "support/tables.h"

using Strings = std::vector<std::string>;

inline std::string entry(std::int32_t record, const std::string& key) {
  std::string bytes(4, '\0');
  vorne::Store(bytes.data(), record);
  return bytes + key;
}
inline void makeTable(const Strings& names) {
  make("T", "{{'NAME','C',5,0},{'BORN','D',8,0},{'PRICE','N',6,2},{'VIP','L',1,0},{'NOTE','M',4,0}}");
  for (const std::string& one : names) append(one);
}
inline VORNE_RDD& area() {
  return *vorne::AreaAt(S_GLOB->TBL_this);
}
inline DmOpenRef index(int number = 0) {
  return vorne::IndexAt(area(), number)->IDX_dbRef;
}
// Record numbers (from 1) in the order of an index.
inline std::string order(int number = 0) {
  std::string all;
  for (const std::string& one : records(index(number)))
    all += std::to_string(vorne::Load<std::int32_t>(one.data()) + 1) + " ";
  return all;
}
// Whether it was found, the record that is current, its place in the order, and the flags of both ends.
inline std::string seek(const std::string& key, bool soft = false) {
  const bool found = __Seek(nullptr, text(key), __INIT_BOOL(soft))->objData.mbool != 0;
  const VORNE_RDD& a = area();
  return std::to_string(a.TBL_recpos + 1) + "@" + std::to_string(vorne::OrderOf(a)->IDX_recID + 1) +
         (found && a.TBL_found ? " found" : "") + (a.TBL_eof ? " eof" : "") + (a.TBL_bof ? " bof" : "");
}
class Indexes : public TableTest {
 protected:
  static void reopen() {
    __dbCloseAll();
    use("T");
  }
  std::string log() const { return readFile(directory_.path() / "saida.txt"); }
};
