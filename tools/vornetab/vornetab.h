// Tables as SQLite's virtual tables, to be read only:
//
//   CREATE VIRTUAL TABLE c USING vornetab('DIR', 'CLIENTES')
//
// DIR is the working directory that holds "DB". Texts are UTF-8, dates texts like 2004-03-17 (NULL for the empty date),
// logicals 0 and 1, memos texts. The record number, from 1, is the rowid and the hidden column `recno`. Deleted records
// are passed over unless the query names the hidden column `_deleted`.
#pragma once

#include "sqlite.h"

namespace vornetab {

/// Makes the module known to a connection; a result code of SQLite.
int registerModule(sqlite3* connection);

}  // namespace vornetab
