// Whatever is wrong with a state file, a line too many, one missing, one changed, the state is not sound, and the
// device refuses to work instead of forgetting half of its day.
#include "common/record.h"

namespace device {

namespace {

constexpr char kHex[] = "0123456789ABCDEF";

/// FNV-1a; it finds accidents, it does not keep anybody out.
std::string checksum(std::string_view text) {
  std::uint32_t hash = 2166136261U;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
  std::string result;
  for (int shift = 28; shift >= 0; shift -= 4) result += kHex[(hash >> shift) & 15U];
  return result;
}

}  // namespace

std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    // '|' separates the parts of a list's row, '%' begins an escape, and no line may be broken.
    if (byte >= 0x20 && c != '%' && c != '|') {
      result += c;
    } else {
      result += '%';
      result += kHex[byte >> 4];
      result += kHex[byte & 15U];
    }
  }
  return result;
}

bool unescape(std::string_view text, std::string& result) {
  result.clear();
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      result += text[i];
      continue;
    }
    if (text.size() - i < 3) return false;
    const std::string_view hex = kHex;
    const std::size_t high = hex.find(text[i + 1]);
    const std::size_t low = hex.find(text[i + 2]);
    if (high >= 16 || low >= 16) return false;
    result += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return true;
}

void StateWriter::line(std::string_view key, std::string_view value) {
  lines_.append(key).append("=").append(value).append("\n");
}

std::string StateWriter::finish(std::string_view format) const {
  const std::string body = std::string(format) + "\n" + lines_;
  return body + "soma=" + checksum(body) + "\n";
}

StateReader::StateReader(std::string_view format, std::string_view content) {
  const std::size_t end = content.rfind("soma=");
  const std::string_view body = content.substr(0, end == std::string_view::npos ? 0 : end);
  const std::string first = std::string(format) + "\n";
  sound_ = body.starts_with(first) && content.substr(body.size()) == "soma=" + checksum(body) + "\n";
  if (!sound_) return;
  for (const std::string& line : split(body.substr(first.size()), '\n')) {
    if (line.empty()) continue;
    const std::size_t equals = line.find('=');
    sound_ = sound_ && equals != std::string::npos;
    if (sound_) sound_ = lines_.emplace(line.substr(0, equals), line.substr(equals + 1)).second;
  }
}

std::string StateReader::take(std::string_view key) {
  const auto found = lines_.find(key);
  if (found == lines_.end()) {
    sound_ = false;
    return {};
  }
  return std::move(lines_.extract(found).mapped());
}

}  // namespace device
