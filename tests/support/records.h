// Short ways to work with databases, for tests and fuzzers: records as strings.
#pragma once

#include <string>
#include <vector>

#include "storage/vornerdd.h"

inline constexpr UInt32 kCreator = vorne::FourChars("test");

/// Opens the database of that name; with `type`, makes it first when missing.
inline DmOpenRef openStore(const char* name, UInt32 type = 0) {
  LocalID id = DmFindDatabase(0, name);
  if (id == 0 && type != 0 && DmCreateDatabase(0, name, kCreator, type, 0) == errNone) id = DmFindDatabase(0, name);
  return id == 0 ? nullptr : DmOpenDatabase(0, id, 3);
}

/// Sets what is given about a database.
struct Settings {
  const char* name = nullptr;
  const UInt16 *attributes = nullptr, *version = nullptr;
  const LocalID* info = nullptr;
  const UInt32* type = nullptr;
};
inline Err setDatabase(const std::string& name, const Settings& to) {
  return DmSetDatabaseInfo(0, DmFindDatabase(0, name.c_str()), to.name, to.attributes, to.version, nullptr, nullptr,
                           nullptr, nullptr, to.info, nullptr, to.type, nullptr);
}

/// The record's bytes; a marker for one that cannot be read.
inline std::string record(DmOpenRef db, UInt32 index) {
  const MemHandle handle = DmQueryRecord(db, index);
  if (handle == nullptr) return "(none)";
  const auto* data = static_cast<const char*>(MemHandleLock(handle));
  return {data, MemHandleSize(handle)};
}

inline std::vector<std::string> records(DmOpenRef db) {
  std::vector<std::string> all;
  for (UInt32 i = 0; i < DmNumRecords(db); ++i) all.push_back(record(db, i));
  return all;
}

/// Puts a record in at `index`, at the end by default; false when any step fails.
inline bool put(DmOpenRef db, const std::string& bytes, UInt32 index = kAppend) {
  const MemHandle handle = DmNewRecord(db, &index, static_cast<UInt32>(bytes.size()));
  if (handle == nullptr) return false;
  const Err written = DmWrite(MemHandleLock(handle), 0, bytes.data(), static_cast<UInt32>(bytes.size()));
  return DmReleaseRecord(db, index, 0) == errNone && written == errNone;
}

/// Changes a record to `bytes`, resizing it first.
inline bool change(DmOpenRef db, UInt32 index, const std::string& bytes, bool dirty = true) {
  const MemHandle handle = DmGetRecord(db, index);
  if (handle == nullptr || MemHandleResize(handle, static_cast<UInt32>(bytes.size())) != errNone) return false;
  const Err written = DmWrite(MemHandleLock(handle), 0, bytes.data(), static_cast<UInt32>(bytes.size()));
  return DmReleaseRecord(db, index, dirty) == errNone && written == errNone;
}
