// The database behind the store: SQLite or PostgreSQL. Statements are the same for both; what differs is the dialect.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace synchost {

using Blob = std::vector<char>;
using Value = std::variant<std::int64_t, std::string, Blob>;
using Values = std::vector<Value>;

/// One row of an answer. NULL reads as 0, as an empty text and as no bytes.
struct SqlRow {
  std::vector<Value> values;
  std::int64_t number(std::size_t column) const;
  const std::string& text(std::size_t column) const;
  const Blob& bytes(std::size_t column) const;
};

/// The database does not do what it was asked for: full disk, lost connection, wrong file. What a transaction has done
/// is undone; the next one may work again.
class StoreFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Dialect {
  const char* begin;      ///< begins a transaction that writes; such transactions of all processes follow each other
  const char* bytesType;  ///< of columns of bytes
  const char* keyed;      ///< behind a table that is found by its primary key alone
};

class Sql {
 public:
  Sql() = default;
  Sql(const Sql&) = delete;
  Sql& operator=(const Sql&) = delete;
  virtual ~Sql() = default;

  virtual const Dialect& dialect() const = 0;
  /// @param statement with parameters $1, $2 ... in this order; it is prepared once, and known by its address again
  /// @throws StoreFailure, as all functions here
  virtual std::vector<SqlRow> run(const char* statement, std::span<const Value> parameters) = 0;
  /// The same statement for many rows of parameters; what it answers is passed over.
  virtual void runMany(const char* statement, std::span<const Values> rows) = 0;
  /// Statements without parameters or answer.
  virtual void script(const std::string& text) = 0;
};

/// @param file made when it is not there; ":memory:" for one that ends with the process
std::unique_ptr<Sql> OpenSqlite(const std::string& file);
/// @param address as in postgresql://user@host/database; StoreFailure where this program was built without its library
std::unique_ptr<Sql> OpenPostgres(const std::string& address);

}  // namespace synchost
