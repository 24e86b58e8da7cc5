#include <libpq-fe.h>

#include <algorithm>
#include <unordered_map>

#include "storage/disk_layout.h"
#include "synchost/sql.h"

namespace synchost {
namespace {

// One transaction that writes at a time, of all processes: change numbers become visible in their order, and nobody
// waits for somebody who waits for him.
constexpr Dialect kDialect = {"BEGIN; SELECT pg_advisory_xact_lock(8317)", "BYTEA", ""};
// A process that stops in the middle must not stop the others for good. Portions of a table come in the order of an
// index: before it has counted a new table's rows, the server would rather sort all of them for each portion.
constexpr char kSettings[] =
    "SET client_min_messages = warning; SET lock_timeout = '30s'; SET idle_in_transaction_session_timeout = '30s'; "
    "SET enable_sort = off; SET enable_bitmapscan = off";

// PostgreSQL's numbers of types.
constexpr Oid kBytes = 17, kNumber = 20;

struct Clear {
  void operator()(PGresult* result) const { PQclear(result); }
};
using Result = std::unique_ptr<PGresult, Clear>;
struct Finish {
  void operator()(PGconn* connection) const { PQfinish(connection); }
};

/// Parameters as the library takes them: bytes as they are, all others as texts.
class Parameters {
 public:
  explicit Parameters(std::span<const Value> values) {
    texts_.reserve(values.size());  // the pointers stay good
    for (const Value& value : values) {
      const auto* bytes = std::get_if<Blob>(&value);
      if (const auto* number = std::get_if<std::int64_t>(&value)) {
        add(texts_.emplace_back(std::to_string(*number)).c_str(), 0, 0);
      } else if (bytes == nullptr) {
        add(std::get<std::string>(value).c_str(), 0, 0);
      } else {
        add(bytes->empty() ? "" : bytes->data(), static_cast<int>(bytes->size()), 1);
      }
    }
  }

  int count() const { return static_cast<int>(pointers_.size()); }
  const char* const* pointers() const { return pointers_.data(); }
  const int* lengths() const { return lengths_.data(); }
  const int* formats() const { return formats_.data(); }

 private:
  void add(const char* pointer, int length, int format) {
    pointers_.push_back(pointer);
    lengths_.push_back(length);
    formats_.push_back(format);
  }

  std::vector<std::string> texts_;
  std::vector<const char*> pointers_;
  std::vector<int> lengths_, formats_;
};

Value valueAt(PGresult* result, int row, int column) {
  if (PQgetisnull(result, row, column) != 0) return std::int64_t{0};
  const char* bytes = PQgetvalue(result, row, column);
  const char* const end = bytes + PQgetlength(result, row, column);
  if (PQftype(result, column) == kBytes) return Blob(bytes, end);
  if (PQftype(result, column) != kNumber) return std::string(bytes, end);
  return static_cast<std::int64_t>(__builtin_bswap64(vorne::Load<std::uint64_t>(bytes)));
}

class Postgres : public Sql {
 public:
  explicit Postgres(std::string address) : address_(std::move(address)) { connect(); }

  const Dialect& dialect() const override { return kDialect; }

  std::vector<SqlRow> run(const char* text, std::span<const Value> values) override {
    const std::string& name = prepared(text);
    const Parameters parameters(values);
    const Result result(PQexecPrepared(connection_.get(), name.c_str(), parameters.count(), parameters.pointers(),
                                       parameters.lengths(), parameters.formats(), 1));
    check(result.get());
    std::vector<SqlRow> rows(static_cast<std::size_t>(PQntuples(result.get())));
    for (std::size_t row = 0; row < rows.size(); ++row)
      for (int column = 0; column < PQnfields(result.get()); ++column)
        rows[row].values.push_back(valueAt(result.get(), static_cast<int>(row), column));
    return rows;
  }

  // All of them go out before the first answer is waited for: a row costs no round trip of its own.
  void runMany(const char* text, std::span<const Values> rows) override {
    constexpr std::size_t kAtOnce = 256;  // so that neither side's buffers fill up
    for (; !rows.empty(); rows = rows.subspan(std::min(rows.size(), kAtOnce)))
      runPiped(prepared(text), rows.first(std::min(rows.size(), kAtOnce)));
  }

  void script(const std::string& text) override {
    if (connection_ == nullptr) connect();
    check(Result(PQexec(connection_.get(), text.c_str())).get());
  }

 private:
  void connect() {
    connection_.reset(PQconnectdb(address_.c_str()));
    if (PQstatus(connection_.get()) != CONNECTION_OK) fail("");
    check(Result(PQexec(connection_.get(), kSettings)).get());
  }

  const std::string& prepared(const char* text) {
    if (connection_ == nullptr) connect();
    const auto [found, isNew] = names_.try_emplace(text, "s" + std::to_string(names_.size()));
    if (isNew) {
      const Result result(PQprepare(connection_.get(), found->second.c_str(), text, 0, nullptr));
      if (PQresultStatus(result.get()) != PGRES_COMMAND_OK) names_.erase(found);
      check(result.get());
    }
    return found->second;
  }

  void runPiped(const std::string& name, std::span<const Values> rows) {
    PGconn* const connection = connection_.get();
    if (PQenterPipelineMode(connection) != 1) fail("");
    for (const Values& row : rows) {
      const Parameters parameters(row);
      if (PQsendQueryPrepared(connection, name.c_str(), parameters.count(), parameters.pointers(), parameters.lengths(),
                              parameters.formats(), 1) != 1)
        fail("");
    }
    if (PQpipelineSync(connection) != 1) fail("");
    std::string failure;
    for (bool synced = false; !synced;) {
      const Result result(PQgetResult(connection));
      if (result == nullptr) {  // the end of one statement's answer
        if (PQstatus(connection) != CONNECTION_OK) fail("");
        continue;
      }
      synced = PQresultStatus(result.get()) == PGRES_PIPELINE_SYNC;
      if (PQresultStatus(result.get()) == PGRES_FATAL_ERROR && failure.empty())
        failure = PQresultErrorMessage(result.get());
    }
    PQexitPipelineMode(connection);
    if (!failure.empty()) fail(failure);
  }

  void check(PGresult* result) {
    const ExecStatusType status = PQresultStatus(result);
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) fail(PQresultErrorMessage(result));
  }

  /// A lost connection is made anew when it is needed again.
  [[noreturn]] void fail(std::string why) {
    if (why.empty()) why = PQerrorMessage(connection_.get());
    if (PQstatus(connection_.get()) != CONNECTION_OK || PQpipelineStatus(connection_.get()) != PQ_PIPELINE_OFF) {
      connection_.reset();
      names_.clear();
    }
    while (!why.empty() && why.back() == '\n') why.pop_back();
    throw StoreFailure("PostgreSQL: " + why);
  }

  std::string address_;
  std::unique_ptr<PGconn, Finish> connection_;
  std::unordered_map<const char*, std::string> names_;  // of prepared statements
};

}  // namespace

std::unique_ptr<Sql> OpenPostgres(const std::string& address) {
  return std::make_unique<Postgres>(address);
}

}  // namespace synchost
