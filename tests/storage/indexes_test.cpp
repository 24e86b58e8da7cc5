// Indexes through the calls that scripts make: the bytes they leave, where a seek ends, what waits and what is noticed.
#include <algorithm>
#include <random>

#include "runtime/values.h"
#include "storage/tables/index_upkeep.h"
#include "storage/tables/keys.h"
#include "storage/waiting_entries.h"
#include "support/store.h"

using namespace vorne;

namespace {

using Strings = std::vector<std::string>;

std::string zeros(std::size_t n) {
  return std::string(n, '\0');
}
std::string entry(std::int32_t record, const std::string& key) {
  std::string bytes(4, '\0');
  Store(bytes.data(), record);
  return bytes + key;
}
void set(const char* field, const std::string& word) {
  __SetField(nullptr, text(field), value(word.c_str()));
}
void append(const std::string& name, const char* price = "1") {
  __DBAPPEND();
  set("NAME", "'" + name + "'");
  set("PRICE", price);
  __Commit();
}
void makeTable(const Strings& names, const char* name = "T") {
  __DBCREATE(text(name), value("{{'NAME','C',5,0},{'BORN','D',8,0},{'PRICE','N',6,2},{'VIP','L',1,0},{'NOTE','M',4,0}}"));
  __DBUSEAREA(__INIT_BOOL(1), nullptr, text(name));
  for (const std::string& one : names) append(one);
}
bool makeIndex(const char* name, const char* expression) {
  return __DBCREATEINDEX(text(name), text(expression))->objData.mbool != 0;
}
VORNE_RDD& area() {
  return *AreaAt(S_GLOB->TBL_this);
}
DmOpenRef index(int number = 0) {
  return IndexAt(area(), number)->IDX_dbRef;
}
// Record numbers (from 1) in the order of an index.
std::string order(int number = 0) {
  std::string all;
  for (const std::string& one : records(index(number))) all += std::to_string(Load<std::int32_t>(one.data()) + 1) + " ";
  return all;
}
// The record that is current, its place in the order, and the flags.
std::string at() {
  const VORNE_RDD& a = area();
  return std::to_string(a.TBL_recpos + 1) + "@" + std::to_string(OrderOf(a)->IDX_recID + 1) +
         (a.TBL_found ? " found" : "") + (a.TBL_eof ? " eof" : "") + (a.TBL_bof ? " bof" : "");
}
std::string seek(const std::string& key, bool soft = false) {
  const bool found = __Seek(nullptr, text(key), __INIT_BOOL(soft))->objData.mbool != 0;
  EXPECT_EQ(found, area().TBL_found != 0);
  return at();
}
void remove(int record) {
  __TBL_GoTo(nullptr, number(record));
  __TBL_Delete();
  __Commit();
}
std::string anew() {
  const std::string kept = order();
  __Reindex();
  return kept == order() ? kept : kept + "instead of " + order();
}

class Indexes : public StoreTest {
 protected:
  void TearDown() override {
    __dbCloseAll();
    StoreTest::TearDown();
  }
  void reopen() {
    __dbCloseAll();
    __DBUSEAREA(__INIT_BOOL(1), nullptr, text("T"));
  }
  std::string log() const { return readFile(directory_.path() / "saida.txt"); }
};

}  // namespace

TEST_F(Indexes, WriteTheFormat) {
  makeTable({"AB"});
  set("BORN", "d38053");
  set("PRICE", "3.5");
  set("VIP", "T");
  __Commit();
  ASSERT_TRUE(makeIndex("byname", " name + DTOS( Born )+str(price,6,2)+VIP"));
  EXPECT_EQ(records(index()), Strings{entry(0, "AB   20040307  3.50\1")});
  EXPECT_EQ(visible(__IndexKey(nullptr)), "NAME+BORN+PRICE+VIP");
  __dbCloseAll();
  const std::string file = readFile(this->file("BYNAME"));
  EXPECT_EQ(file[1], 'B');
  const std::string texts("BYNAME\0004\00020\0001\0002\0003\0004\0\0\0\0", 28);
  EXPECT_EQ(file.substr(28, 32), "T" + zeros(31));
  EXPECT_EQ(file.substr(92, texts.size()), texts);
  EXPECT_EQ(file.substr(92 + texts.size(), 8 + 4 + 20), std::string("\x18\0\x18\0\0\0\xFF\xFF", 8) + entry(0, "AB   20040307  3.50\1"));
}
