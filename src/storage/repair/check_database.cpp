// Two halves: what the files are found to be (CheckDatabase), and the bytes of files that are right, made from it (the
// Repaired functions). The first changes nothing; the second works from what the first has found alone.
#include "storage/repair/check_database.h"

#include <algorithm>

#include "storage/repair/check_sizes.h"

namespace vorne {

namespace {

// Bytes behind the end that an opening expects to be zero.
constexpr std::uint32_t kQuietTail = 128;
// A record uses a byte at least, which bounds how many a file can hold.
constexpr std::uint32_t kSmallestSpan = kRecordHeaderSize + 1;

bool isKnownKind(std::uint8_t type) {
  return type == kVariableDatabase || type == kIndexDatabase || type == kFixedDatabase;
}

// The header's kind, unless the presence of an offsets file stands with the catalogue's against it.
DatabaseKind chooseKind(std::uint32_t type, const DatabaseFiles& files, Findings& findings) {
  const FileHeader header = FileHeaderOf(files.data.bytes());
  const DatabaseKind expected = KindOfType(type);
  if (!isKnownKind(header.Type)) {
    if (files.data.length >= kHeaderSize)
      findings.damage(
          Message("its header has no known kind (0x%02X), its type code means '%c'", header.Type, expected));
    return expected;
  }
  if (header.Type == expected) return expected;
  const bool variable = files.offsets.length >= kHeaderSize;
  // Both kinds of one sort, or the offsets file speaks for the header: the file is as its program made it, only the
  // catalogue says another thing.
  if (variable == (header.Type == kVariableDatabase) || variable != (expected == kVariableDatabase)) {
    findings.note(Message("its type code means kind '%c', it is of kind '%c'", expected, header.Type));
    return static_cast<DatabaseKind>(header.Type);
  }
  findings.damage(
      Message("its header says kind '%c', its type code and its offsets file say '%c'", header.Type, expected));
  return expected;
}

// How much of the header can be believed. Without version and kind it is none.
DataFile believedHeader(const DatabaseFiles& files, Findings& findings) {
  DataFile file{files.data.bytes(), {}, {}, {}, {}};
  const FileHeader header = FileHeaderOf(file.bytes);
  if (file.bytes.size() < kHeaderSize) {
    findings.damage(Message("it has %zu bytes, its header alone takes %u", file.bytes.size(), kHeaderSize));
    return file;
  }
  if (header.Version != 2) findings.damage(Message("its header has version %u, not 2", header.Version));
  if (header.Version != 2 && !isKnownKind(header.Type)) return file;
  if (header.AppInfoLen <= file.bytes.size() - kHeaderSize)
    file.appInfoLen = header.AppInfoLen;
  else
    findings.damage(Message("its header says %u bytes of application information, the file has %zu", header.AppInfoLen,
                            file.bytes.size()));
  file.end = UsedEnd(files.data, kHeaderSize + file.appInfoLen.value_or(0), findings);
  // A file that was cut off still counts what it had: by that count the losses are told.
  const std::uint64_t most = std::max<std::uint64_t>(file.bytes.size(), std::min(header.szmap, kLargestFile));
  if (header.NumberOfRecords <= most / kSmallestSpan)
    file.count = header.NumberOfRecords;
  else
    findings.damage(Message("its header counts %u records, it has no room for that many", header.NumberOfRecords));
  return file;
}

// ------------------------------------------------------------------------------------------------- offsets files

Slots slotsOf(const RawFile& offsets, std::uint32_t counted, Findings& findings) {
  if (offsets.length == 0) return {};
  const std::optional<std::uint32_t> end = UsedEnd(offsets, kHeaderSize, findings);
  if (offsets.length < kHeaderSize) return {};
  const auto room = static_cast<std::uint32_t>((offsets.length - kHeaderSize) / kOffsetSize);
  return {offsets.bytes(), end ? (*end - kHeaderSize) / kOffsetSize : std::min(counted, room)};
}

// The slots follow the records, with or without one for each record begun and not finished.
bool slotsFollow(const Slots& slots, const Records& records, Findings& findings) {
  std::uint32_t slot = 0;
  // A slot may stand for a record that was begun: those are passed over on both sides.
  auto unfinished = records.unfinished.begin();
  for (std::size_t i = 0; i < records.places.size(); ++i, ++slot) {
    for (; unfinished != records.unfinished.end() && *unfinished < records.places[i]; ++unfinished)
      if (slots[slot] == *unfinished) ++slot;
    if (slot >= slots.size()) break;
    if (slots[slot] != records.places[i])
      findings.damage(Message("its place is given as %u, the record begins at %u", slots[slot], records.places[i]),
                      static_cast<std::int64_t>(i) + 1);
  }
  return findings.sound();
}

// True when the file must be written anew.
bool checkSlots(const DataFile& file, const Records& records, Findings& findings) {
  const std::size_t there = records.places.size();
  const std::uint32_t slots = file.slots.size();
  if (!slotsFollow(file.slots, records, findings)) return true;
  if (slots == there || (slots > there && slots <= there + records.unfinished.size())) return false;
  // A kill leaves no more than this: a record's slot is the last thing stored, and a file that is made anew begins
  // empty.
  if (slots == 0 || slots + std::size_t{1} == there)
    findings.note(Message("it has %u places for %zu records; the next opening makes it anew", slots, there));
  else
    findings.damage(Message("it has %u places for %zu records", slots, there));
  return true;
}

bool isTailQuiet(FileBytes bytes, std::uint32_t end) {
  const FileBytes tail = bytes.subspan(end, std::min<std::size_t>(kQuietTail, bytes.size() - end));
  return std::all_of(tail.begin(), tail.end(), [](char byte) { return byte == 0; });
}

}  // namespace

DatabaseState CheckDatabase(std::uint32_t type, const DatabaseFiles& files, Findings& data, Findings& offsets) {
  DatabaseState state;
  state.kind = chooseKind(type, files, data);
  DataFile file = believedHeader(files, data);
  const bool variable = state.kind == kVariableDatabase;
  if (variable) file.slots = slotsOf(files.offsets, file.count.value_or(0), offsets);
  state.records = variable ? SalvageChain(file, data) : SalvageEqualRecords(file, data);
  // Memo texts are named by their numbers: one that is lost must keep its place.
  if (type == kTypeMemo) FillGaps(state.records);
  if (!data.sound()) state.records.rewrite = true;
  if (variable) {
    // A data file written anew has all its records elsewhere: the old slots are not even compared then.
    const bool anew = !offsets.sound() || (!state.records.rewrite && checkSlots(file, state.records, offsets));
    state.rewriteOffsets = anew || state.records.rewrite;
  }
  if (!state.records.rewrite && !isTailQuiet(file.bytes, state.records.end))
    data.note("what follows its last record is not empty");
  return state;
}

DatabaseReport ReportOf(const DatabaseHdrType& entry, const DatabaseFiles& files, const DatabaseState& state) {
  DatabaseReport report;
  report.entry = entry;
  report.name = {entry.name, ::strnlen(entry.name, kLongestName)};
  report.kind = state.kind;
  report.appInfoBytes = state.records.appInfoLen;
  report.records = state.records.places.size();
  report.damagedRecords = state.records.damaged;
  report.dataFileBytes = files.data.fileSize;
  report.offsetsFileBytes = state.kind == kVariableDatabase ? files.offsets.fileSize : 0;
  report.smallest = report.records == 0 ? 0 : kLargestRecord;
  for (const std::uint32_t place : state.records.places) {
    const std::uint32_t length = SavedHeader(files.data.bytes(), state.records, place).RecordLen;
    report.smallest = std::min(report.smallest, length);
    report.largest = std::max(report.largest, length);
    report.recordBytes += length;
  }
  return report;
}

// -------------------------------------------------------------------------------------------------- repaired files

FileBytes SavedBlock(const DatabaseFiles& files, const Records& records) {
  if (records.block) return *records.block;
  const FileBytes bytes = files.data.bytes();
  const std::size_t begin = std::min<std::size_t>(kHeaderSize, bytes.size());
  return bytes.subspan(begin, std::min<std::size_t>(records.appInfoLen, bytes.size() - begin));
}

namespace {

std::vector<char> newFile(FileHeader header, std::uint64_t used, std::uint64_t oldSize) {
  std::vector<char> bytes(RepairedSize(used, oldSize));
  header.szallocated = static_cast<std::uint32_t>(bytes.size());
  header.szmap = static_cast<std::uint32_t>(used);
  Store(bytes.data(), header);
  return bytes;
}

}  // namespace

std::vector<char> EmptyDatabase(DatabaseKind kind) {
  return newFile({2, kind, 0, 0, 0, 0, 0}, kHeaderSize, 0);
}

namespace {

// Calls `visit(place, header, new place)` for each record, and returns the end of what is used then.
template <class Visit>
std::uint64_t forEachNewPlace(const DatabaseFiles& files, const Records& records, Visit visit) {
  std::uint64_t place = std::uint64_t{kHeaderSize} + SavedBlock(files, records).size();
  for (const std::uint32_t old : records.places) {
    const RecordHeader header = SavedHeader(files.data.bytes(), records, old);
    visit(old, header, place);
    place += RecordSpan(header);
  }
  return place;
}

}  // namespace

std::vector<char> RepairedData(const DatabaseFiles& files, const DatabaseState& state) {
  const FileBytes old = files.data.bytes();
  const Records& records = state.records;
  const FileBytes block = SavedBlock(files, records);
  const auto count = static_cast<std::uint32_t>(records.places.size()), info = static_cast<std::uint32_t>(block.size());
  const std::uint64_t used = forEachNewPlace(files, records, [](auto...) {});
  std::vector<char> bytes = newFile({2, state.kind, 0, info, count, 0, 0}, used, old.size());
  std::copy(block.begin(), block.end(), bytes.begin() + kHeaderSize);
  forEachNewPlace(files, records, [&](std::uint32_t from, const RecordHeader& header, std::uint64_t to) {
    char* at = bytes.data() + to;
    // With marks and known attributes, also where the old header had neither.
    Store(at, Mended(header, header.AllocatedSpace));
    // What is reserved behind a record goes with it.
    const bool remade = records.remade.contains(from);
    const FileBytes record = remade ? SavedRecord(old, records, from)
                                    : old.subspan(std::size_t{from} + kRecordHeaderSize, header.AllocatedSpace);
    std::copy(record.begin(), record.end(), at + kRecordHeaderSize);
  });
  return bytes;
}

std::vector<char> RepairedOffsets(const DatabaseFiles& files, const DatabaseState& state) {
  const std::uint64_t used = kHeaderSize + std::uint64_t{state.records.places.size()} * kOffsetSize;
  std::vector<char> bytes = newFile({}, used, files.offsets.length);
  char* slot = bytes.data() + kHeaderSize;
  const auto store = [&](std::uint32_t place) {
    Store(slot, place);
    slot += kOffsetSize;
  };
  if (!state.records.rewrite)
    for (const std::uint32_t place : state.records.places) store(place);
  else
    forEachNewPlace(files, state.records, [&](std::uint32_t, const RecordHeader&, std::uint64_t to) {
      store(static_cast<std::uint32_t>(to));
    });
  return bytes;
}

}  // namespace vorne
