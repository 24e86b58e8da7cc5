#include "synchost/transactions.h"

#include <utility>

namespace synchost {

void Transactions::begin() {
  if (writing_) return;
  try {
    sql_->script(sql_->dialect().begin);
  } catch (const StoreFailure&) {
    undo();  // a wait for others that takes too long may leave a transaction behind, of no more use
    throw;
  }
  writing_ = true;
}

void Transactions::commit() {
  if (!writing_) return;
  sql_->script("COMMIT");
  writing_ = false;
}

void Transactions::rollback() {
  if (std::exchange(writing_, false)) undo();
}

void Transactions::undo() {
  try {
    sql_->script("ROLLBACK");
  } catch (const StoreFailure&) {
    // The failure that led here has ended the transaction already, or there was none.
  }
}

std::vector<SqlRow> Transactions::read(const char* statement, const Values& parameters) {
  return sql_->run(statement, parameters);
}

std::vector<SqlRow> Transactions::write(const char* statement, const Values& parameters) {
  begin();
  return sql_->run(statement, parameters);
}

void Transactions::writeMany(const char* statement, const std::vector<Values>& rows) {
  begin();
  sql_->runMany(statement, rows);
}

}  // namespace synchost
