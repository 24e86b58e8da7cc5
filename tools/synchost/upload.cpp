#include "synchost/upload.h"

#include "sync/compression.h"

namespace synchost {
namespace {

/// The records' bytes in a packet, inflated into `room` where they are compressed; empty for a damaged packet.
vorne::Bytes contentOf(const vorne::SentPacket& packet, std::vector<char>& room) {
  if (!packet.compressed) return packet.data.size() == packet.contentSize ? packet.data : vorne::Bytes{};
  room.resize(packet.contentSize);
  room.resize(vorne::Inflate(packet.data, room));
  return room.size() == packet.contentSize ? vorne::Bytes(room) : vorne::Bytes{};
}

}  // namespace

std::string Upload::take(Store& store, vorne::Bytes body) {
  const std::string none = "a packet of " + name() + " that is none";
  const auto packet = vorne::ParseSent(body);
  if (!packet || packet->records == 0) return none;
  std::vector<char> room;
  const auto records = vorne::ParseContent(contentOf(*packet, room), packet->records, table_->memoFields);
  if (!records) return none;
  RecordBuffer buffer(*table_);
  std::vector<KeptRecord> kept;
  for (const vorne::SentRecord& record : *records) {
    auto one = buffer.load(record.record) ? buffer.kept(record.memos) : std::nullopt;
    if (!one) return "a record of " + name() + " that does not fit the table's fields";
    kept.push_back(std::move(*one));
  }
  if (table_->direction == Direction::kDown) {
    if (passedOver_ == 0) store.suspect(device_, table_->number);
    passedOver_ += packet->records;
    return {};
  }
  if (table_->hasKey()) {
    store.put(*table_, device_, kept);
  } else {
    if (number_ == 0) number_ = store.beginUpload();
    store.hold(*table_, device_, number_, kept);
  }
  received_ += packet->records;
  return {};
}

void Upload::conclude(Store& store) {
  if (!table_->hasKey()) store.conclude(*table_, device_);
}

}  // namespace synchost
