// What was there before the sale is not shown: only bytes behind the sizes that the files had when it began.
#include "sale/tape.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "text/text.h"

namespace tool {
namespace {

constexpr std::string_view kPaperFiles[] = {"ecf-tape.txt", "bema-tape.txt"};

std::uint64_t sizeOf(const std::string& file) {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(file, error);
  return error ? 0 : size;
}

void appendLines(std::string_view bytes, std::vector<std::string>& lines) {
  if (bytes.empty()) return;
  if (bytes.back() == '\n') bytes.remove_suffix(1);
  for (std::string& line : split(bytes, '\n')) {
    std::replace_if(
        line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; }, ' ');
    lines.push_back(utf8FromLatin1(line));
  }
}

}  // namespace

Tape::Tape(const std::string& directory) {
  for (const std::string_view name : kPaperFiles) {
    const std::string file = directory + "/" + std::string(name);
    rolls_.push_back({file, sizeOf(file)});
  }
}

std::vector<std::string> Tape::newLines() {
  std::vector<std::string> lines;
  for (Roll& roll : rolls_) {
    const std::uint64_t size = sizeOf(roll.file);
    // A file that got shorter is a new roll.
    std::uint64_t from = size < roll.seen ? 0 : roll.seen;
    roll.seen = size;
    if (size == from) continue;
    // Of a paper that grew by more, only its end is shown.
    from = std::max(from, size - std::min(size, kMostBytes));
    std::ifstream paper(roll.file, std::ios::binary);
    paper.seekg(static_cast<std::streamoff>(from));
    std::string bytes(static_cast<std::size_t>(size - from), '\0');
    paper.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    // It may have been cut since its size was asked.
    bytes.resize(static_cast<std::size_t>(std::max<std::streamsize>(paper.gcount(), 0)));
    appendLines(bytes, lines);
  }
  return lines;
}

}  // namespace tool
