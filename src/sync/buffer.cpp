// The frame under way: netglb->m_buffer from the cursor bIndex on. Requests are written into it, replies read from it.
#include <algorithm>
#include <cstring>

#include "runtime/cursor.h"
#include "runtime/swapped.h"
#include "sync/vornenet.h"

using namespace vorne;

namespace {

void write(std::span<const char> bytes) {
  if (netglb->bIndex < 0 || bytes.size() > static_cast<std::size_t>(kLargestFrame - netglb->bIndex)) {
    netglb->bOverflow = 1;
    return;
  }
  if (!bytes.empty()) std::memcpy(netglb->m_buffer + netglb->bIndex, bytes.data(), bytes.size());
  netglb->bIndex += static_cast<int>(bytes.size());
}

template <class T>
void writeNumber(T number) {
  write({reinterpret_cast<const char*>(&number), sizeof number});
}

// What is left of the frame received last.
std::span<const char> unread() {
  const int end = std::clamp(netglb->m_buflen, 0, kFrameRoom), at = std::clamp(netglb->bIndex, 0, end);
  return {reinterpret_cast<const char*>(netglb->m_buffer) + at, static_cast<std::size_t>(end - at)};
}

// Reads by `take`, and leaves the cursor where that ended.
template <class Take>
auto read(Take take) {
  const std::span<const char> bytes = unread();
  ByteReader reader(bytes);
  const auto value = take(reader);
  netglb->bIndex += static_cast<int>(bytes.size() - reader.rest().size());
  return value;
}

template <class T>
T readNumber() {
  return read([](ByteReader& reader) { return reader.number<T>(std::endian::native); });
}

template <class T>
T hostNumber(const void* p) {
  const T number = Load<T>(p);
  return bswapnum != 0 ? SwapBytes(number) : number;
}

}  // namespace

void Reset() {
  netglb->bIndex = 0;
  netglb->bOverflow = 0;
}
void SetBuffer(void*, int) {
  Reset();
}

void WriteByte(std::uint8_t b) {
  writeNumber(b);
}
void WriteUShort(std::uint16_t v) {
  writeNumber(v);
}
void WriteInt(std::int32_t v) {
  writeNumber(v);
}
void WriteString(const char* s) {
  if (s == nullptr) s = "";
  write({s, std::strlen(s) + 1});
}
void WriteBuffer(const void* bytes, int n) {
  if (bytes != nullptr && n > 0) write({static_cast<const char*>(bytes), static_cast<std::size_t>(n)});
  writeNumber('\0');
}

void ReadByte(std::uint8_t* b) {
  *b = read([](ByteReader& reader) {
    const std::span<const char> taken = reader.take(1);
    return taken.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(taken[0]);
  });
}
std::int16_t ReadShort() {
  return static_cast<std::int16_t>(readNumber<std::uint16_t>());
}
std::int32_t ReadInt() {
  return static_cast<std::int32_t>(readNumber<std::uint32_t>());
}
std::int32_t ReadLong() {
  return ReadInt();
}

void ReadString(char* dst, std::size_t room) {
  if (dst == nullptr || room == 0) return;
  const std::string_view text = read([](ByteReader& reader) { return reader.text(); });
  const std::size_t length = std::min(text.size(), room - 1);
  if (length != 0) std::memcpy(dst, text.data(), length);
  dst[length] = 0;
}

std::uint16_t __GetShort(const void* p) {
  return hostNumber<std::uint16_t>(p);
}
std::uint32_t __GetLong(const void* p) {
  return hostNumber<std::uint32_t>(p);
}
