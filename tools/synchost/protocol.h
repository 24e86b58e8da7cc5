// Requests of devices and replies of the host as bytes; docs/sync.md shows the layouts.
#pragma once

#include <bit>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sync/wire.h"

namespace synchost {

inline constexpr char kProtocol[] = "33";
inline constexpr char kVersion[] = "6.0.0";

/// A device's frame: its body, and the order of bytes in the device's own numbers.
struct Request {
  std::endian order;
  vorne::Bytes body;
};
enum class Framing { kWhole, kNeedsMore, kBroken };
/// Takes the first frame off `bytes`; broken is what no device sends.
Framing TakeRequest(vorne::Bytes& bytes, Request& request);

/// The byte that tells what is asked for; none in a body that has no room for it.
std::optional<vorne::Request> CodeOf(vorne::Bytes body);

struct Login {
  std::string protocol, device, group, version;  ///< UTF-8
  bool isBlank;                                  ///< the device has no tables yet
  bool compress;
};
/// None for a body that ends before its time.
std::optional<Login> ParseLogin(vorne::Bytes body);
/// The number of the task that is asked for; 0 for none.
std::uint32_t TaskNumberIn(vorne::Bytes body);

/// A reply that is built part by part.
class Reply {
 public:
  explicit Reply(std::uint8_t status);
  Reply& byte(std::uint8_t value);
  /// @param utf8 what ISO-8859-1 does not have is left out; ends with a zero byte
  Reply& text(std::string_view utf8);
  Reply& number16(std::uint16_t value, std::endian order);
  Reply& number32(std::uint32_t value, std::endian order);
  Reply& bytes(vorne::Bytes value);
  void appendTo(std::vector<char>& out) const;
  std::size_t size() const { return body_.size(); }

 private:
  std::vector<char> body_;
};

/// Codes of tasks, as task replies carry them.
enum class Operation : std::uint8_t {
  kToDevice = 1,
  kToHost = 2,
  kDelete = 3,
  kInstall = 10,
  kNothing = 30,
  kImages = 40
};

}  // namespace synchost
