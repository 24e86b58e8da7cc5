#include "synchost/protocol.h"

#include "runtime/cursor.h"
#include "synchost/packing.h"
#include "text/text.h"

namespace synchost {
namespace {

constexpr std::size_t kHeader = 3;
constexpr std::size_t kSmallestBody = 3;  // the number 1 and the request's code

std::uint8_t byteFrom(vorne::ByteReader& from) {
  const vorne::Bytes byte = from.take(1);
  return byte.empty() ? 0 : static_cast<std::uint8_t>(byte[0]);
}

std::string textFrom(vorne::ByteReader& from) {
  return tool::utf8FromLatin1(from.text());
}

std::string latin1Of(std::string_view utf8) {
  try {
    return tool::latin1FromUtf8(utf8);
  } catch (const tool::ConversionError& error) {
    return tool::latin1FromUtf8(utf8.substr(0, error.offset));
  }
}

vorne::ByteReader operandsOf(vorne::Bytes body) {
  return vorne::ByteReader(body.subspan(std::min(body.size(), kSmallestBody)));
}

}  // namespace

Framing TakeRequest(vorne::Bytes& bytes, Request& request) {
  vorne::ByteReader from(bytes);
  const auto marker = byteFrom(from);
  if (!bytes.empty() && marker != 'B' && marker != 'L') return Framing::kBroken;
  request.order = marker == 'B' ? std::endian::little : std::endian::big;
  const auto length = from.number<std::uint16_t>(request.order);
  if (from.failed()) return Framing::kNeedsMore;
  if (length < kSmallestBody || length > kLargestFrame) return Framing::kBroken;
  request.body = from.take(length);
  if (from.failed()) return Framing::kNeedsMore;
  bytes = bytes.subspan(kHeader + length);
  return Framing::kWhole;
}

std::optional<vorne::Request> CodeOf(vorne::Bytes body) {
  if (body.size() < kSmallestBody) return {};
  return static_cast<vorne::Request>(body[2]);
}

std::optional<Login> ParseLogin(vorne::Bytes body) {
  vorne::ByteReader from = operandsOf(body);
  Login login;
  from.text();  // the order of bytes, as in the frame's header
  login.protocol = textFrom(from);
  login.device = textFrom(from);
  login.group = textFrom(from);
  from.take(1);  // processor
  login.isBlank = byteFrom(from) == 'T';
  login.version = textFrom(from);
  from.text();  // memory report
  login.compress = from.text() == "ZLIBON";
  if (from.failed()) return {};
  return login;
}

std::uint32_t TaskNumberIn(vorne::Bytes body) {
  return vorne::DecimalIn(operandsOf(body).text(), UINT16_MAX);
}

Reply::Reply(std::uint8_t status) : body_{1, 0, static_cast<char>(status)} {}

Reply& Reply::byte(std::uint8_t value) {
  body_.push_back(static_cast<char>(value));
  return *this;
}

Reply& Reply::text(std::string_view utf8) {
  const std::string latin1 = latin1Of(utf8);
  body_.insert(body_.end(), latin1.begin(), latin1.end());
  return byte(0);
}

Reply& Reply::number16(std::uint16_t value, std::endian order) {
  const auto low = static_cast<std::uint8_t>(value & 0xFF), high = static_cast<std::uint8_t>(value >> 8);
  return order == std::endian::little ? byte(low).byte(high) : byte(high).byte(low);
}

Reply& Reply::number32(std::uint32_t value, std::endian order) {
  const auto low = static_cast<std::uint16_t>(value & 0xFFFF), high = static_cast<std::uint16_t>(value >> 16);
  return order == std::endian::little ? number16(low, order).number16(high, order)
                                      : number16(high, order).number16(low, order);
}

Reply& Reply::bytes(vorne::Bytes value) {
  body_.insert(body_.end(), value.begin(), value.end());
  return *this;
}

void Reply::appendTo(std::vector<char>& out) const {
  AppendFrame(body_, out);
}

}  // namespace synchost
