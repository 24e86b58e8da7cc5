// Inside the sync floor: the three catalogue tables that the host sends before all others. VRN_TBL names the tables,
// VRN_COLS their fields, VRN_IND their indexes.
#pragma once

#include <string>
#include <vector>

#include "sync/vornesync.h"

namespace vorne {

/// A table as the catalogue has it.
struct CatalogTable {
  std::string name;
  char type;        ///< 'T' whole, 'P' in part
  std::string key;  ///< the index whose key identifies a record; empty for the first one
};
struct CatalogField {
  std::string name;
  char type;  ///< C, N, D, L, M
  int length, decimals;
};
struct CatalogIndex {
  std::string name;
  std::vector<std::string> fields;
};

/// Records of VRN_TBL; 0 when there is no such table.
int CatalogTableRecords();
/// True when the three tables are open, those that were missing made empty.
bool OpenCatalogTables();
void CloseCatalogTables();

std::vector<CatalogTable> CatalogTables();
std::vector<CatalogField> CatalogFieldsOf(const std::string& table);
std::vector<CatalogIndex> CatalogIndexesOf(const std::string& table);

}  // namespace vorne
