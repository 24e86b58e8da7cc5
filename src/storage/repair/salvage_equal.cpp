// Records of one length lie on a grid, so that a damaged header loses no record as long as the grid is known. It is
// chosen first, among those that any witness tells; then each of its positions is taken, mended where its header is
// wrong.
#include <algorithm>
#include <utility>

#include "storage/repair/salvage.h"

namespace vorne {

namespace {

// Where the first record begins, and the bytes from one to the next; stride 0 when no record can be told.
struct Grid {
  std::uint64_t first = 0;
  std::uint32_t stride = 0;
};

class EqualReader {
 public:
  EqualReader(const DataFile& file, Findings& findings) : file_(file), bytes_(file.bytes), findings_(findings) {}

  Records read() {
    if (bytes_.size() < kHeaderSize) return std::move(records_);
    grid_ = chooseGrid();
    records_.appInfoLen = static_cast<std::uint32_t>(std::min<std::uint64_t>(grid_.first, bytes_.size()) - kHeaderSize);
    if (file_.appInfoLen && *file_.appInfoLen != records_.appInfoLen)
      damage(-1, Message("its header says %u bytes of application information, the records begin behind %u",
                         *file_.appInfoLen, records_.appInfoLen));
    const std::uint64_t total = grid_.stride == 0 ? 0 : positions();
    for (std::uint64_t i = 0; i < total; ++i)
      if (!take(place(i))) break;
    settle();
    return std::move(records_);
  }

 private:
  std::uint64_t place(std::uint64_t index) const { return grid_.first + index * grid_.stride; }
  std::uint32_t space() const { return grid_.stride - kRecordHeaderSize; }

  // ------------------------------------------------------------------------------------------------------ the grid

  static bool isGood(FileBytes bytes, std::uint64_t place, std::uint32_t stride) {
    return IsPlainRecord(bytes, place) && RecordSpan(HeaderAt(bytes, place)) == stride;
  }

  std::uint64_t goodPlaces(const Grid& grid) const {
    std::uint64_t good = 0;
    for (std::uint64_t at = grid.first; BytesBehind(bytes_, at) >= grid.stride; at += grid.stride)
      good += isGood(bytes_, at, grid.stride);
    return good;
  }

  Grid chooseGrid() const {
    const std::uint64_t usual = kHeaderSize + std::uint64_t{file_.appInfoLen.value_or(0)};
    const RecordHeader header = HeaderAt(bytes_, usual);
    const Grid told{usual, header.RecordLen + kRecordHeaderSize};
    if (file_.appInfoLen && isGood(bytes_, usual, told.stride) && leadsOn(told)) return withThoseBefore(told);
    // The header says that there is no record, and nothing speaks against it.
    if (file_.appInfoLen && file_.count.value_or(0) == 0 && file_.end.value_or(0) == usual) return {usual, 0};
    const std::uint64_t found = FindRecords(bytes_, kHeaderSize, bytes_.size(), bytes_.size());
    // Each witness may be the damaged one: the first record's used length, its reserved space, end and count of the
    // header, and sound records found anywhere. The grid on which most sound records lie wins.
    std::vector<Grid> grids{told, {usual, RecordSpan(header)}};
    if (file_.count.value_or(0) != 0 && file_.end > usual)
      grids.push_back({usual, static_cast<std::uint32_t>(std::min<std::uint64_t>((*file_.end - usual) / *file_.count,
                                                                                 kLargestRecord + kRecordHeaderSize))});
    if (found < bytes_.size()) grids.push_back(gridThrough(found, usual));
    return best(grids, usual);
  }

  // The place that the header tells may be that of a later record: when the counted ones reach up to the end from a
  // place before it.
  Grid withThoseBefore(const Grid& told) const {
    const std::uint64_t all = std::uint64_t{file_.count.value_or(0)} * told.stride, end = file_.end.value_or(0);
    if (end < kHeaderSize + all || end - all >= told.first) return told;
    for (std::uint64_t at = end - all; at < end; at += told.stride)
      if (!isGood(bytes_, at, told.stride)) return told;
    return {end - all, told.stride};
  }

  // True when the second record, or the end, stands where the first one says.
  bool leadsOn(const Grid& grid) const {
    const std::uint64_t second = grid.first + grid.stride;
    return file_.count == 1u || file_.end == second || isGood(bytes_, second, grid.stride);
  }

  // The grid on which the sound records found at `found` lie: from `usual` on when that is on it, else from where the
  // counted records would have begun.
  Grid gridThrough(std::uint64_t found, std::uint64_t usual) const {
    const std::uint32_t stride = RecordSpan(HeaderAt(bytes_, found));
    if (file_.appInfoLen && usual <= found && (found - usual) % stride == 0) return {usual, stride};
    const std::uint64_t all = std::uint64_t{file_.count.value_or(0)} * stride;
    if (file_.end && all != 0 && *file_.end >= kHeaderSize + all && *file_.end - all <= found &&
        (found + all - *file_.end) % stride == 0)
      return {*file_.end - all, stride};
    return {found, stride};
  }

  Grid best(const std::vector<Grid>& grids, std::uint64_t usual) const {
    Grid chosen{usual, 0};
    std::uint64_t most = 0;
    for (const Grid& grid : grids) {
      const std::uint64_t good = grid.stride > kRecordHeaderSize ? goodPlaces(grid) : 0;
      if (good > most) chosen = grid;
      most = std::max(most, good);
    }
    // A lone record whose header has one field right is not good anywhere.
    const std::uint64_t end = file_.end.value_or(0);
    if (most == 0 && file_.count == 1u && end > usual + kRecordHeaderSize)
      for (const Grid& grid : grids)
        if (usual + grid.stride == end) chosen = grid;
    return chosen;
  }

  // ------------------------------------------------------------------------------------------------- the positions

  // How many positions of the grid are looked at: those before the end of what is used, and all counted ones that are
  // there when the end is not known, or is before sound ones.
  std::uint64_t positions() const {
    const std::uint64_t room = BytesBehind(bytes_, grid_.first) / grid_.stride;
    const std::uint64_t counted = std::min<std::uint64_t>(file_.count.value_or(0), room);
    if (!file_.end) return file_.count && *file_.count > 0 ? counted : soundRun(0, room);
    const std::uint64_t used = *file_.end > grid_.first ? (*file_.end - grid_.first) / grid_.stride : 0;
    return used < counted ? soundRun(used, counted) : std::min(used, room);
  }

  // The end of the last sound record's position, from `from` on.
  std::uint64_t soundRun(std::uint64_t from, std::uint64_t to) const {
    while (to > from && !isGood(bytes_, place(to - 1), grid_.stride)) --to;
    return to;
  }

  bool isUnfinished(const RecordHeader& header) const {
    return header.RecordLen == space() && header.AllocatedSpace == space() && header.RecordAttr == 0 &&
           header.marca1 == 0 && header.marca2 == 0;
  }

  // Programs take the first record's used length for the way from one record to the next: this one must be right even
  // where its reserved space tells the same.
  bool isSound(std::uint64_t at) const {
    return isGood(bytes_, at, grid_.stride) && (at != grid_.first || HeaderAt(bytes_, at).RecordLen == space());
  }

  // False at the first position behind the counted ones that holds no record.
  bool take(std::uint64_t at) {
    const RecordHeader header = HeaderAt(bytes_, at);
    const auto place32 = static_cast<std::uint32_t>(at);
    if (!isSound(at)) {
      const bool counted = !file_.count || records_.places.size() < *file_.count;
      if (isUnfinished(header) && hasUncounted()) {
        records_.unfinished.push_back(place32);
        return true;
      }
      if (!counted) return false;
      damage(static_cast<std::int64_t>(records_.places.size()) + 1,
             HeaderWords(at) + "; its place follows from its neighbours, its data can be kept");
      // Only where its space is right may its used length be believed; of the first record it is the step.
      const bool sizes = header.AllocatedSpace == space() && at != grid_.first;
      records_.mended.emplace(place32, Mended(sizes ? header : RecordHeader{0, 0, header.RecordAttr, 0, 0}, space()));
    }
    records_.places.push_back(place32);
    return true;
  }

  // More positions are used than records counted, so that one may be a record that was never finished.
  bool hasUncounted() const {
    if (!file_.count || !file_.end || *file_.end <= grid_.first) return false;
    const std::uint64_t used = (*file_.end - grid_.first) / grid_.stride;
    return used > *file_.count + records_.unfinished.size();
  }

  std::string HeaderWords(std::uint64_t at) const {
    const RecordHeader header = HeaderAt(bytes_, at);
    if (IsPlainRecord(bytes_, at))
      return Message("its header says %u bytes used of %u reserved, all records have %u", header.RecordLen,
                     header.AllocatedSpace, space());
    return vorne::HeaderWords(bytes_, at);
  }

  // -------------------------------------------------------------------------------------------------------- counts

  void settle() {
    const std::size_t saved = records_.places.size();
    const std::uint64_t last = saved + records_.unfinished.size();
    records_.end = static_cast<std::uint32_t>(
        std::min<std::uint64_t>(grid_.first + (grid_.stride == 0 ? 0 : last * grid_.stride), bytes_.size()));
    records_.damaged = records_.mended.size();
    if (!records_.unfinished.empty()) {
      findings_.note(Message("records that were begun and not finished: %zu", records_.unfinished.size()));
      records_.rewrite = true;
    }
    settleEnd();
    records_.lostMore = !file_.count;
    if (file_.count) settleCount(*file_.count, saved);
  }

  // The program counts records; what lies behind the last one is nothing to it.
  void settleEnd() {
    if (!file_.end || *file_.end == records_.end) return;
    records_.rewrite = true;
    if (*file_.end < records_.end)
      damage(-1, Message("its header says %u bytes used, its records reach to %u", *file_.end, records_.end));
    else
      findings_.note(Message("the %u bytes behind its last record hold no record", *file_.end - records_.end));
  }

  void settleCount(std::uint32_t counted, std::size_t saved) {
    if (saved == counted) return;
    if (saved == counted + std::size_t{1} && records_.mended.empty()) {
      findings_.note("it was not counted yet when the process ended", static_cast<std::int64_t>(saved));
      records_.rewrite = true;
      return;
    }
    damage(-1, Message("its header counts %u records, %zu are there", counted, saved));
    // With records up to the end that the header tells, and none behind it, only the count is wrong.
    if (counted <= saved || (file_.end == records_.end && !IsPlainRecord(bytes_, records_.end))) return;
    records_.lost = counted - saved;
    records_.damaged += records_.lost;
  }

  void damage(std::int64_t record, std::string words) {
    findings_.damage(std::move(words), record);
    records_.rewrite = true;
  }

  const DataFile& file_;
  const FileBytes bytes_;
  Findings& findings_;
  Grid grid_;
  Records records_;
};

}  // namespace

Records SalvageEqualRecords(const DataFile& file, Findings& findings) {
  return EqualReader(file, findings).read();
}

}  // namespace vorne
