// Transactions, devices, tables, tasks; store_records.cpp has the records.
#include "synchost/store.h"

#include <utility>

#include "synchost/schema.h"

namespace synchost {

namespace {

// 0: there is nothing yet.
std::int64_t versionOf(Transactions& db) {
  try {
    return db.read("SELECT value FROM counters WHERE name = 'schema'").front().number(0);
  } catch (const StoreFailure&) {
    return 0;
  }
}

}  // namespace

// What is there already is not written to: whoever only reads waits for nobody.
Store::Store(std::unique_ptr<Sql> sql) : db_(std::move(sql)) {
  if (versionOf(db_) == kSchemaVersion) return;
  db_.begin();
  db_.sql().script(SchemaFor(db_.sql().dialect()));
  if (versionOf(db_) == 1) db_.sql().script(kSchemaFromOne);
  if (const auto version = versionOf(db_); version != kSchemaVersion)
    throw StoreFailure("the store was made by another version of this program (form " + std::to_string(version) + ")");
  commit();
}

void Store::commit() {
  db_.commit();
}

void Store::rollback() {
  db_.rollback();
}

std::optional<Device> Store::device(const std::string& id) {
  const auto rows = db_.read("SELECT grp, enabled FROM devices WHERE id = $1", {id});
  if (rows.empty()) return {};
  return Device{id, rows[0].text(0), rows[0].number(1) != 0};
}

std::vector<Device> Store::devices() {
  std::vector<Device> all;
  for (const SqlRow& row : db_.read("SELECT id, grp, enabled FROM devices ORDER BY id"))
    all.push_back({row.text(0), row.text(1), row.number(2) != 0});
  return all;
}

void Store::putDevice(const Device& device) {
  db_.write(
      "INSERT INTO devices(id, grp, enabled) VALUES($1, $2, $3) "
      "ON CONFLICT(id) DO UPDATE SET grp = excluded.grp, enabled = excluded.enabled",
      {device.id, device.group, std::int64_t{device.enabled}});
}

bool Store::removeDevice(const std::string& id) {
  const bool known = device(id).has_value();
  for (const Table& table : tables()) conclude(table, id);
  forget(id);
  db_.write("DELETE FROM tasks WHERE device = $1", {id});
  db_.write("DELETE FROM sessions WHERE device = $1", {id});
  db_.write("DELETE FROM devices WHERE id = $1", {id});
  return known;
}

std::vector<SessionRecord> Store::lastSessions() {
  std::vector<SessionRecord> all;
  for (const SqlRow& row : db_.read("SELECT device, address, began, result, milliseconds, rows_sent, rows_received, "
                                    "bytes_sent, bytes_received, rows_passed_over FROM sessions ORDER BY device"))
    all.push_back({row.text(0), row.text(1), row.text(2), row.text(3), row.number(4), row.number(5), row.number(6),
                   row.number(7), row.number(8), row.number(9)});
  return all;
}

void Store::putSession(const SessionRecord& session) {
  db_.write(
      "INSERT INTO sessions(device, address, began, result, milliseconds, rows_sent, rows_received, bytes_sent, "
      "bytes_received, rows_passed_over) VALUES($1, $2, $3, $4, $5, $6, $7, $8, $9, $10) "
      "ON CONFLICT(device) DO UPDATE SET "
      "address = excluded.address, began = excluded.began, result = excluded.result, "
      "milliseconds = excluded.milliseconds, rows_sent = excluded.rows_sent, "
      "rows_received = excluded.rows_received, bytes_sent = excluded.bytes_sent, "
      "bytes_received = excluded.bytes_received, rows_passed_over = excluded.rows_passed_over",
      {session.device, session.address, session.began, session.result, session.milliseconds, session.rowsSent,
       session.rowsReceived, session.bytesSent, session.bytesReceived, session.rowsPassedOver});
}

std::vector<Table> Store::tables() {
  std::vector<Table> all;
  for (const SqlRow& row :
       db_.read("SELECT name, fields, indexes, key_index, number, type, direction FROM tables ORDER BY number")) {
    Table& table = all.emplace_back(MakeTable(row.text(0), row.text(1), row.text(2), row.text(3)));
    table.number = row.number(4);
    table.type = row.text(5) == "T" ? 'T' : 'P';
    table.direction = static_cast<Direction>(row.number(6));
  }
  return all;
}

std::int64_t Store::catalogueChange() {
  return db_.read("SELECT value FROM counters WHERE name = 'catalogue'").front().number(0);
}

namespace {
constexpr char kCatalogueChanged[] = "UPDATE counters SET value = $1 WHERE name = 'catalogue'";
}

void Store::createTable(const Table& table) {
  const auto number = db_.write("UPDATE counters SET value = value + 1 WHERE name = 'table' RETURNING value", {});
  db_.write(
      "INSERT INTO tables(number, name, type, direction, key_index, fields, indexes) "
      "VALUES($1, $2, $3, $4, $5, $6, $7)",
      {number.front().number(0), table.name, std::string(1, table.type), static_cast<std::int64_t>(table.direction),
       table.keyIndex, table.fieldTexts, table.indexTexts});
  db_.write(kCatalogueChanged, {takeChanges(1)});
}

void Store::dropTable(const Table& table) {
  for (const char* statement :
       {"DELETE FROM records WHERE tbl = $1", "DELETE FROM confirmed WHERE tbl = $1",
        "DELETE FROM begun WHERE tbl = $1", "DELETE FROM held WHERE tbl = $1", "DELETE FROM tables WHERE number = $1"})
    db_.write(statement, {table.number});
  db_.write(kCatalogueChanged, {takeChanges(1)});
}

std::vector<QueuedTask> Store::tasks(const std::string& device) {
  std::vector<QueuedTask> all;
  for (const SqlRow& row :
       db_.read("SELECT number, kind, name, fields FROM tasks WHERE device = $1 ORDER BY number", {device}))
    all.push_back({row.number(0), static_cast<TaskKind>(row.number(1)), row.text(2), row.text(3)});
  return all;
}

void Store::addTask(const std::string& device, TaskKind kind, const std::string& name, const std::string& fields) {
  const auto number = db_.write("UPDATE counters SET value = value + 1 WHERE name = 'task' RETURNING value", {});
  db_.write("INSERT INTO tasks(number, device, kind, name, fields) VALUES($1, $2, $3, $4, $5)",
            {number.front().number(0), device, static_cast<std::int64_t>(kind), name, fields});
}

void Store::taskDone(std::int64_t number) {
  db_.write("DELETE FROM tasks WHERE number = $1", {number});
}

Blob Store::image(const std::string& name) {
  const auto rows = db_.read("SELECT bytes FROM images WHERE name = $1", {name});
  return rows.empty() ? Blob() : rows[0].bytes(0);
}

void Store::putImage(const std::string& name, const Blob& bytes) {
  db_.write("INSERT INTO images(name, bytes) VALUES($1, $2) ON CONFLICT(name) DO UPDATE SET bytes = excluded.bytes",
            {name, bytes});
}

}  // namespace synchost
