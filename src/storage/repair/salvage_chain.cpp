// Records of any lengths, of which only the one before tells where the next one begins. The reader walks with three
// things in step: the place in the file, the number of the record, and the slot that ought to name that place. A header
// that leads nowhere is mended if one of its two lengths does; otherwise the next sound record is looked for, and what
// lies between is a hole.
#include <algorithm>
#include <utility>

#include "storage/format/description.h"
#include "storage/repair/salvage.h"

namespace vorne {

namespace {

// An application-info block that nothing tells the end of is kept up to this size, the largest that is made.
constexpr std::uint32_t kLargestGuessedInfo = 15360;

class ChainReader {
 public:
  ChainReader(const DataFile& file, Findings& findings) : file_(file), slots_(file.slots), findings_(findings) {
    const std::optional<std::uint32_t> end = chooseEnd();
    openEnded_ = !end.has_value();
    bytes_ = openEnded_ ? file.bytes : file.bytes.first(*end);
  }

  Records read() {
    place_ = firstPlace();
    while (place_ < bytes_.size() && !isFinished()) step();
    records_.end = static_cast<std::uint32_t>(std::min<std::uint64_t>(place_, bytes_.size()));
    if (file_.end && records_.end > *file_.end)
      damage(-1, Message("its header says %u bytes used, its records reach to %u", *file_.end, records_.end));
    settleUnfinished();
    settleCount();
    records_.damaged = records_.mended.size() + holes_;
    return std::move(records_);
  }

 private:
  // The header's word, unless the offsets file and the header's count agree on records that lie behind it, or it has
  // none that can be true and the offsets file has.
  std::optional<std::uint32_t> chooseEnd() const {
    if (slots_.size() == 0) return endByCount();
    const std::uint32_t last = slots_[slots_.size() - 1];
    if (!IsPlainRecord(file_.bytes, last)) return file_.end;
    const std::uint32_t end = last + RecordSpan(HeaderAt(file_.bytes, last));
    if (file_.end) return file_.count == slots_.size() ? std::max(end, *file_.end) : file_.end;
    return !file_.count || slots_.size() >= *file_.count ? std::optional(end) : std::nullopt;
  }

  // Without an offsets file all counted records, marked one behind the other, speak against an end before the last one.
  std::optional<std::uint32_t> endByCount() const {
    if (!file_.end || !file_.count || !file_.appInfoLen) return file_.end;
    std::uint64_t place = FirstRecord(file_.bytes, *file_.appInfoLen);
    for (std::uint32_t i = 0; i < *file_.count; ++i) {
      if (!IsPlainRecord(file_.bytes, place)) return file_.end;
      place += RecordSpan(HeaderAt(file_.bytes, place));
    }
    return std::max(static_cast<std::uint32_t>(place), *file_.end);
  }

  // --------------------------------------------------------------------------------------------- the first record

  std::uint64_t firstPlace() {
    const std::uint64_t usual = kHeaderSize + std::uint64_t{file_.appInfoLen.value_or(0)};
    if (file_.appInfoLen) {
      records_.appInfoLen = *file_.appInfoLen;
      if (slotsDeny(usual)) return correctedFirst(slots_[0]);
      if (file_.count == 0u && ReadDescription(blockUpTo(usual))) return usual;
      if (isStart(usual)) return usual;
      const std::uint64_t further = FirstRecord(bytes_, *file_.appInfoLen);
      if (further != usual && isStart(further)) return further;
    }
    if (IsPlainRecord(bytes_, slots_[0]) && slots_[0] >= kHeaderSize) return correctedFirst(slots_[0]);
    // Records that went with the header keep their numbers.
    if (slotsTellFirst()) return slots_[0] == usual && file_.appInfoLen ? usual : correctedFirst(slots_[0]);
    const std::uint64_t found = FindRecords(bytes_, kHeaderSize, bytes_.size(), bytes_.size());
    if (!file_.appInfoLen) return found < bytes_.size() ? correctedFirst(found) : behindGuessedInfo();
    // Behind the place that the header tells, records may also be missing: only all of them stand against it.
    return found < usual || chainLength(found) == file_.count ? correctedFirst(found) : usual;
  }

  // True when all counted records stand where the offsets file tells, from another place on: a record behind the place
  // that the header tells is not the first one then. Eight bytes more may belong to nobody, unless they are needed to
  // read the block.
  bool slotsDeny(std::uint64_t usual) const {
    const std::uint32_t first = slots_[0];
    if (first == usual || first < kHeaderSize || file_.count != slots_.size()) return false;
    if (first == usual + kRecordHeaderSize && !IsRecord(bytes_, usual))
      return !ReadDescription(blockUpTo(usual)) && ReadDescription(blockUpTo(first));
    return chainLength(first) == *file_.count;
  }

  FileBytes blockUpTo(std::uint64_t end) const {
    return bytes_.subspan(kHeaderSize,
                          static_cast<std::size_t>(std::min<std::uint64_t>(end, bytes_.size())) - kHeaderSize);
  }

  // True for places in order, from the first one on to one that has a record.
  bool slotsTellFirst() const {
    if (slots_[0] < kHeaderSize) return false;
    for (std::uint32_t i = 0; i < slots_.size(); ++i) {
      if (i > 0 && slots_[i] <= std::uint64_t{slots_[i - 1]} + kRecordHeaderSize) return false;
      if (IsPlainRecord(bytes_, slots_[i])) return true;
    }
    return false;
  }

  std::uint64_t chainLength(std::uint64_t place) const {
    std::uint64_t length = 0;
    for (; IsPlainRecord(bytes_, place); ++length) place += RecordSpan(HeaderAt(bytes_, place));
    return length;
  }

  std::uint64_t correctedFirst(std::uint64_t place) {
    records_.appInfoLen = static_cast<std::uint32_t>(place - kHeaderSize);
    if (file_.appInfoLen)
      damage(-1, Message("its header says %u bytes of application information, the records begin behind %u",
                         *file_.appInfoLen, records_.appInfoLen));
    return place;
  }

  std::uint64_t behindGuessedInfo() {
    std::uint64_t used = bytes_.size();
    if (file_.end && file_.count == 0u) {
      records_.appInfoLen = *file_.end - kHeaderSize;
      return used;
    }
    while (used > kHeaderSize && bytes_[static_cast<std::size_t>(used - 1)] == 0) --used;
    if (used > kHeaderSize && used - kHeaderSize <= kLargestGuessedInfo)
      records_.appInfoLen = static_cast<std::uint32_t>(used - kHeaderSize);
    return bytes_.size();
  }

  // -------------------------------------------------------------------------------------------------- the chain

  // A place where the chain can go on or end.
  bool isStart(std::uint64_t place) const {
    return place == bytes_.size() || IsRecord(bytes_, place) || IsAbandoned(bytes_, place) ||
           (openEnded_ && IsEmptyHeader(bytes_, place));
  }

  // Without a known end, the count is what keeps remains of removed records from coming back.
  bool isFinished() const {
    return openEnded_ && file_.count && *file_.count > 0 && records_.places.size() >= *file_.count;
  }

  // What the offsets file says to follow the record at place_; 0 when it does not know.
  std::uint32_t nextSlot() const { return slots_[slot_] == place_ ? slots_[slot_ + 1] : 0; }

  void step() {
    // Asked first: what was begun and never finished may pass for a record of an early version.
    if (IsAbandoned(bytes_, place_)) return skipUnfinished();
    if (isSound()) return take(HeaderAt(bytes_, place_));
    if (const std::optional<RecordHeader> mended = mend()) {
      damage(number_, HeaderWords(bytes_, place_) + "; its data can be kept");
      records_.mended.emplace(place_, *mended);
      return take(*mended);
    }
    skipHole();
  }

  void take(const RecordHeader& header) {
    records_.places.push_back(static_cast<std::uint32_t>(place_));
    place_ += RecordSpan(header);
    ++slot_;
    ++number_;
  }

  void skipUnfinished() {
    records_.unfinished.push_back(static_cast<std::uint32_t>(place_));
    if (slots_[slot_] == place_) ++slot_;
    place_ += RecordSpan(HeaderAt(bytes_, place_));
  }

  bool isSound() const {
    const RecordHeader header = HeaderAt(bytes_, place_);
    if (!IsRecord(bytes_, place_) || header.RecordLen == 0 || (header.RecordAttr & ~kKnownAttributes) != 0)
      return false;
    const std::uint64_t next = place_ + RecordSpan(header);
    if (nextSlot() == next) return true;
    if (containedRecord(header) != 0) return false;
    // Without a record behind this one, either the reserved size or the next header is wrong.
    const std::uint64_t data = place_ + kRecordHeaderSize, shorter = data + header.RecordLen;
    return isStart(next) ||
           ((shorter == next || !isStart(shorter)) && FindRecords(bytes_, data, next, bytes_.size()) == next);
  }

  // A record inside the one at place_: the one that the offsets file has next, or those that follow its used bytes up
  // to where its reserved ones end. 0 for none.
  std::uint64_t containedRecord(const RecordHeader& header) const {
    const std::uint64_t next = place_ + RecordSpan(header);
    const std::uint64_t shorter = place_ + kRecordHeaderSize + header.RecordLen;
    const std::uint64_t slot = nextSlot();
    if (slot > place_ && slot < next && IsPlainRecord(bytes_, slot) && (slot == shorter || !isStart(next))) return slot;
    std::uint64_t inside = shorter;
    while (inside < next && IsPlainRecord(bytes_, inside)) inside += RecordSpan(HeaderAt(bytes_, inside));
    return shorter < next && inside == next ? shorter : 0;
  }

  // The header with one field put right, when the other one leads to where a record begins.
  std::optional<RecordHeader> mend() const {
    const RecordHeader header = HeaderAt(bytes_, place_);
    const std::uint64_t contained = containedRecord(header), slot = nextSlot();
    for (const std::uint32_t space : {header.AllocatedSpace, header.RecordLen}) {
      const std::uint64_t next = place_ + kRecordHeaderSize + space;
      if (space == 0 || next > bytes_.size() || (contained != 0 && next > contained)) continue;
      if (next == slot) return Mended(header, space);
      // Chance may lead to a later record.
      if (isStart(next) && FindRecords(bytes_, place_ + kRecordHeaderSize, next, next) == next)
        return Mended(header, space);
    }
    return std::nullopt;
  }

  // --------------------------------------------------------------------------------------------------- stretches

  // Records that slots point at, by place; made when first asked for, since sound files never need it.
  std::uint32_t indexBehind(std::uint64_t place) {
    if (!known_) {
      known_.emplace();
      for (std::uint32_t i = 0; i < slots_.size(); ++i)
        if (IsPlainRecord(bytes_, slots_[i])) known_->emplace_back(slots_[i], i);
      std::sort(known_->begin(), known_->end());
    }
    const auto found =
        std::upper_bound(known_->begin(), known_->end(), std::pair(static_cast<std::uint32_t>(place), ~0u));
    return found == known_->end() ? slots_.size() : found->second;
  }

  void skipHole() {
    const std::uint32_t index = indexBehind(place_);
    std::uint64_t target = index < slots_.size() ? slots_[index] : bytes_.size();
    // Only between neighbours in the offsets file can no other record lie. Else what it passes over is searched.
    const bool neighbour = index < slots_.size() && target == nextSlot();
    std::uint32_t slot = index;
    if (!neighbour) {
      const std::uint64_t found = FindRecords(bytes_, place_ + 1, target, target);
      if (found < target) slot = slot_ + 1;
      target = found;
    }
    if (target == bytes_.size()) return endAtHole();
    damage(number_, HeaderWords(bytes_, place_) +
                        Message("; nothing can be read from the %llu bytes up to the next sound record",
                                static_cast<unsigned long long>(target - place_)));
    ++holes_;
    const std::uint32_t missing = std::max<std::uint32_t>(slot, slot_ + 1) - slot_;
    addGap(missing);
    // Lost records keep their numbers in what is told of the ones behind them.
    number_ += missing;
    slot_ = slot;
    place_ = target;
  }

  void endAtHole() {
    const auto left = static_cast<unsigned long long>(bytes_.size() - place_);
    if (file_.count == records_.places.size() && !openEnded_)
      damage(-1, Message("the %llu bytes behind its last record hold no record", left));
    else if (!openEnded_ || !isZeroFrom(place_)) {
      damage(number_,
             HeaderWords(bytes_, place_) + Message("; nothing can be read from the %llu bytes up to the end", left));
      ++holes_;
      addGap(1);
    }
    // What is behind is no part of the file any more: the end is here.
    bytes_ = bytes_.first(static_cast<std::size_t>(place_));
  }

  void addGap(std::uint32_t missing) {
    records_.gaps.push_back({records_.places.size(), static_cast<std::uint32_t>(place_), missing});
  }

  bool isZeroFrom(std::uint64_t place) const {
    return std::all_of(bytes_.begin() + static_cast<std::ptrdiff_t>(place), bytes_.end(),
                       [](char c) { return c == 0; });
  }

  // ------------------------------------------------------------------------------------------------------ counts

  void settleUnfinished() {
    std::vector<std::uint32_t>& places = records_.places;
    std::vector<std::uint32_t>& unfinished = records_.unfinished;
    if (unfinished.empty()) return;
    // Records of early versions look unfinished too, except for their deletion mark.
    if (!file_.count || *file_.count > places.size())
      // The ones to be restored go to the back, each part in its order.
      restore(std::stable_partition(unfinished.begin(), unfinished.end(),
                                    [this](std::uint32_t place) { return !IsRecord(bytes_, place); }));
    // Whatever was counted had been finished before: then it is the marks that damage took.
    if (holes_ == 0 && file_.count == places.size() + unfinished.size()) {
      for (const std::uint32_t place : unfinished) {
        const RecordHeader header = HeaderAt(bytes_, place);
        damage(std::lower_bound(places.begin(), places.end(), place) - places.begin() + 1,
               HeaderWords(bytes_, place) + "; its data can be kept");
        records_.mended.emplace(place, Mended(header, header.AllocatedSpace));
      }
      restore(unfinished.begin());
    }
    if (unfinished.empty()) return;
    findings_.note(Message("records that were begun and not finished: %zu", unfinished.size()));
    records_.rewrite = true;
  }

  // Counts the unfinished records from `first` on among the finished ones.
  void restore(std::vector<std::uint32_t>::iterator first) {
    std::vector<std::uint32_t>& places = records_.places;
    const auto middle = static_cast<std::ptrdiff_t>(places.size());
    places.insert(places.end(), first, records_.unfinished.end());
    std::inplace_merge(places.begin(), places.begin() + middle, places.end());
    records_.unfinished.erase(first, records_.unfinished.end());
  }

  void settleCount() {
    const std::size_t saved = records_.places.size();
    if (holes_ == 0 && file_.count && saved == *file_.count + std::size_t{1} && slots_.size() < saved) {
      findings_.note("it was not counted yet when the process ended", static_cast<std::int64_t>(saved));
      records_.rewrite = true;
    } else if (holes_ == 0 && file_.count && saved != *file_.count) {
      damage(-1, Message("its header counts %u records, %zu are there", *file_.count, saved));
    }
    const std::uint64_t expected = expectedRecords();
    records_.lost = expected > saved ? expected - saved : 0;
    if (file_.count || slots_.size() != 0) return;
    records_.lost = holes_;
    records_.lostMore = true;
  }

  // How many records there have been. The walk tells it, too: those that it saved, and at least one in each hole.
  std::uint64_t expectedRecords() const {
    const std::uint64_t saved = records_.places.size(), slots = slots_.size();
    std::uint64_t walked = saved;
    for (const Gap& gap : records_.gaps) walked += gap.records;
    if (holes_ == 0) return slots == saved || endsTheFile() ? saved : file_.count.value_or(slots);
    // Two of the witnesses are right against the third.
    if (slots == walked) return walked;
    if (file_.count == slots) return slots;
    return std::max({std::uint64_t{file_.count.value_or(0)}, slots, file_.count == saved ? saved : walked});
  }

  // True when the records reach to the end that the header tells, and no other one follows: then only the count is
  // wrong.
  bool endsTheFile() const {
    return slots_.size() == 0 && file_.end == records_.end && !IsPlainRecord(file_.bytes, records_.end);
  }

  void damage(std::int64_t record, std::string words) {
    findings_.damage(std::move(words), record);
    records_.rewrite = true;
  }

  const DataFile& file_;
  const Slots& slots_;
  Findings& findings_;
  FileBytes bytes_;
  bool openEnded_ = false;
  std::uint64_t place_ = 0;
  std::uint32_t slot_ = 0;   // of the record at place_, should the offsets file be right
  std::int64_t number_ = 1;  // of the record at place_
  std::uint64_t holes_ = 0;
  std::optional<std::vector<std::pair<std::uint32_t, std::uint32_t>>> known_;
  Records records_;
};

}  // namespace

void FillGaps(Records& records) {
  if (records.gaps.empty()) return;
  std::uint64_t known = 0;
  for (const Gap& gap : records.gaps) known += gap.records;
  // What the counts tell beyond the gaps' own numbers is missing in the last one.
  if (records.lost > known) records.gaps.back().records += static_cast<std::uint32_t>(records.lost - known);
  // From the last gap on: what is put in moves none of the places where the earlier ones are filled.
  for (auto gap = records.gaps.rbegin(); gap != records.gaps.rend(); ++gap) {
    std::vector<std::uint32_t> empty;
    for (std::uint32_t i = 0; i < gap->records; ++i) {
      empty.push_back(gap->place + i);
      // An empty text, at a made-up place inside the gap: places only have to differ and to be in order.
      records.remade.emplace(empty.back(), std::string(1, '\0'));
    }
    const std::size_t before = std::min(gap->before, records.places.size());
    records.places.insert(records.places.begin() + static_cast<std::ptrdiff_t>(before), empty.begin(), empty.end());
  }
}

Records SalvageChain(const DataFile& file, Findings& findings) {
  return ChainReader(file, findings).read();
}

}  // namespace vorne
