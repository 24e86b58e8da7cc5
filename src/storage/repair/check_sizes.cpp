// A kill leaves a file longer than its header says, never a shorter one.
#include "storage/repair/check_sizes.h"

#include <algorithm>

namespace vorne {

namespace {

void checkFileSize(const FileHeader& header, std::uint64_t size, Findings& findings) {
  const auto bytes = static_cast<unsigned long long>(size);
  if (size > kLargestFile)
    findings.damage(Message("it has %llu bytes, no file can have more than %u", bytes, kLargestFile));
  else if (header.szallocated > size)
    findings.damage(Message("its header says %u bytes, the file has %llu", header.szallocated, bytes));
  else if (header.szallocated < size && header.szallocated != 0)
    findings.note(Message("its header says %u bytes, the file has %llu: it was growing when the process ended",
                          header.szallocated, bytes));
}

}  // namespace

std::optional<std::uint32_t> UsedEnd(const RawFile& file, std::uint32_t least, Findings& findings) {
  if (file.length < kHeaderSize) {
    findings.damage(Message("it has %zu bytes, its header alone takes %u", file.length, kHeaderSize));
    return std::nullopt;
  }
  const FileHeader header = FileHeaderOf(file.bytes());
  checkFileSize(header, file.fileSize, findings);
  // A kill right after a file was made leaves it so: that is no damage.
  if (header.szmap <= kNewFile && header.NumberOfRecords == 0 && least == kHeaderSize) return kHeaderSize;
  if (header.szmap > file.length)
    findings.damage(Message("its header says %u bytes used, the file has %zu", header.szmap, file.length));
  else if (header.szmap < least)
    findings.damage(
        Message("its header says %u bytes used, where %u are taken before anything else", header.szmap, least));
  else
    return header.szmap;
  return std::nullopt;
}

std::size_t RepairedSize(std::uint64_t used, std::uint64_t oldSize) {
  return static_cast<std::size_t>(
      std::max<std::uint64_t>({used, kSmallestFile, std::min<std::uint64_t>(oldSize, kLargestFile)}));
}

}  // namespace vorne
