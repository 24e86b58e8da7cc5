// Inside the sync floor: the three catalogue tables that the host sends before all others. VRN_TBL names the tables,
// VRN_COLS their fields, VRN_IND their indexes. What stands in them is the host's and may be anything: who uses it
// checks it (table_making.h).
#pragma once

#include <string>
#include <vector>

#include "sync/vornesync.h"

namespace vorne {

inline constexpr char kTableCatalog[] = "VRN_TBL", kFieldCatalog[] = "VRN_COLS", kIndexCatalog[] = "VRN_IND";

/// A table as the catalogue has it. Names are in capitals.
struct CatalogTable {
  std::string name;
  char type;        ///< 'T' whole, 'P' in part
  std::string key;  ///< the index whose key identifies a record; empty for the first one
};
struct CatalogField {
  int order;
  std::string name;
  char type;  ///< C, N, D, L, M
  int length, decimals;

  bool operator==(const CatalogField&) const = default;
};
struct CatalogIndex {
  std::string name;
  std::vector<std::string> fields;
};

/// Records of VRN_TBL; 0 when there is no such table.
int CatalogTableRecords();
/// True when the three tables are open, those that were missing or are none made empty.
bool OpenCatalogTables();
void CloseCatalogTables();
/// Sees to it that the catalogue table of that name can be opened, and makes it empty when it cannot.
bool HaveCatalogTable(const std::string& name);

/// Live rows in their order, as far as a data directory can hold tables.
std::vector<CatalogTable> CatalogTables();
/// The same in the order that the rows tell; never many more fields than a table can have.
std::vector<CatalogField> CatalogFieldsOf(const std::string& table);
std::vector<CatalogIndex> CatalogIndexesOf(const std::string& table);
bool IsCatalogued(const std::string& table);
/// True when the catalogue gives the table an index, by which records are told apart.
bool HasKey(const std::string& table);
/// The name of the index that identifies a record of the table in a merge; empty for the table's first one.
std::string CatalogKeyOf(const std::string& table);

}  // namespace vorne
