#include "sync/catalog_tables.h"

#include <algorithm>

#include "runtime/internal.h"
#include "storage/records/records.h"
#include "sync/table_areas.h"

namespace vorne {

namespace {

struct Field {
  const char *name, *type;
  int length;
};
struct Catalog {
  const char *name, *index;
  Obj_Node* sync_globs::*area;
  std::vector<Field> fields;
};
const Catalog kCatalogs[] = {
    {kTableCatalog,
     "VRN_NDX",
     &sync_globs::VrnArea,
     {{"TBL_NAME", "C", 30}, {"TBL_TYPE", "C", 1}, {"TBL_KEY", "C", 30}}},
    {kFieldCatalog,
     "VRN_COLSX",
     &sync_globs::AttribArea,
     {{"TBL_NAME", "C", 30},
      {"COL_ORDER", "N", 4},
      {"COL_NAME", "C", 20},
      {"COL_TYPE", "C", 1},
      {"COL_LEN", "N", 5},
      {"COL_DEC", "N", 3}}},
    {kIndexCatalog,
     "VRN_INDX",
     &sync_globs::IndexTblArea,
     {{"TBL_NAME", "C", 30},
      {"IND_NAME", "C", 30},
      {"IND_ORDER", "N", 4},
      {"KEY_ORDER", "N", 4},
      {"COL_NAME", "C", 20}}},
};

// The session's area of a catalogue table; -1 when it is not open, or the area is another table's by now.
int sessionArea(const Catalog& catalog) {
  const Obj_Node* value = ng == nullptr ? nullptr : ng->*catalog.area;
  const int number = IsNumber(value) ? ToInt(value->objData.mdbl) : -1;
  const VORNE_RDD* area = AreaAt(number);
  return area != nullptr && std::string_view(area->TBL_appinfo->TBL_name) == catalog.name ? number : -1;
}

void setSessionArea(const Catalog& catalog, int number) {
  if (ng != nullptr) StoreForRun(ng->*catalog.area, __INIT_DOUBLE(number));
}

bool hasFields(const Catalog& catalog, int number) {
  return std::all_of(catalog.fields.begin(), catalog.fields.end(), [number](const Field& field) {
    const Fields fields = FieldsOf(*AreaAt(number));
    const std::uint32_t found = FieldNumber(fields, field.name);
    return found != 0 && TypeLetter(fields[found - 1].FieldType) == *field.type;
  });
}

bool make(const Catalog& catalog) {
  __begin_context();
  Obj_Node* rows = __Array(__INIT_DOUBLE(0), nullptr);
  for (const Field& field : catalog.fields)
    __AAdd(rows, __CreateArray(__INIT_CHARPTR(field.name), __INIT_CHARPTR(field.type), __INIT_DOUBLE(field.length),
                               __INIT_DOUBLE(0), __INIT_NUL()));
  const bool made = IsTrue(__DBCREATE(__INIT_CHARPTR(catalog.name), rows));
  __end_context(nullptr);
  return made;
}

// Opens it as it is; -1 unless it has all its fields.
int openAsIs(const Catalog& catalog) {
  const int number = OpenTableArea(catalog.name);
  if (number < 0 || hasFields(catalog, number)) return number;
  __CloseTBL(number);
  return -1;
}

int openOrMake(const Catalog& catalog) {
  int number = openAsIs(catalog);
  // A host that finds no catalogue sends it anew: what cannot be opened is worth nothing.
  if (number < 0 && make(catalog)) number = openAsIs(catalog);
  const std::uint32_t key = 1;
  if (number >= 0 && __UseIndex(number, catalog.index) < 0) __TrataCriaIndice(number, catalog.index, &key, 1);
  return number;
}

// Calls `visit(values)` for every live row until it returns false.
template <class Visit>
void visitRows(const Catalog& catalog, Visit visit) {
  const TableArea area(catalog.name);
  if (!area.isOpen()) return;
  RecordValues values(area.fields());
  const UInt32 count = DmNumRecords(area.database());
  for (UInt32 i = 0; i < count; ++i) {
    values.load(BytesOf(area.database(), i));
    if (!values.isDeleted() && !visit(values)) return;
  }
}

// The rows of one table.
template <class Visit>
void visitRowsOf(const std::string& table, const Catalog& catalog, Visit visit) {
  visitRows(catalog, [&](const RecordValues& values) { return !values.is("TBL_NAME", table) || visit(values); });
}

bool hasRowsOf(const std::string& table, const Catalog& catalog) {
  bool has = false;
  visitRowsOf(table, catalog, [&has](const RecordValues&) {
    has = true;
    return false;
  });
  return has;
}

}  // namespace

int CatalogTableRecords() {
  const int number = sessionArea(kCatalogs[0]);
  if (number >= 0) return RecordCount(*AreaAt(number));
  const LocalID id = DmFindDatabase(0, kTableCatalog);
  const DmOpenRef db = id == 0 ? nullptr : DmOpenDatabase(0, id, 0);
  if (db == nullptr) return 0;
  const auto count = static_cast<int>(DmNumRecords(db));
  DmCloseDatabase(db);
  return count;
}

bool OpenCatalogTables() {
  bool open = true;
  for (const Catalog& catalog : kCatalogs) {
    const int before = sessionArea(catalog), number = before >= 0 ? before : openOrMake(catalog);
    setSessionArea(catalog, number);
    open = open && number >= 0;
  }
  return open;
}

void CloseCatalogTables() {
  for (const Catalog& catalog : kCatalogs) {
    if (const int number = sessionArea(catalog); number >= 0) __CloseTBL(number);
    setSessionArea(catalog, -1);
  }
}

bool HaveCatalogTable(const std::string& name) {
  for (const Catalog& catalog : kCatalogs) {
    if (name != catalog.name) continue;
    const int number = openOrMake(catalog);
    return number >= 0 && __CloseTBL(number) != 0;
  }
  return false;
}

std::vector<CatalogTable> CatalogTables() {
  std::vector<CatalogTable> tables;
  visitRows(kCatalogs[0], [&](const RecordValues& values) {
    tables.push_back({values.text("TBL_NAME"), values.letter("TBL_TYPE"), values.text("TBL_KEY")});
    return tables.size() < kOpenFiles;
  });
  return tables;
}

bool IsCatalogued(const std::string& table) {
  return hasRowsOf(table, kCatalogs[0]);
}

bool HasKey(const std::string& table) {
  return hasRowsOf(table, kCatalogs[2]);
}

std::string CatalogKeyOf(const std::string& table) {
  std::string key;
  visitRowsOf(table, kCatalogs[0], [&](const RecordValues& values) {
    key = values.text("TBL_KEY");
    return false;
  });
  return key;
}

std::vector<CatalogField> CatalogFieldsOf(const std::string& table) {
  std::vector<CatalogField> fields;
  visitRowsOf(table, kCatalogs[1], [&](const RecordValues& values) {
    CatalogField field{values.number("COL_ORDER"), values.text("COL_NAME"), values.letter("COL_TYPE"),
                       values.number("COL_LEN"), values.number("COL_DEC")};
    // A catalogue that came in part holds the same row twice.
    if (std::find(fields.begin(), fields.end(), field) == fields.end()) fields.push_back(std::move(field));
    return fields.size() <= kMostFields;
  });
  std::stable_sort(fields.begin(), fields.end(),
                   [](const CatalogField& a, const CatalogField& b) { return a.order < b.order; });
  return fields;
}

std::vector<CatalogIndex> CatalogIndexesOf(const std::string& table) {
  struct Key {
    int index, order;
    std::string name, field;

    auto operator<=>(const Key&) const = default;
  };
  std::vector<Key> keys;
  visitRowsOf(table, kCatalogs[2], [&](const RecordValues& values) {
    keys.push_back(
        {values.number("IND_ORDER"), values.number("KEY_ORDER"), values.text("IND_NAME"), values.text("COL_NAME")});
    return keys.size() <= kMostFields;
  });
  std::sort(keys.begin(), keys.end(), [](const Key& a, const Key& b) {
    return std::tie(a.index, a.name, a.order, a.field) < std::tie(b.index, b.name, b.order, b.field);
  });
  keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
  std::vector<CatalogIndex> indexes;
  for (Key& key : keys) {
    if (indexes.empty() || indexes.back().name != key.name) indexes.push_back({key.name, {}});
    indexes.back().fields.push_back(std::move(key.field));
  }
  return indexes;
}

}  // namespace vorne
