// Inside the sync floor: a list of table names in a temporary database, one record a name with its zero.
#pragma once

#include <cstring>
#include <string>

#include "storage/databases/tempdb.h"

namespace vorne {

/// Open as long as it lives. The database stays.
class NameList {
 public:
  /// Made when missing.
  explicit NameList(const char* name) : db_(OpenTemporary(name, kList, IfExists::Keep)) {}
  NameList(const NameList&) = delete;
  NameList& operator=(const NameList&) = delete;
  ~NameList() {
    if (db_ == nullptr) return;
    DmResetRecordStates(db_);
    DmCloseDatabase(db_);
  }

  bool isOpen() const { return db_ != nullptr; }
  UInt32 size() const { return DmNumRecords(db_); }
  /// The name up to its zero; empty past the end.
  std::string at(UInt32 index) const {
    const std::span<const char> bytes = RecordBytes(db_, index);
    return {bytes.data(), bytes.empty() ? 0 : ::strnlen(bytes.data(), bytes.size())};
  }
  bool has(const std::string& name) const {
    for (UInt32 i = 0; i < size(); ++i)
      if (at(i) == name) return true;
    return false;
  }
  bool add(const std::string& name) { return AppendRecord(db_, {name.c_str(), name.size() + 1}); }
  /// True also when it is there already.
  bool addOnce(const std::string& name) { return has(name) || add(name); }
  bool remove(UInt32 index) { return DmRemoveRecord(db_, index) == errNone; }

 private:
  DmOpenRef db_;
};

}  // namespace vorne
