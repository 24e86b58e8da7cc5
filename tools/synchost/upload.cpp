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

bool Upload::take(Store& store, vorne::Bytes body) {
  const auto packet = vorne::ParseSent(body);
  if (!packet || packet->records == 0) return false;
  std::vector<char> room;
  const auto records = vorne::ParseContent(contentOf(*packet, room), packet->records, table_->memoFields);
  if (!records) return false;
  RecordBuffer buffer(*table_);
  std::vector<KeptRecord> kept;
  for (const vorne::SentRecord& record : *records) {
    buffer.load(record.record);
    auto one = buffer.kept(record.memos);
    if (!one) return false;
    kept.push_back(std::move(*one));
  }
  if (table_->hasKey()) {
    store.put(*table_, device_, kept);
  } else {
    if (number_ == 0) number_ = store.beginUpload();
    store.hold(*table_, device_, number_, kept);
  }
  received_ += packet->records;
  return true;
}

void Upload::conclude(Store& store) {
  if (!table_->hasKey()) store.conclude(*table_, device_);
}

}  // namespace synchost
