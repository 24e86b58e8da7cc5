// What can be told and saved of the records of a data file that may be damaged in any way. A record is never taken from
// one witness alone: its header, what follows it, the offsets file and the counts in the headers are held against each
// other.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "storage/format/chain.h"
#include "storage/repair/findings.h"

namespace vorne {

/// The slots of an offsets file: where each record begins.
class Slots {
 public:
  Slots() = default;
  /// @param count slots that the file holds, which it has room for
  Slots(FileBytes file, std::uint32_t count) : file_(file), count_(count) {}

  std::uint32_t size() const { return count_; }
  /// 0 past the end.
  std::uint32_t operator[](std::uint32_t index) const {
    return index < count_ ? Load<std::uint32_t>(file_.data() + kHeaderSize + std::size_t{index} * kOffsetSize) : 0;
  }

 private:
  FileBytes file_;
  std::uint32_t count_ = 0;
};

/// A data file, and what its header says as far as it can be so.
struct DataFile {
  FileBytes bytes;  ///< all of it
  std::optional<std::uint32_t> appInfoLen;
  std::optional<std::uint32_t> end;    ///< of what is used
  std::optional<std::uint32_t> count;  ///< of records
  Slots slots;
};

/// A stretch of a chain from which no record can be read.
struct Gap {
  std::size_t before;     ///< number of the records that were saved before it
  std::uint32_t place;    ///< where it begins
  std::uint32_t records;  ///< that are missing; the least that it can be
};

struct Records {
  std::uint32_t appInfoLen = 0;
  std::uint32_t end = 0;                         ///< of what is used
  std::vector<std::uint32_t> places;             ///< of the headers of all records that can be saved
  std::vector<std::uint32_t> unfinished;         ///< of records that were begun and never counted
  std::map<std::uint32_t, RecordHeader> mended;  ///< by place, headers that differ from the file's
  std::map<std::uint32_t, std::string> remade;   ///< by place, records whose bytes differ from the file's
  std::optional<std::string> block;              ///< the application information when it differs from the file's
  std::vector<Gap> gaps;                         ///< of a chain: where records are missing
  std::uint64_t damaged = 0;                     ///< mended headers, and stretches that hold nothing readable
  std::uint64_t lost = 0;
  bool lostMore = false;  ///< nothing counts what was lost; `lost` is the least that it can be
  bool rewrite = false;   ///< the file must be written anew
};

/// Of a 'V' file: a chain.
Records SalvageChain(const DataFile& file, Findings& findings);
/// Lets the records behind a gap keep their numbers, by which others refer to them: empty ones fill it.
void FillGaps(Records& records);
/// Of any other: records of one length.
Records SalvageEqualRecords(const DataFile& file, Findings& findings);

// --------------------------------------------------------------------------------------------- what both go by

/// The header of a record as it ought to be: the file's, its mended form, or that of a record made anew.
RecordHeader SavedHeader(FileBytes bytes, const Records& records, std::uint32_t place);
/// The bytes of a record that can be saved.
std::span<const char> SavedRecord(FileBytes bytes, const Records& records, std::uint32_t place);
/// The header with `space` bytes reserved, marked, and everything else as far as it can be believed.
RecordHeader Mended(RecordHeader header, std::uint32_t space);
/// True when eight zero bytes stand at `place`.
bool IsEmptyHeader(FileBytes bytes, std::uint64_t place);
/// True for a record's header that is marked and has nothing impossible in it, with all it reserves inside `bytes`.
bool IsPlainRecord(FileBytes bytes, std::uint64_t place);
/// What is wrong with the header at `place`.
std::string HeaderWords(FileBytes bytes, std::uint64_t place);
/// The first place from `from` on, before `to`, from which records follow each other: three, or fewer that end exactly
/// at `limit` or before zeros. `to` when there is none.
std::uint64_t FindRecords(FileBytes bytes, std::uint64_t from, std::uint64_t to, std::uint64_t limit);

}  // namespace vorne
