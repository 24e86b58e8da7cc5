// Tables of a CODE and a NAME as a store has them.
#pragma once

#include <stdexcept>
#include <string>

#include "storage/format/record_bytes.h"
#include "synchost/scripted_device.h"
#include "synchost/store.h"

inline synchost::Table tableIn(synchost::Store& store, const std::string& name) {
  for (synchost::Table& known : store.tables())
    if (known.name == name) return known;
  throw std::runtime_error(name);
}

inline ScriptedDevice::Rows rowsIn(synchost::Store& store, const std::string& name) {
  ScriptedDevice::Rows rows;
  const synchost::Table of = tableIn(store, name);
  for (const synchost::SentContent& row : store.live(of, {}, 10'000'000)) {
    vorne::ByteReader fields(synchost::RecordIn(of, row.content).record);
    const std::string code(fields.text());
    rows.emplace(code, fields.text());
  }
  return rows;
}

/// Puts them as the host's own; the commit is the caller's.
inline void putRows(synchost::Store& store, const std::string& name, const ScriptedDevice::Rows& rows,
                    bool deleted = false) {
  const synchost::Table to = tableIn(store, name);
  synchost::RecordBuffer buffer(to);
  std::vector<synchost::KeptRecord> records;
  for (const auto& [code, value] : rows) {
    buffer.clear();
    buffer.setText(0, code);
    buffer.setText(1, value);
    vorne::MarkDeleted(to.fields, buffer.bytes(), deleted);
    records.push_back(*buffer.kept({}));
  }
  store.put(to, "", records);
}
