// Inside the sync floor: how far packets have been put behind the records of a table that has no index. Nothing tells
// their records from others when a process dies in between, so the list "APPLYING" does: name, zero, three numbers.
// The third tells whether the packets are still the same.
#pragma once

#include <optional>
#include <string>

#include "sync/received_packets.h"

namespace vorne {

struct Progress {
  UInt32 packets = 0;  ///< that are in the table as a whole
  UInt32 records = 0;  ///< of the table behind them
};

class ApplyingNote {
 public:
  ApplyingNote(std::string table, const ReceivedPackets& packets);
  ApplyingNote(const ApplyingNote&) = delete;
  ApplyingNote& operator=(const ApplyingNote&) = delete;
  ~ApplyingNote();

  /// What an interrupted run has noted of these packets; none without one.
  std::optional<Progress> read() const;
  /// False when there is no room for it.
  bool store(Progress progress);

  /// Forgets the notes of tables whose packets are gone: those were applied to the end. To be called before new ones
  /// come.
  static void forgetFinished();

 private:
  std::optional<UInt32> find() const;

  std::string table_;
  UInt32 sum_;  // of the first packet
  DmOpenRef list_;
};

}  // namespace vorne
