// A table on its way to a device, whole or what the device lacks of it.
#pragma once

#include "synchost/packing.h"
#include "synchost/store.h"

namespace synchost {

/// So much goes out at once; more only when the device has taken it.
inline constexpr std::size_t kMuchOutput = 1 << 16;

class Download {
 public:
  /// One of the three catalogue tables.
  Download(std::size_t place, const std::vector<Table>& tables, std::int64_t catalogueChange, bool compress);
  /// What the device lacks of a table now.
  Download(Store& store, const Table& table, const std::string& device, bool compress);

  const std::string& name() const { return name_; }
  /// Records that are announced; 0 when there is nothing to send, and the device will not ask.
  std::int64_t count() const { return count_; }
  char type() const { return lack_.whole ? 'T' : 'P'; }
  /// The table has no records left while the device may have some: it is to make it anew.
  bool empties() const { return empties_; }

  /// The device has asked for it.
  void begin(Store& store) const;
  /// Adds packets to `out` until that is much, and the table's end behind the last one.
  void stream(Store& store, std::vector<char>& out);
  bool ended() const { return ended_; }
  /// Records that went out.
  std::int64_t sent() const { return sent_; }
  /// The device has shown that it has all of it.
  void confirm(Store& store, const std::string& device) const;

 private:
  std::vector<SentContent> page(Store& store);

  std::string name_, device_;
  const Table* table_ = nullptr;  // null: a catalogue table, whose records are here
  std::vector<SentContent> records_;
  std::int64_t number_;
  Lack lack_;      // shrinks as records go out; the whole of it is confirmed
  Blob afterKey_;  // what went out of a whole table, which is sent by key: no record comes twice or not at all
  std::int64_t count_ = 0, sent_ = 0;
  bool empties_ = false, nothingNew_ = false, ended_ = false;
  Packer packer_;
};

}  // namespace synchost
