// Records into packets that any device can take.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "sync/wire.h"

namespace synchost {

/// Bytes of a frame's body that devices take, and of a packet's content that they inflate.
inline constexpr std::size_t kLargestFrame = 12000;
using vorne::kLargestContent;

/// Appends a body with its length in front, as the host's frames have it.
void AppendFrame(vorne::Bytes body, std::vector<char>& out);

/// Collects the contents of records; what makes a packet full goes out as a frame.
class Packer {
 public:
  /// @param compress false for devices that cannot inflate
  explicit Packer(bool compress) : compress_(compress) {}

  /// @param content of one record, at most kLargestContent bytes
  void add(vorne::Bytes content, std::vector<char>& out);
  /// What is left becomes a packet.
  void flush(std::vector<char>& out);

 private:
  bool compress_;
  std::vector<char> content_;
  std::uint16_t records_ = 0;
};

}  // namespace synchost
