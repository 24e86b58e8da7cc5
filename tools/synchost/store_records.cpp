// Records: what changed when, who has what, and uploads that wait for their end.
#include <algorithm>

#include "synchost/store.h"

namespace synchost {
namespace {

// The row of a record's key where nothing tells records apart: its number, in the order of bytes.
Blob numberKey(std::int64_t number) {
  Blob key(sizeof number);
  for (std::size_t i = 0; i < key.size(); ++i) key[i] = static_cast<char>(number >> (8 * (key.size() - 1 - i)));
  return key;
}

}  // namespace

std::int64_t Store::takeChanges(std::int64_t count) {
  const auto rows = db_.write("UPDATE counters SET value = value + $1 WHERE name = 'change' RETURNING value", {count});
  return rows.front().number(0) - count + 1;
}

std::int64_t Store::lastChange() {
  return db_.read("SELECT value FROM counters WHERE name = 'change'").front().number(0);
}

std::int64_t Store::lastChange(const Table& table) {
  return db_.read("SELECT MAX(change) FROM records WHERE tbl = $1", {table.number}).front().number(0);
}

std::int64_t Store::confirmed(const std::string& device, std::int64_t table) {
  const auto rows = db_.read("SELECT change FROM confirmed WHERE device = $1 AND tbl = $2", {device, table});
  return rows.empty() ? 0 : rows[0].number(0);
}

void Store::confirm(const std::string& device, std::int64_t table, std::int64_t change) {
  db_.write(
      "INSERT INTO confirmed(device, tbl, change) VALUES($1, $2, $3) "
      "ON CONFLICT(device, tbl) DO UPDATE SET change = excluded.change",
      {device, table, change});
  db_.write("DELETE FROM begun WHERE device = $1 AND tbl = $2", {device, table});
}

void Store::suspect(const std::string& device, std::int64_t table) {
  confirm(device, table, -1);
}

void Store::beginDownload(const std::string& device, std::int64_t table) {
  db_.write("INSERT INTO begun(device, tbl) VALUES($1, $2) ON CONFLICT(device, tbl) DO NOTHING", {device, table});
}

// Without a key a device that asks for the same changes twice would have them twice: it may have got them and only its
// word of it was lost. So such a table is always sent whole, which replaces what is there. A device keeps a whole table
// until it can apply it, and parts of others that it got until it has the rest: its own later changes have to come
// behind those.
Lack Store::lackOf(const std::string& device, const Table& table) {
  Lack lack;
  lack.after = confirmed(device, table.number);
  lack.upTo = lastChange(table);
  lack.whole = lack.after <= 0 || table.type == 'T' || !table.hasKey();
  lack.ownToo =
      lack.whole || !db_.read("SELECT 1 FROM begun WHERE device = $1 AND tbl = $2", {device, table.number}).empty();
  return lack;
}

void Store::forget(const std::string& device, std::int64_t table) {
  db_.write("DELETE FROM confirmed WHERE device = $1 AND tbl = $2", {device, table});
}

void Store::forget(const std::string& device) {
  db_.write("DELETE FROM confirmed WHERE device = $1", {device});
}

std::int64_t Store::countLive(const Table& table) {
  return db_.read("SELECT COUNT(*) FROM records WHERE tbl = $1 AND deleted = 0", {table.number}).front().number(0);
}

std::int64_t Store::countChanged(const Table& table, const std::string& device, const Lack& lack) {
  return db_
      .read("SELECT COUNT(*) FROM records WHERE tbl = $1 AND change > $2 AND change <= $3 AND (origin <> $4 OR $5 = 1)",
            {table.number, lack.after, lack.upTo, device, std::int64_t{lack.ownToo}})
      .front()
      .number(0);
}

std::vector<SentContent> Store::live(const Table& table, const Blob& afterKey, std::int64_t most) {
  std::vector<SentContent> all;
  for (SqlRow& row : db_.read("SELECT key, content FROM records WHERE tbl = $1 AND key > $2 AND deleted = 0 "
                              "ORDER BY key LIMIT $3",
                              {table.number, afterKey, most}))
    all.push_back({row.bytes(0), 0, row.bytes(1)});
  return all;
}

std::vector<SentContent> Store::changed(const Table& table, const std::string& device, const Lack& lack,
                                        std::int64_t most) {
  std::vector<SentContent> all;
  for (const SqlRow& row :
       db_.read("SELECT change, content FROM records WHERE tbl = $1 AND change > $2 AND change <= $3 "
                "AND (origin <> $4 OR $5 = 1) ORDER BY change LIMIT $6",
                {table.number, lack.after, lack.upTo, device, std::int64_t{lack.ownToo}, most}))
    all.push_back({{}, row.number(0), row.bytes(1)});
  return all;
}

void Store::put(const Table& table, const std::string& origin, const std::vector<KeptRecord>& records) {
  std::int64_t change = takeChanges(static_cast<std::int64_t>(records.size()));
  std::vector<Values> rows;
  rows.reserve(records.size());
  for (const KeptRecord& record : records) {
    rows.push_back({table.number, table.hasKey() ? record.key : numberKey(change), change, origin,
                    std::int64_t{record.deleted}, record.content});
    ++change;
  }
  db_.writeMany(
      "INSERT INTO records(tbl, key, change, origin, deleted, content) VALUES($1, $2, $3, $4, $5, $6) "
      "ON CONFLICT(tbl, key) DO UPDATE SET change = excluded.change, origin = excluded.origin, "
      "deleted = excluded.deleted, content = excluded.content WHERE records.content <> excluded.content",
      rows);
}

// The change is one that a deleted record without content stands for, which is never sent.
void Store::clear(const Table& table) {
  db_.write("DELETE FROM records WHERE tbl = $1", {table.number});
  const std::int64_t change = takeChanges(1);
  db_.write("INSERT INTO records(tbl, key, change, origin, deleted, content) VALUES($1, $2, $3, '', 1, $4)",
            {table.number, numberKey(change), change, Blob()});
}

std::int64_t Store::beginUpload() {
  return takeChanges(1);
}

std::vector<Store::HeldUpload> Store::heldUploads(const Table& table, const std::string& device) {
  std::vector<HeldUpload> uploads;
  for (const SqlRow& row :
       db_.read("SELECT upload, COUNT(*) FROM held WHERE device = $1 AND tbl = $2 GROUP BY upload ORDER BY upload",
                {device, table.number}))
    uploads.push_back({row.number(0), row.number(1)});
  return uploads;
}

void Store::hold(const Table& table, const std::string& device, std::int64_t upload,
                 const std::vector<KeptRecord>& records) {
  std::int64_t number = takeChanges(static_cast<std::int64_t>(records.size()));
  std::vector<Values> rows;
  rows.reserve(records.size());
  for (const KeptRecord& record : records) {
    rows.push_back(
        {table.number, device, upload, number, numberKey(number), std::int64_t{record.deleted}, record.content});
    ++number;
  }
  db_.writeMany(
      "INSERT INTO held(tbl, device, upload, place, key, deleted, content) VALUES($1, $2, $3, $4, $5, $6, $7)", rows);
}

bool Store::takeAwaySentAgain(const Table& table, const std::string& device, const HeldUpload& earlier,
                              const HeldUpload& later) {
  // Each of several that look alike has one to match it.
  const std::vector<SqlRow> common = db_.read(
      "SELECT e.place FROM "
      "(SELECT place, content, ROW_NUMBER() OVER (PARTITION BY content ORDER BY place) AS n "
      "FROM held WHERE device = $1 AND tbl = $2 AND upload = $3) e JOIN "
      "(SELECT content, ROW_NUMBER() OVER (PARTITION BY content ORDER BY place) AS n "
      "FROM held WHERE device = $1 AND tbl = $2 AND upload = $4) l ON e.content = l.content AND e.n = l.n",
      {device, table.number, earlier.number, later.number});
  if (2 * static_cast<std::int64_t>(common.size()) < earlier.records) return false;
  std::vector<Values> places;
  places.reserve(common.size());
  for (const SqlRow& row : common) places.push_back({device, table.number, earlier.number, row.number(0)});
  db_.writeMany("DELETE FROM held WHERE device = $1 AND tbl = $2 AND upload = $3 AND place = $4", places);
  return true;
}

void Store::conclude(const Table& table, const std::string& device) {
  if (heldUploads(table, device).empty()) return;
  db_.begin();  // a host that was killed may have had a commit on its way: what it brought is seen from here on
  const std::vector<HeldUpload> uploads = heldUploads(table, device);
  // Few are compared: a device that is cut again and again must not cost the others time. The next one that came as far
  // has what this one had, unless records were changed.
  constexpr int kMostCompared = 4;
  for (auto earlier = uploads.begin(); earlier != uploads.end(); ++earlier) {
    int compared = 0;
    for (auto later = earlier + 1; later != uploads.end() && compared < kMostCompared; ++later) {
      if (later->records < earlier->records) continue;
      if (takeAwaySentAgain(table, device, *earlier, *later)) break;
      ++compared;
    }
  }
  const auto count = db_.read("SELECT COUNT(*) FROM held WHERE device = $1 AND tbl = $2", {device, table.number});
  const std::int64_t first = takeChanges(count.front().number(0));
  db_.write(
      "INSERT INTO records(tbl, key, change, origin, deleted, content) "
      "SELECT tbl, key, CAST($1 AS BIGINT) - 1 + ROW_NUMBER() OVER (ORDER BY upload, place), device, deleted, content "
      "FROM held WHERE device = $2 AND tbl = $3",
      {first, device, table.number});
  db_.write("DELETE FROM held WHERE device = $1 AND tbl = $2", {device, table.number});
}

std::int64_t Store::countHeld(const std::string& device) {
  return db_.read("SELECT COUNT(*) FROM held WHERE device = $1", {device}).front().number(0);
}

}  // namespace synchost
