// A table's changes on their way from a device.
#pragma once

#include "synchost/store.h"

namespace synchost {

class Upload {
 public:
  Upload(const Table& table, std::string device) : table_(&table), device_(std::move(device)) {}

  const std::string& name() const { return table_->name; }
  /// Puts a packet's records into the store. False for what is no packet of this table.
  bool take(Store& store, vorne::Bytes body);
  /// The device has gone on to something else: it knows that all of its packets were taken.
  void conclude(Store& store);
  std::int64_t received() const { return received_; }

 private:
  const Table* table_;
  std::string device_;
  std::int64_t number_ = 0;  // of an upload that is held, once it has begun
  std::int64_t received_ = 0;
};

}  // namespace synchost
