// A table's changes on their way from a device.
#pragma once

#include "synchost/store.h"

namespace synchost {

class Upload {
 public:
  Upload(const Table& table, std::string device) : table_(&table), device_(std::move(device)) {}

  const std::string& name() const { return table_->name; }
  /// Puts a packet's records into the store; of a table that only goes down to the devices they are passed over, and
  /// the host's go to the device anew.
  /// @return empty, or for the log why the packet is refused
  std::string take(Store& store, vorne::Bytes body);
  /// The device has gone on to something else: it knows that all of its packets were taken.
  void conclude(Store& store);
  std::int64_t received() const { return received_; }
  std::int64_t passedOver() const { return passedOver_; }

 private:
  const Table* table_;
  std::string device_;
  std::int64_t number_ = 0;  // of an upload that is held, once it has begun
  std::int64_t received_ = 0, passedOver_ = 0;
};

}  // namespace synchost
