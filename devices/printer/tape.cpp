// Paper is text: what is longer than a line is cut, control characters are blanks.
#include "printer/tape.h"

#include "common/text.h"

namespace printer {

void Tape::line(std::string_view text) {
  std::string out(text.substr(0, kColumns));
  for (char& c : out) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || (byte >= 0x7F && byte < 0xA0)) c = ' ';
  }
  out.erase(out.find_last_not_of(' ') + 1);
  printed_ += out + "\n";
}

void Tape::centred(std::string_view text) {
  const std::size_t width = text.size() < kColumns ? text.size() : kColumns;
  line(std::string((kColumns - width) / 2, ' ') + std::string(text));
}

void Tape::pair(std::string_view left, std::string_view right) {
  const std::size_t room = right.size() < kColumns ? kColumns - right.size() : 0;
  line(device::padded(left, room) + std::string(right));
}

void Tape::rule(char with) {
  line(std::string(kColumns, with));
}

void Tape::text(std::string_view text, std::size_t lines) {
  while (lines-- > 0 && !text.empty()) {
    std::size_t end = text.find('\n');
    const bool broken = end != std::string_view::npos;
    if (!broken) end = text.size();
    std::size_t length = end;
    if (length > 0 && text[length - 1] == '\r') --length;
    if (length > kColumns) {
      line(text.substr(0, kColumns));
      text.remove_prefix(kColumns);
      continue;
    }
    line(text.substr(0, length));
    text.remove_prefix(end + (broken ? 1 : 0));
  }
}

void Tape::cut() {
  rule('=');
  printed_ += "\n";
}

}  // namespace printer
