// Transactions, devices, tables, tasks; store_records.cpp has the records.
#include "synchost/store.h"

#include <utility>

#include "synchost/schema.h"

namespace synchost {

Store::Store(std::unique_ptr<Sql> sql) : sql_(std::move(sql)) {
  begin();
  sql_->script(SchemaFor(sql_->dialect()));
  const auto version = read("SELECT value FROM counters WHERE name = 'schema'").front().number(0);
  if (version != kSchemaVersion)
    throw StoreFailure("the store was made by another version of this program (form " + std::to_string(version) + ")");
  commit();
}

void Store::begin() {
  if (writing_) return;
  writing_ = true;  // before: a wait for others that takes too long leaves a transaction behind
  sql_->script(sql_->dialect().begin);
}

void Store::commit() {
  if (!writing_) return;
  sql_->script("COMMIT");
  writing_ = false;
}

void Store::rollback() {
  if (!std::exchange(writing_, false)) return;
  try {
    sql_->script("ROLLBACK");
  } catch (const StoreFailure&) {
    // The failure that led here has ended the transaction already.
  }
}

std::vector<SqlRow> Store::read(const char* statement, const Values& parameters) {
  return sql_->run(statement, parameters);
}

std::vector<SqlRow> Store::write(const char* statement, const Values& parameters) {
  begin();
  return sql_->run(statement, parameters);
}

void Store::writeMany(const char* statement, const std::vector<Values>& rows) {
  begin();
  sql_->runMany(statement, rows);
}

std::optional<Device> Store::device(const std::string& id) {
  const auto rows = read("SELECT grp, enabled FROM devices WHERE id = $1", {id});
  if (rows.empty()) return {};
  return Device{id, rows[0].text(0), rows[0].number(1) != 0};
}

std::vector<Device> Store::devices() {
  std::vector<Device> all;
  for (const SqlRow& row : read("SELECT id, grp, enabled FROM devices ORDER BY id"))
    all.push_back({row.text(0), row.text(1), row.number(2) != 0});
  return all;
}

void Store::putDevice(const Device& device) {
  write(
      "INSERT INTO devices(id, grp, enabled) VALUES($1, $2, $3) "
      "ON CONFLICT(id) DO UPDATE SET grp = excluded.grp, enabled = excluded.enabled",
      {device.id, device.group, std::int64_t{device.enabled}});
}

bool Store::removeDevice(const std::string& id) {
  const bool known = device(id).has_value();
  forget(id);
  write("DELETE FROM tasks WHERE device = $1", {id});
  write("DELETE FROM sessions WHERE device = $1", {id});
  write("DELETE FROM devices WHERE id = $1", {id});
  return known;
}

std::vector<SessionRecord> Store::lastSessions() {
  std::vector<SessionRecord> all;
  for (const SqlRow& row : read("SELECT device, address, began, result, milliseconds, rows_sent, rows_received, "
                                "bytes_sent, bytes_received FROM sessions ORDER BY device"))
    all.push_back({row.text(0), row.text(1), row.text(2), row.text(3), row.number(4), row.number(5), row.number(6),
                   row.number(7), row.number(8)});
  return all;
}

void Store::putSession(const SessionRecord& session) {
  write(
      "INSERT INTO sessions(device, address, began, result, milliseconds, rows_sent, rows_received, bytes_sent, "
      "bytes_received) VALUES($1, $2, $3, $4, $5, $6, $7, $8, $9) ON CONFLICT(device) DO UPDATE SET "
      "address = excluded.address, began = excluded.began, result = excluded.result, "
      "milliseconds = excluded.milliseconds, rows_sent = excluded.rows_sent, "
      "rows_received = excluded.rows_received, bytes_sent = excluded.bytes_sent, "
      "bytes_received = excluded.bytes_received",
      {session.device, session.address, session.began, session.result, session.milliseconds, session.rowsSent,
       session.rowsReceived, session.bytesSent, session.bytesReceived});
}

std::vector<Table> Store::tables() {
  std::vector<Table> all;
  for (const SqlRow& row :
       read("SELECT name, fields, indexes, key_index, number, type, direction FROM tables ORDER BY number")) {
    Table& table = all.emplace_back(MakeTable(row.text(0), row.text(1), row.text(2), row.text(3)));
    table.number = row.number(4);
    table.type = row.text(5) == "T" ? 'T' : 'P';
    table.direction = static_cast<Direction>(row.number(6));
  }
  return all;
}

std::int64_t Store::catalogueChange() {
  return read("SELECT value FROM counters WHERE name = 'catalogue'").front().number(0);
}

namespace {
constexpr char kCatalogueChanged[] = "UPDATE counters SET value = $1 WHERE name = 'catalogue'";
}

void Store::createTable(const Table& table) {
  const auto number = write("UPDATE counters SET value = value + 1 WHERE name = 'table' RETURNING value", {});
  write(
      "INSERT INTO tables(number, name, type, direction, key_index, fields, indexes) "
      "VALUES($1, $2, $3, $4, $5, $6, $7)",
      {number.front().number(0), table.name, std::string(1, table.type), static_cast<std::int64_t>(table.direction),
       table.keyIndex, table.fieldTexts, table.indexTexts});
  write(kCatalogueChanged, {takeChanges(1)});
}

void Store::dropTable(const Table& table) {
  clear(table);
  write("DELETE FROM held WHERE tbl = $1", {table.number});
  write("DELETE FROM tables WHERE number = $1", {table.number});
  write(kCatalogueChanged, {takeChanges(1)});
}

std::vector<QueuedTask> Store::tasks(const std::string& device) {
  std::vector<QueuedTask> all;
  for (const SqlRow& row : read("SELECT number, kind, name FROM tasks WHERE device = $1 ORDER BY number", {device}))
    all.push_back({row.number(0), static_cast<TaskKind>(row.number(1)), row.text(2)});
  return all;
}

void Store::addTask(const std::string& device, TaskKind kind, const std::string& name) {
  const auto number = write("UPDATE counters SET value = value + 1 WHERE name = 'task' RETURNING value", {});
  write("INSERT INTO tasks(number, device, kind, name) VALUES($1, $2, $3, $4)",
        {number.front().number(0), device, static_cast<std::int64_t>(kind), name});
}

void Store::taskDone(std::int64_t number) {
  write("DELETE FROM tasks WHERE number = $1", {number});
}

Blob Store::image(const std::string& name) {
  const auto rows = read("SELECT bytes FROM images WHERE name = $1", {name});
  return rows.empty() ? Blob() : rows[0].bytes(0);
}

void Store::putImage(const std::string& name, const Blob& bytes) {
  write("INSERT INTO images(name, bytes) VALUES($1, $2) ON CONFLICT(name) DO UPDATE SET bytes = excluded.bytes",
        {name, bytes});
}

}  // namespace synchost
