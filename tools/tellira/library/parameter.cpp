// Fields separated by 0x01, 0x02 behind the last one, a zero byte, and all of that in Base64 unless it is passed
// plainly.
#include "library/parameter.h"

#include "edge/console.h"
#include "edge/masking.h"
#include "library/base64.h"
#include "text/text.h"

namespace tool {
namespace {

constexpr char kSeparator = '\x01';
constexpr char kClosing = '\x02';

}  // namespace

std::string parameterText(const std::vector<std::string>& fields, bool plain) {
  std::string bytes;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (i != 0) bytes += kSeparator;
    bytes += fields[i];
  }
  bytes += kClosing;
  if (plain) return bytes;
  bytes += '\0';
  return encodeBase64(bytes);
}

Output readOutput(std::string_view text, bool plain) {
  Output output;
  const auto decoded = plain ? std::optional<std::string>(text) : decodeBase64(text);
  output.readable = decoded.has_value();
  std::string_view bytes = decoded ? std::string_view(*decoded) : text;
  // The answer's own end, which was encoded with it.
  if (!bytes.empty() && bytes.back() == '\0') bytes.remove_suffix(1);
  for (const std::string& field : split(bytes, kSeparator)) {
    output.values.push_back(utf8FromLatin1(field));
    output.fields.push_back(maskCards(output.values.back()));
  }
  const std::string whole(decoded.value_or(std::string(text)));
  const std::string masked = maskCards(whole);
  // An encoded text would carry a card number past the masking, so it is encoded anew when there was one.
  output.text = utf8FromLatin1(masked == whole ? std::string(text) : plain || !decoded ? masked : encodeBase64(masked));
  return output;
}

std::string fieldBytes(std::string_view utf8, const std::string& what, bool anything) {
  try {
    std::string bytes = latin1FromUtf8(utf8);
    if (!anything && bytes.find_first_of("\x01\x02") != std::string::npos) {
      throw Failure(kUsage, what +
                                " holds byte 0x01 or 0x02, which separate and close the fields. Leave it out, or "
                                "pass --unchecked to send it as it stands.");
    }
    return bytes;
  } catch (const ConversionError& error) {
    throw Failure(kUsage, what + ": " + error.what() + ". Write it with another character.");
  }
}

}  // namespace tool
