#include <cstdlib>

#include "storage/vornerdd.h"
#include "table_stores.h"

namespace {

class Ours : public TableStore {
 public:
  void load(std::uint32_t rows, bool indexesFirst) override {
    bBatchOper = 1;
    __DBCREATE(text("ROWS"), structure());
    use();
    if (indexesFirst) makeIndexes();
    for (std::uint32_t i = 0; i < rows; ++i) put(RowOf(i));
    if (!indexesFirst) makeIndexes();
    settle();
  }

  void close() override {
    __dbCloseAll();
    CloseCatalog();
  }

  double seek(const std::vector<std::string>& codes) override {
    double sum = 0;
    for (const std::string& code : codes) {
      Want(__Seek(nullptr, text(code.c_str()))->objData.mbool != 0, "seek");
      sum += __GetFieldByID(0, kPrice)->objData.mdbl;
    }
    return sum;
  }

  double scan() override {
    double sum = 0;
    Obj_Node* one = __SET_OBJECT(nullptr, __INIT_DOUBLE(1));
    for (__TBL_GoTop(); !__TBL_Eof()->objData.mbool; __TBL_Skip(nullptr, one))
      sum += __GetFieldByID(0, kPrice)->objData.mdbl;
    return sum;
  }

  void append(std::uint32_t from, const std::vector<std::uint32_t>& rows) override {
    for (const std::uint32_t row : rows) put(RowOf(from + row));
    settle();
  }

  void setPrices(const std::vector<std::uint32_t>& rows) override {
    for (const std::uint32_t row : rows) {
      go(row);
      __SetField(nullptr, field(kPrice), __INIT_DOUBLE(RowOf(row).price));
      __Commit();
    }
  }

  void setCodes(const std::vector<std::uint32_t>& rows) override {
    for (const std::uint32_t row : rows) {
      go(row);
      __SetField(nullptr, field(kCode), text(MakeRow(row, 1).code));
      __Commit();
    }
    settle();
  }

 private:
  enum Field { kCode = 1, kName, kPrice, kDay, kFlag };

  static Obj_Node* text(const char* content) { return __INIT_CHARPTR(content); }
  static Obj_Node* field(Field number) { return __INIT_DOUBLE(number); }

  static Obj_Node* structure() {
    Obj_Node* fields = __Array(__INIT_DOUBLE(0), nullptr);
    const auto add = [fields](const char* name, const char* type, int length, int decimals) {
      __AAdd(fields,
             __CreateArray(text(name), text(type), __INIT_DOUBLE(length), __INIT_DOUBLE(decimals), __INIT_NUL()));
    };
    add("CODE", "C", 12, 0);
    add("NAME", "C", 30, 0);
    add("PRICE", "N", 12, 2);
    add("DAY", "D", 8, 0);
    add("FLAG", "L", 1, 0);
    return fields;
  }

  static void makeIndexes() {
    __DBCREATEINDEX(text("NAMES"), text("NAME"));
    __DBCREATEINDEX(text("CODES"), text("CODE"));
  }
  static void use() { __DBUSEAREA(__INIT_BOOL(0), nullptr, text("ROWS")); }
  static void go(std::uint32_t row) { __TBL_GoTo(nullptr, __INIT_DOUBLE(row + 1.0)); }
  // What waits to get into the indexes is part of the work.
  static void settle() {
    for (const char* order : {"NAMES", "CODES"}) {
      __TBL_SetOrder(nullptr, text(order));
      __TBL_GoTop();
    }
  }

  static void put(const TableRow& row) {
    __DBAPPEND();
    __SetField(nullptr, field(kCode), text(row.code));
    __SetField(nullptr, field(kName), text(row.name));
    __SetField(nullptr, field(kPrice), __INIT_DOUBLE(row.price));
    __SetField(nullptr, field(kDay), __INIT_DATE(row.day));
    __SetField(nullptr, field(kFlag), __INIT_BOOL(row.flag));
    __Commit();
  }
};

}  // namespace

std::unique_ptr<TableStore> OurTable() {
  return std::make_unique<Ours>();
}
