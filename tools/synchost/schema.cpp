#include "synchost/schema.h"

#include <string_view>

namespace synchost {
namespace {

// BYTES and KEYED stand for what the dialect has. `counters` holds the schema's version, the last change number, the
// last table's and task's numbers, and the change that made the catalogue.
constexpr std::string_view kSchema = R"(
CREATE TABLE IF NOT EXISTS counters(name TEXT PRIMARY KEY, value BIGINT NOT NULL) KEYED;
CREATE TABLE IF NOT EXISTS devices(id TEXT PRIMARY KEY, grp TEXT NOT NULL, enabled BIGINT NOT NULL) KEYED;
CREATE TABLE IF NOT EXISTS tables(number BIGINT PRIMARY KEY, name TEXT NOT NULL UNIQUE, type TEXT NOT NULL,
  direction BIGINT NOT NULL, key_index TEXT NOT NULL, fields TEXT NOT NULL, indexes TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS records(tbl BIGINT NOT NULL, key BYTES NOT NULL, change BIGINT NOT NULL,
  origin TEXT NOT NULL, deleted BIGINT NOT NULL, content BYTES NOT NULL, PRIMARY KEY(tbl, key)) KEYED;
CREATE UNIQUE INDEX IF NOT EXISTS records_by_change ON records(tbl, change);
CREATE TABLE IF NOT EXISTS confirmed(device TEXT NOT NULL, tbl BIGINT NOT NULL, change BIGINT NOT NULL,
  PRIMARY KEY(device, tbl)) KEYED;
CREATE TABLE IF NOT EXISTS begun(device TEXT NOT NULL, tbl BIGINT NOT NULL, PRIMARY KEY(device, tbl)) KEYED;
CREATE TABLE IF NOT EXISTS held(tbl BIGINT NOT NULL, device TEXT NOT NULL, upload BIGINT NOT NULL,
  place BIGINT NOT NULL, key BYTES NOT NULL, deleted BIGINT NOT NULL, content BYTES NOT NULL,
  PRIMARY KEY(device, tbl, upload, place)) KEYED;
CREATE TABLE IF NOT EXISTS tasks(number BIGINT PRIMARY KEY, device TEXT NOT NULL, kind BIGINT NOT NULL,
  name TEXT NOT NULL, fields TEXT NOT NULL DEFAULT '');
CREATE INDEX IF NOT EXISTS tasks_by_device ON tasks(device, number);
CREATE TABLE IF NOT EXISTS images(name TEXT PRIMARY KEY, bytes BYTES NOT NULL);
CREATE TABLE IF NOT EXISTS sessions(device TEXT PRIMARY KEY, address TEXT NOT NULL, began TEXT NOT NULL,
  result TEXT NOT NULL, milliseconds BIGINT NOT NULL, rows_sent BIGINT NOT NULL, rows_received BIGINT NOT NULL,
  bytes_sent BIGINT NOT NULL, bytes_received BIGINT NOT NULL, rows_passed_over BIGINT NOT NULL DEFAULT 0) KEYED;
INSERT INTO counters(name, value) VALUES('schema', 2), ('change', 0), ('table', 0), ('task', 0), ('catalogue', 0)
  ON CONFLICT(name) DO NOTHING;
)";

void replaceAll(std::string& text, std::string_view word, std::string_view by) {
  for (std::size_t at = 0; (at = text.find(word, at)) != std::string::npos; at += by.size())
    text.replace(at, word.size(), by);
}

}  // namespace

const char kSchemaFromOne[] =
    "ALTER TABLE tasks ADD COLUMN fields TEXT NOT NULL DEFAULT '';"
    "ALTER TABLE sessions ADD COLUMN rows_passed_over BIGINT NOT NULL DEFAULT 0;"
    "UPDATE counters SET value = 2 WHERE name = 'schema'";

std::string SchemaFor(const Dialect& dialect) {
  std::string text(kSchema);
  replaceAll(text, "BYTES", dialect.bytesType);
  replaceAll(text, "KEYED", dialect.keyed);
  return text;
}

}  // namespace synchost
