// A width of 0 stands for what is no terminal: nothing is cut or broken for it.
#include "edge/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include "text/text.h"

namespace tool {

std::size_t terminalWidth(int descriptor) {
  winsize size = {};
  return isatty(descriptor) == 1 && ioctl(descriptor, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

std::string cutTo(std::size_t width, std::string_view utf8) {
  if (columns(utf8) <= width) return std::string(utf8);
  std::size_t at = 0;
  for (std::size_t seen = 0; at < utf8.size(); ++at) {
    // Bytes 80 to BF go on with a character, all others begin one.
    const bool begins = (static_cast<unsigned char>(utf8[at]) & 0xC0) != 0x80;
    if (begins && ++seen == width) break;
  }
  return std::string(utf8.substr(0, at)) + "…";
}

std::string brokenTo(std::size_t width, const std::string& utf8) {
  if (width == 0) return utf8;
  std::string text;
  std::size_t used = 0;
  for (const std::string& word : split(utf8, ' ')) {
    const std::size_t more = columns(word);
    const bool begins = text.empty();
    const bool fits = used + 1 + more <= width;
    const std::size_t indent = more + 2 <= width ? 2 : 0;  // a long name has the line for itself
    if (!begins) text += fits ? " " : "\n" + std::string(indent, ' ');
    used = more + (begins ? 0 : fits ? used + 1 : indent);
    text += word;
  }
  return text;
}

}  // namespace tool
