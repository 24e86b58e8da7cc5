// zlib streams from and for the host, in one call each. zlib, because the wire's format is its format.
#pragma once

#include <span>
#include <vector>

namespace vorne {

/// Inflates one whole stream into `room`; what follows the stream is passed over. The size; 0 for a stream that is
/// broken, unfinished, empty or larger than the room.
std::size_t Inflate(std::span<const char> stream, std::span<char> room);
/// Deflates at the best level; empty when there is no memory for it.
std::vector<char> Deflate(std::span<const char> bytes);

}  // namespace vorne
