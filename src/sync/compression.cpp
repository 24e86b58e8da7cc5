#include "sync/compression.h"

#include <zlib.h>

namespace vorne {

std::size_t Inflate(std::span<const char> stream, std::span<char> room) {
  z_stream z = {};
  if (::inflateInit(&z) != Z_OK) return 0;
  z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(stream.data()));
  z.avail_in = static_cast<uInt>(stream.size());
  z.next_out = reinterpret_cast<Bytef*>(room.data());
  z.avail_out = static_cast<uInt>(room.size());
  const bool whole = ::inflate(&z, Z_FINISH) == Z_STREAM_END;
  ::inflateEnd(&z);
  return whole ? z.total_out : 0;
}

std::vector<char> Deflate(std::span<const char> bytes) {
  uLongf size = ::compressBound(static_cast<uLong>(bytes.size()));
  std::vector<char> stream(size);
  const int result =
      ::compress2(reinterpret_cast<Bytef*>(stream.data()), &size, reinterpret_cast<const Bytef*>(bytes.data()),
                  static_cast<uLong>(bytes.size()), Z_BEST_COMPRESSION);
  stream.resize(result == Z_OK ? size : 0);
  return stream;
}

}  // namespace vorne
