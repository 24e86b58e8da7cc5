#include "synchost/packing.h"

#include "sync/compression.h"

namespace synchost {

void AppendFrame(vorne::Bytes body, std::vector<char>& out) {
  out.push_back(static_cast<char>(body.size() >> 8));
  out.push_back(static_cast<char>(body.size() & 0xFF));
  out.insert(out.end(), body.begin(), body.end());
}

void Packer::add(vorne::Bytes content, std::vector<char>& out) {
  if (content_.size() + content.size() > kLargestContent) flush(out);
  content_.insert(content_.end(), content.begin(), content.end());
  ++records_;
}

void Packer::flush(std::vector<char>& out) {
  if (records_ == 0) return;
  const std::vector<char> stream = compress_ ? vorne::Deflate(content_) : content_;
  AppendFrame(vorne::MakeReceived({0, records_, static_cast<std::uint16_t>(content_.size()), stream}), out);
  content_.clear();
  records_ = 0;
}

}  // namespace synchost
