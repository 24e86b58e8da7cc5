// Reading and writing a database, with a transaction that begins by itself with the first change.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "synchost/sql.h"

namespace synchost {

class Transactions {
 public:
  explicit Transactions(std::unique_ptr<Sql> sql) : sql_(std::move(sql)) {}

  std::vector<SqlRow> read(const char* statement, const Values& parameters = {});
  std::vector<SqlRow> write(const char* statement, const Values& parameters);
  void writeMany(const char* statement, const std::vector<Values>& rows);
  /// From here on nobody else writes. When that cannot be had no transaction is open.
  void begin();
  void commit();
  void rollback();
  Sql& sql() { return *sql_; }

 private:
  void undo();

  std::unique_ptr<Sql> sql_;
  bool writing_ = false;
};

}  // namespace synchost
