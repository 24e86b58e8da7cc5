// What SQLite calls: virtual tables and cursors as it wants them, and failures as result codes.
#include <map>
#include <memory>
#include <new>
#include <string>

#include "cursor.h"
#include "text/text.h"
#include "vornetab.h"

namespace vornetab {
namespace {

struct Table : sqlite3_vtab {
  Table(vorne::Dictionary& dictionary, const std::string& name) : sqlite3_vtab{}, reader(dictionary, name) {}

  vorne::TableReader reader;
  // That are open: the files are let go with the last of them.
  int cursors = 0;
};

struct OpenCursor : sqlite3_vtab_cursor {
  explicit OpenCursor(Table& table) : sqlite3_vtab_cursor{}, rows(table.reader) {}
  Cursor rows;
};

// Of a connection's directories, by name: what its next table needs to know was read for the one before.
using Dictionaries = std::map<std::string, vorne::Dictionary>;

Table& tableOf(sqlite3_vtab* table) {
  return *static_cast<Table*>(table);
}
Cursor& rowsOf(sqlite3_vtab_cursor* cursor) {
  return static_cast<OpenCursor*>(cursor)->rows;
}

int codeOf(const vorne::ReadFailure& failure) {
  switch (failure.kind) {
    case vorne::ReadFailure::kMissing:
      return SQLITE_CANTOPEN;
    case vorne::ReadFailure::kDamaged:
      return SQLITE_CORRUPT_VTAB;
    case vorne::ReadFailure::kInUse:
      return SQLITE_BUSY;
    default:
      return SQLITE_ERROR;
  }
}

// Runs `work`; its failure becomes a result code and the text at `message`.
template <class Work>
int guarded(char** message, Work work) {
  const auto fail = [message](int code, const char* text) {
    sqlite3_free(*message);
    *message = sqlite3_mprintf("%s", text);
    return code;
  };
  try {
    return work();
  } catch (const vorne::ReadFailure& failure) {
    return fail(codeOf(failure), tool::utf8FromLatin1(failure.what()).c_str());
  } catch (const std::bad_alloc&) {
    return SQLITE_NOMEM;
  } catch (const std::exception& error) {
    return fail(SQLITE_ERROR, error.what());
  }
}

// A module's argument comes as it was typed, with its quotes.
std::string unquoted(const std::string& argument) {
  const std::string text(tool::trimmed(argument));
  if (text.size() < 2 || text.front() != text.back() || (text.front() != '\'' && text.front() != '"')) return text;
  std::string plain;
  for (std::size_t i = 1; i + 1 < text.size(); ++i) {
    plain += text[i];
    if (text[i] == text.front() && text[i + 1] == text.front()) ++i;
  }
  return plain;
}

int connect(sqlite3* connection, void* dictionaries, int count, const char* const* words, sqlite3_vtab** made,
            char** message) {
  return guarded(message, [&] {
    constexpr int kOwnWords = 3;  // the module, the schema and the virtual table
    if (count != kOwnWords + 2) {
      *message = sqlite3_mprintf("vornetab needs two arguments: the directory that holds DB, and the table's name");
      return SQLITE_ERROR;
    }
    const std::string directory = unquoted(words[kOwnWords]);
    vorne::Dictionary& dictionary =
        static_cast<Dictionaries*>(dictionaries)->try_emplace(directory, directory).first->second;
    auto table = std::make_unique<Table>(dictionary, tool::latin1FromUtf8(unquoted(words[kOwnWords + 1])));
    const int declared = sqlite3_declare_vtab(connection, declarationOf(table->reader.fields()).c_str());
    if (declared != SQLITE_OK) {
      *message = sqlite3_mprintf("%s", sqlite3_errmsg(connection));
      return declared;
    }
    // A directory may have more tables than a process may have files open.
    table->reader.rest();
    *made = table.release();
    return SQLITE_OK;
  });
}

int disconnect(sqlite3_vtab* table) {
  delete &tableOf(table);
  return SQLITE_OK;
}

int bestIndex(sqlite3_vtab* table, sqlite3_index_info* info) {
  return guarded(&table->zErrMsg, [&] {
    const int chosen = choosePlan(tableOf(table).reader, info);
    if (tableOf(table).cursors == 0) tableOf(table).reader.rest();
    return chosen;
  });
}

int open(sqlite3_vtab* table, sqlite3_vtab_cursor** made) {
  return guarded(&table->zErrMsg, [&] {
    *made = new OpenCursor(tableOf(table));
    ++tableOf(table).cursors;
    return SQLITE_OK;
  });
}

int close(sqlite3_vtab_cursor* cursor) {
  Table& table = tableOf(cursor->pVtab);
  delete static_cast<OpenCursor*>(cursor);
  if (--table.cursors == 0) table.reader.rest();
  return SQLITE_OK;
}

int filter(sqlite3_vtab_cursor* cursor, int plan, const char*, int count, sqlite3_value** values) {
  return guarded(&cursor->pVtab->zErrMsg, [&] {
    rowsOf(cursor).start(Plan::fromNumber(plan), count, values);
    return SQLITE_OK;
  });
}

int next(sqlite3_vtab_cursor* cursor) {
  return guarded(&cursor->pVtab->zErrMsg, [&] {
    rowsOf(cursor).next();
    return SQLITE_OK;
  });
}

int isAtEnd(sqlite3_vtab_cursor* cursor) {
  return rowsOf(cursor).isAtEnd();
}

int column(sqlite3_vtab_cursor* cursor, sqlite3_context* context, int number) {
  return guarded(&cursor->pVtab->zErrMsg, [&] {
    rowsOf(cursor).column(context, number);
    return SQLITE_OK;
  });
}

int rowid(sqlite3_vtab_cursor* cursor, sqlite3_int64* number) {
  *number = rowsOf(cursor).recno();
  return SQLITE_OK;
}

// Without the functions that change something: such a table cannot be written to.
sqlite3_module makeModule() {
  sqlite3_module module = {};
  module.xCreate = module.xConnect = connect;
  module.xDisconnect = module.xDestroy = disconnect;
  module.xBestIndex = bestIndex;
  module.xOpen = open;
  module.xClose = close;
  module.xFilter = filter;
  module.xNext = next;
  module.xEof = isAtEnd;
  module.xColumn = column;
  module.xRowid = rowid;
  return module;
}

const sqlite3_module kModule = makeModule();

}  // namespace

int registerModule(sqlite3* connection) {
  return sqlite3_create_module_v2(connection, "vornetab", &kModule, new Dictionaries,
                                  [](void* dictionaries) { delete static_cast<Dictionaries*>(dictionaries); });
}

}  // namespace vornetab
