#include "sync/wire.h"

#include <algorithm>
#include <bit>
#include <cstdio>

#include "runtime/cursor.h"
#include "runtime/swapped.h"
#include "storage/disk_layout.h"

namespace vorne {

namespace {

constexpr std::uint32_t kMostDigits = 999999;
constexpr char kComplete = '1', kReceiving = '0';
constexpr std::uint8_t kSentStatus = 11, kSentKind = 12, kStored = 13;

void putBig(std::vector<char>& bytes, std::uint16_t number) {
  bytes.push_back(static_cast<char>(number >> 8));
  bytes.push_back(static_cast<char>(number & 0xFF));
}

std::uint8_t byteFrom(ByteReader& reader) {
  const Bytes taken = reader.take(1);
  return taken.empty() ? 0 : static_cast<std::uint8_t>(taken[0]);
}

bool putCounted(Bytes part, std::vector<char>& content) {
  if (part.size() > kLargestRecord) return false;
  putBig(content, static_cast<std::uint16_t>(part.size()));
  content.insert(content.end(), part.begin(), part.end());
  return true;
}

Bytes takeCounted(ByteReader& reader) {
  return reader.take(reader.number<std::uint16_t>(std::endian::big));
}

}  // namespace

std::array<std::uint8_t, kRequestHeaderSize> RequestHeader(std::uint16_t length) {
  std::array<std::uint8_t, kRequestHeaderSize> header = {
      static_cast<std::uint8_t>(std::endian::native == std::endian::little ? 'B' : 'L')};
  Store(&header[1], length);
  return header;
}

std::optional<ReceivedPacket> ParseReceived(Bytes body) {
  ByteReader reader(body);
  reader.take(4);
  ReceivedPacket packet = {};
  packet.length = reader.number<std::uint16_t>(std::endian::big);
  packet.records = reader.number<std::uint16_t>(std::endian::big);
  packet.inflatedSize = reader.number<std::uint16_t>(std::endian::big);
  if (reader.failed() || packet.length < kReceivedHead || packet.length > body.size()) return {};
  packet.data = body.subspan(kReceivedHead, packet.length - kReceivedHead);
  return packet;
}

std::vector<char> MakeReceived(const ReceivedPacket& packet) {
  std::vector<char> body = {1, 0, kTablePacket, kPacketKind};
  putBig(body, static_cast<std::uint16_t>(kReceivedHead + packet.data.size()));
  putBig(body, packet.records);
  putBig(body, packet.inflatedSize);
  body.insert(body.end(), packet.data.begin(), packet.data.end());
  return body;
}

std::vector<char> MakeSent(const SentPacket& packet) {
  std::vector<char> body = {1, 0, kSentStatus, kSentKind};
  putBig(body, static_cast<std::uint16_t>(kSentHead + packet.data.size()));
  body.push_back(static_cast<char>(packet.compressed ? kPacketKind : kStored));
  putBig(body, packet.contentSize);
  putBig(body, packet.records);
  body.insert(body.end(), packet.data.begin(), packet.data.end());
  return body;
}

std::optional<SentPacket> ParseSent(Bytes body) {
  ByteReader reader(body);
  reader.take(2);
  const std::uint8_t status = byteFrom(reader), kind = byteFrom(reader);
  const std::uint16_t length = reader.number<std::uint16_t>(std::endian::big);
  const std::uint8_t form = byteFrom(reader);
  SentPacket packet = {};
  packet.contentSize = reader.number<std::uint16_t>(std::endian::big);
  packet.records = reader.number<std::uint16_t>(std::endian::big);
  if (reader.failed() || status != kSentStatus || kind != kSentKind || length != body.size()) return {};
  if (form != kPacketKind && form != kStored) return {};
  packet.compressed = form == kPacketKind;
  packet.data = reader.rest();
  return packet;
}

std::array<char, kControlSize> MakeControl(const ControlRecord& control) {
  std::array<char, kControlSize> record = {control.type, 0, control.complete ? kComplete : kReceiving, 0};
  std::snprintf(&record[4], kControlSize - 4, "%06u", static_cast<unsigned>(std::min(control.count, kMostDigits)));
  return record;
}

std::optional<ControlRecord> ParseControl(Bytes record) {
  if (record.size() < kControlSize) return {};
  return ControlRecord{record[0], record[2] == kComplete, DecimalIn({&record[4], kControlSize - 4}, kMostDigits)};
}

std::optional<std::vector<SentRecord>> ParseContent(Bytes content, std::size_t count, std::size_t memoFields) {
  // Each record has at least its length and its end mark; a count from outside makes nothing larger than its content.
  if (count > content.size() / 2) return {};
  std::vector<SentRecord> records;
  records.reserve(count);
  ByteReader reader(content);
  for (std::size_t i = 0; i < count; ++i) {
    SentRecord record;
    record.record = takeCounted(reader);
    for (std::size_t memo = 0; memo < memoFields; ++memo) record.memos.push_back(takeCounted(reader));
    if (reader.failed()) return {};
    records.push_back(std::move(record));
  }
  if (!reader.atEnd()) return {};
  return records;
}

bool AppendToContent(const SentRecord& record, std::vector<char>& content) {
  const std::size_t before = content.size();
  bool fits = putCounted(record.record, content);
  for (const Bytes memo : record.memos) fits = fits && putCounted(memo, content);
  if (!fits) content.resize(before);
  return fits;
}

std::uint32_t DecimalIn(std::string_view text, std::uint32_t largest) {
  constexpr std::string_view kBlanks = " \t\n\v\f\r";
  std::size_t at = std::min(text.find_first_not_of(kBlanks), text.size());
  if (at < text.size() && text[at] == '+') ++at;
  std::uint64_t number = 0;
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at)
    number = std::min<std::uint64_t>(number * 10 + static_cast<std::uint64_t>(text[at] - '0'), largest);
  return static_cast<std::uint32_t>(number);
}

bool IsPlainFileName(std::string_view name) {
  if (name.empty() || name.size() > kLongestFileName || name.front() == '.' || name.ends_with(".so")) return false;
  return std::none_of(name.begin(), name.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return c == '/' || c == '\\' || byte < 0x20 || byte == 0x7F;
  });
}

}  // namespace vorne
