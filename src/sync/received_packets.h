// Inside the sync floor: the packets of a 'P' database, one at a time.
#pragma once

#include "storage/databases/tempdb.h"
#include "sync/wire.h"

namespace vorne {

class ReceivedPackets {
 public:
  explicit ReceivedPackets(const std::string& table) : db_(FindTemporary(table, kPacketsReceived)) {}
  explicit ReceivedPackets(DmOpenRef db) : db_(db), isOwner_(false) {}
  ReceivedPackets(const ReceivedPackets&) = delete;
  ReceivedPackets& operator=(const ReceivedPackets&) = delete;
  ~ReceivedPackets() { close(); }

  bool isOpen() const { return db_ != nullptr; }
  DmOpenRef database() const { return db_; }
  void close();

  std::optional<ControlRecord> control() const { return ParseControl(RecordBytes(db_, 0)); }
  bool isComplete() const;
  UInt32 count() const { return DmNumRecords(db_) == 0 ? 0 : DmNumRecords(db_) - 1; }
  /// The records of packet `number` (from 1), which lie in netglb->m_compact until the next call; none when it is
  /// damaged.
  std::optional<std::vector<SentRecord>> content(UInt32 number, std::size_t memoFields) const;

 private:
  DmOpenRef db_;
  bool isOwner_ = true;
};

/// True when a part of the table, or a whole one, has come to its end and is not applied yet.
bool HasPartToApply(const std::string& table);
bool HasWholeToApply(const std::string& table);

}  // namespace vorne
