// What stands in the frames and in the packets of tables, as bytes. Pure functions: nothing here knows a socket or a
// database. docs/sync.md shows the layouts.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace vorne {

using Bytes = std::span<const char>;

/// The byte after the number 1 that begins every request.
enum class Request : std::uint8_t {
  Login = 1,
  Farewell = 2,
  CountTasks = 7,
  FetchTask = 8,
  Table = 11,
  Images = 32,
};

inline constexpr std::uint8_t kDone = 13;  // status of a reply: success
inline constexpr std::uint8_t kEndOfTable = 11;
inline constexpr std::uint8_t kTablePacket = 12;
inline constexpr std::uint8_t kHostError = 255;  // an error text follows
inline constexpr std::uint8_t kPacketKind = 14;
inline constexpr std::uint8_t kNothingMore = 17;  // kind: no more packets, no more images
inline constexpr std::uint8_t kMarksPackDatabase = 250;

inline constexpr int kRequestHeaderSize = 3;
inline constexpr int kReplyBodySkip = 2;  // bytes of a reply's body that mean nothing

/// The three bytes in front of a request's body of `length` bytes.
std::array<std::uint8_t, kRequestHeaderSize> RequestHeader(std::uint16_t length);

/// A received packet of table records, as its frame's body brings it and its 'P' database keeps it: two bytes that mean
/// nothing, status, kind, and the four below.
struct ReceivedPacket {
  std::uint16_t length;  ///< bytes of the whole body
  std::uint16_t records;
  std::uint16_t inflatedSize;  ///< 0: whatever comes out
  Bytes data;                  ///< zlib
};
inline constexpr int kReceivedHead = 10;
/// None for fewer bytes than the head has, or a length that is smaller than it or larger than the body.
std::optional<ReceivedPacket> ParseReceived(Bytes body);
std::vector<char> MakeReceived(const ReceivedPacket& packet);

/// A packet that goes to the host, the body of its frame.
struct SentPacket {
  bool compressed;
  std::uint16_t contentSize;  ///< of the records, before compression
  std::uint16_t records;
  Bytes data;
};
inline constexpr int kSentHead = 11;
std::vector<char> MakeSent(const SentPacket& packet);
/// None for anything that MakeSent does not make.
std::optional<SentPacket> ParseSent(Bytes body);

/// Record 0 of a 'P' database.
struct ControlRecord {
  char type;  ///< 'T' the whole table, any other a part
  bool complete;
  std::uint32_t count;  ///< of records; stored as six digits, so 999999 stands for more
};
inline constexpr int kControlSize = 11;
std::array<char, kControlSize> MakeControl(const ControlRecord& control);
/// None for fewer bytes. Digits that are none count as 0.
std::optional<ControlRecord> ParseControl(Bytes record);

/// Bytes of content that go into a frame of either direction, whatever they are: deflating makes what cannot be made
/// smaller larger by so much. Also the most that one record can have, its lengths and memo texts included.
inline constexpr std::size_t kMostDeflatingAdds = 15;
inline constexpr std::size_t kLargestContent = 12000 - kSentHead - kMostDeflatingAdds;

/// One table record in a packet's content: its bytes as a table stores them, and its memo texts in field order.
struct SentRecord {
  Bytes record;
  std::vector<Bytes> memos;
};
/// The records of a packet's content, which has `memoFields` texts behind each. None unless they are `count` and fill
/// the content exactly.
std::optional<std::vector<SentRecord>> ParseContent(Bytes content, std::size_t count, std::size_t memoFields);
/// Appends one to a content. False when a part is longer than 65535 bytes.
bool AppendToContent(const SentRecord& record, std::vector<char>& content);

/// The number that decimal digits at the start of `text` tell, blanks and a sign of plus in front allowed; at most
/// `largest`, 0 without digits.
std::uint32_t DecimalIn(std::string_view text, std::uint32_t largest);

inline constexpr std::size_t kLongestFileName = 240;  // leaves room for a suffix while the file is written
/// True for what may name a file that the host sends: no path, nothing hidden, no library, no control bytes, 1 to
/// kLongestFileName bytes.
bool IsPlainFileName(std::string_view name);

}  // namespace vorne
