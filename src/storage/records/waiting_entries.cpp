// The order of things, on which a kill at any moment depends: the mark goes into the index's file (MarkBehind), the
// table's record is stored, the entry comes here (InsertEntry, RemoveEntry), all that waits is put in at once (settle),
// the mark goes.
#include "storage/records/waiting_entries.h"

#include <algorithm>
#include <memory>
#include <unordered_map>
#include <utility>

#include "storage/format/description.h"
#include "storage/journal/journal.h"
#include "storage/records/entry_file.h"
#include "storage/records/moves.h"
#include "storage/records/open_databases.h"

namespace vorne {

// What waits for one index. Insertions keep the order in which they came. While there is one of these, the mark in the
// index's file stands: what waits is only in memory, and a process that dies with it leaves an index that the next
// opening makes anew. The mark goes when the last entry is in its place.
struct WaitingEntries {
  std::size_t size = 0;  // of an entry
  // Entries one behind the other, `size` bytes each.
  std::vector<char> inserted, removed;
  std::vector<bool> cancelled;  // insertions that were removed again; as long as the last of them
  UInt32 insertions = 0, removals = 0;
  std::unordered_multimap<std::int32_t, UInt32> byRecord;  // insertions; filled by the first removal
  bool ascending = true;                                   // the insertions came in the order of their keys
  bool announced = false;                                  // a change of the table is under way
  bool behind = false;  // an entry came that the file cannot take: the mark stays, so that the index is made anew

  bool isPending() const { return insertions + removals != 0; }
  Entries insertedEntries() { return {inserted.data(), size, size, insertions}; }
  Entries removedEntries() { return {removed.data(), size, size, removals}; }
  bool isCancelled(UInt32 insertion) const { return insertion < cancelled.size() && cancelled[insertion]; }
};

namespace {

// More than these take their pass over the file at once, so that memory stays bounded and the passes stay few.
constexpr UInt32 kLeastEntriesKept = 65536, kFileShareKept = 4;
constexpr std::size_t kMostBytesKept = 64u << 20;
constexpr std::size_t kBytesBesideEntry = 24;  // for the sorting

// ------------------------------------------------------------------------------------------------------- taking out

// The places of the entries that the removals from `begin` to `end`, which have one key, take out. Of equal entries the
// last one goes, as whoever searches for it would find.
void findRemoved(const Entries& file, const Entries& removed, const std::uint32_t* begin, const std::uint32_t* end,
                 UInt32& from, std::vector<UInt32>& found) {
  const SoughtKey key(removed.key(*begin), removed.keyLength());
  const UInt32 behind = FirstGreater(file, key, from, file.count);
  from = FirstNotSmallerFromBack(file, key, from, behind);
  // The file may hold thousands of entries with this key (a shop, a day): the records wanted are sorted, so that one
  // walk over them finds all.
  std::vector<std::int32_t> records;
  for (const std::uint32_t* number = begin; number != end; ++number) records.push_back(removed.record(*number));
  std::sort(records.begin(), records.end());
  std::vector<bool> taken(records.size());
  const std::size_t first = found.size();
  // Damage may have an entry there twice: each removal takes one of them.
  for (UInt32 place = behind; place > from && found.size() - first < records.size(); --place) {
    const std::int32_t record = file.record(place - 1);
    auto wanted = static_cast<std::size_t>(std::lower_bound(records.begin(), records.end(), record) - records.begin());
    while (wanted < records.size() && records[wanted] == record && taken[wanted]) ++wanted;
    if (wanted == records.size() || records[wanted] != record) continue;
    taken[wanted] = true;
    found.push_back(place - 1);
  }
  std::reverse(found.begin() + static_cast<std::ptrdiff_t>(first), found.end());
  // The keys come in order: nothing for the next one stands before this.
  from = behind;
}

// False when one is not there.
bool takeOut(EntryFile& file, const Entries& removed) {
  const std::vector<std::uint32_t> order = KeyOrder(removed);
  const Entries entries = file.entries();
  std::vector<UInt32> places;
  UInt32 from = 0;
  for (auto begin = order.begin(), end = begin; begin != order.end(); begin = end) {
    while (end != order.end() && std::memcmp(removed.key(*begin), removed.key(*end), removed.keyLength()) == 0) ++end;
    findRemoved(entries, removed, &*begin, &*begin + (end - begin), from, places);
  }
  // From the front: what stands between two of them moves once, to where nothing is needed any more.
  for (std::size_t i = 0; i < places.size(); ++i) {
    const UInt32 next = i + 1 < places.size() ? places[i + 1] : entries.count;
    file.move(places[i] + 1, places[i] - i, next - places[i] - 1);
  }
  file.cut(static_cast<UInt32>(places.size()));
  return places.size() == removed.count;
}

// ------------------------------------------------------------------------------------------------------- putting in

std::vector<std::uint32_t> insertionOrder(WaitingEntries& waiting) {
  std::vector<std::uint32_t> order;
  if (waiting.ascending) {
    // Programs mostly append in the order of a key, and there is nothing to sort.
    order.resize(waiting.insertions);
    for (UInt32 i = 0; i < waiting.insertions; ++i) order[i] = i;
  } else {
    order = KeyOrder(waiting.insertedEntries());
  }
  if (!waiting.cancelled.empty())
    std::erase_if(order, [&](std::uint32_t insertion) { return waiting.isCancelled(insertion); });
  return order;
}

// From the back, so that every entry moves once, and to where nothing is needed any more.
// There is room for them. False when one of them met its equal, or entries that are out of order.
bool putIn(EntryFile& file, const Entries& inserted, const std::vector<std::uint32_t>& order) {
  bool fits = true;
  const auto count = static_cast<UInt32>(order.size());
  const Entries entries = file.entries();
  UInt32 rest = entries.count;
  for (UInt32 left = count; left > 0; --left) {
    const char* entry = inserted.at(order[left - 1]);
    const SoughtKey key(inserted.key(order[left - 1]), inserted.keyLength());
    const UInt32 place = FirstGreaterFromBack(entries, key, 0, rest);
    fits &= place == 0 || std::memcmp(entries.at(place - 1), entry, entries.size) != 0;
    // Behind `rest` stands what has moved already.
    fits &= AreInOrderBeside({entries.first, entries.stride, entries.size, rest}, place);
    file.move(place, place + left, rest - place);
    file.store(place + left - 1, entry);
    rest = place;
  }
  file.extend(count);
  return fits;
}

// Open indexes in which an entry was missing, or stands twice: they are damaged in other places too.
std::vector<DmOpenRef> doubtful;

bool isDoubtful(DmOpenRef index) {
  return std::find(doubtful.begin(), doubtful.end(), index) != doubtful.end();
}

void settle(DmOpenRef index, WaitingEntries& waiting) {
  const ChangeSeenByReaders change;
  EntryFile file(index, waiting.size);
  // The mark stays, and the index is made anew when it is used or opened next.
  if (!file.isSound()) {
    waiting.behind = true;
    return;
  }
  bool fits = true;
  // Removals first: a record that got its old key back has the same entry among both, and it must end up there once.
  if (waiting.removals != 0) fits = takeOut(file, waiting.removedEntries());
  const std::vector<std::uint32_t> order = insertionOrder(waiting);
  if (!order.empty()) {
    if (!file.reserve(static_cast<UInt32>(order.size()))) GrowthFailure(*index->hFile);
    fits &= putIn(file, waiting.insertedEntries(), order);
  }
  if (!fits && !isDoubtful(index)) doubtful.push_back(index);
}

// --------------------------------------------------------------------------------------------------------- the queue

// What takes the entry, null for one that cannot be.
WaitingEntries* queueFor(DmOpenRef index, std::span<const char> entry) {
  if (!IsOpen(index)) return nullptr;
  // Who did not announce the change is late, but the mark still comes before anything waits that a kill would lose.
  if (index->waiting == nullptr) MarkBehind(index);
  WaitingEntries& waiting = *index->waiting;
  waiting.announced = false;
  if (!waiting.isPending()) waiting.size = entry.size();
  waiting.behind |= entry.size() != waiting.size || entry.size() <= sizeof(std::int32_t);
  return waiting.behind ? nullptr : &waiting;
}

void settleWhenMany(DmOpenRef index) {
  const WaitingEntries& waiting = *index->waiting;
  const UInt32 count = waiting.insertions + waiting.removals;
  if (count > std::max(kLeastEntriesKept, index->Head.NumberOfRecords / kFileShareKept) ||
      count * (waiting.size + kBytesBesideEntry) > kMostBytesKept)
    SettleEntries(index);
}

// True when such an entry waited to be put in, which is forgotten. The last of them, as it would stand last.
bool cancelInsertion(WaitingEntries& waiting, std::span<const char> entry) {
  if (waiting.insertions == 0) return false;
  const Entries inserted = waiting.insertedEntries();
  // Made at the first removal: nearly always there is none, and each insertion would pay for it.
  if (waiting.byRecord.empty())
    for (UInt32 i = 0; i < waiting.insertions; ++i)
      if (!waiting.isCancelled(i)) waiting.byRecord.emplace(inserted.record(i), i);
  const auto [begin, end] = waiting.byRecord.equal_range(Load<std::int32_t>(entry.data()));
  auto last = end;
  for (auto at = begin; at != end; ++at)
    if ((last == end || at->second > last->second) &&
        std::memcmp(inserted.at(at->second), entry.data(), waiting.size) == 0)
      last = at;
  if (last == end) return false;
  if (waiting.cancelled.size() <= last->second) waiting.cancelled.resize(last->second + std::size_t{1});
  waiting.cancelled[last->second] = true;
  waiting.byRecord.erase(last);
  return true;
}

}  // namespace

void MarkBehind(DmOpenRef index) {
  if (!IsOpen(index)) return;
  if (index->waiting == nullptr) {
    index->waiting = new WaitingEntries;
    StoreMark(*index, kEntriesWait);
  }
  index->waiting->announced = true;
}

void InsertEntry(DmOpenRef index, std::span<const char> entry) {
  WaitingEntries* waiting = queueFor(index, entry);
  if (waiting == nullptr) return;
  waiting->inserted.insert(waiting->inserted.end(), entry.begin(), entry.end());
  const UInt32 number = waiting->insertions++;
  const Entries inserted = waiting->insertedEntries();
  if (waiting->ascending && number != 0)
    waiting->ascending = std::memcmp(inserted.key(number - 1), inserted.key(number), inserted.keyLength()) <= 0;
  if (!waiting->byRecord.empty()) waiting->byRecord.emplace(inserted.record(number), number);
  settleWhenMany(index);
}

void RemoveEntry(DmOpenRef index, std::span<const char> entry) {
  WaitingEntries* waiting = queueFor(index, entry);
  if (waiting == nullptr || cancelInsertion(*waiting, entry)) return;
  waiting->removed.insert(waiting->removed.end(), entry.begin(), entry.end());
  ++waiting->removals;
  settleWhenMany(index);
}

bool IsBehind(DmOpenRef index) {
  return IsOpen(index) && ((index->waiting != nullptr && index->waiting->behind) || isDoubtful(index));
}

void SettleEntries(DmOpenRef index) {
  if (!IsOpen(index) || index->waiting == nullptr) return;
  // Announced: the table is being changed by a caller of ours, whose entry is still to come.
  const bool staysBehind = index->waiting->announced || index->waiting->behind;
  if (!index->waiting->isPending() && staysBehind) return;
  // Out of the database first: should the file not grow, the way out closes it, and that must not try again.
  std::unique_ptr<WaitingEntries> waiting(std::exchange(index->waiting, nullptr));
  if (waiting->isPending()) settle(index, *waiting);
  if (!waiting->announced && !waiting->behind) return StoreMark(*index, 0);
  index->waiting = new WaitingEntries;
  index->waiting->announced = waiting->announced;
  index->waiting->behind = waiting->behind;
}

void DropEntries(DmOpenRef index) {
  // Who opens it next makes it anew.
  if (std::erase(doubtful, index) != 0) StoreMark(*index, kEntriesWait);
  delete std::exchange(index->waiting, nullptr);
}

void SettleZapped(DmOpenRef index) {
  if (index->waiting == nullptr && !isDoubtful(index)) return;
  DropEntries(index);
  StoreMark(*index, 0);
}

BehindWhile::BehindWhile(DmOpenRef index) : index_(index) {
  StoreMark(*index, kEntriesWait);
}
BehindWhile::~BehindWhile() {
  if (IsOpen(index_) && index_->waiting == nullptr) StoreMark(*index_, 0);
}

void LeaveBehind(DmOpenRef index) {
  if (IsOpen(index)) StoreMark(*index, kEntriesWait);
}

bool RemoveEntriesFrom(DmOpenRef index, std::int32_t first) {
  const Entries entries = EntriesOf(*index);
  if (entries.count != index->Head.NumberOfRecords) return false;
  if (entries.count == 0) return SettleZapped(index), true;
  const ChangeSeenByReaders change;
  DropEntries(index);
  const BehindWhile behind(index);
  EntryFile file(index, entries.size);
  UInt32 kept = 0;
  for (UInt32 from = 0, end = 0; from < entries.count; from = end) {
    const bool stays = entries.record(from) < first;
    for (end = from + 1; end < entries.count && (entries.record(end) < first) == stays;) ++end;
    if (!stays) continue;
    // Whole runs at once: entries of the records that go may stand anywhere between the others.
    if (kept != from) file.move(from, kept, end - from);
    kept += end - from;
  }
  file.cut(entries.count - kept);
  return true;
}

bool ReplaceEntries(DmOpenRef index, std::span<const char> bytes, std::size_t size) {
  if (!IsOpen(index)) return false;
  const auto count = size > sizeof(std::int32_t) ? static_cast<UInt32>(bytes.size() / size) : 0;
  // The room first, so that the old entries stay where there is none for the new ones.
  const std::int64_t end = RecordsBegin(index->Head) + static_cast<std::int64_t>(count) * (size + kRecordHeaderSize);
  if (end > kLargestFile ||
      !EnsureRoom(index->hFile, static_cast<long>(end - std::min<std::int64_t>(end, index->hFile->szmap))))
    return false;
  const ChangeSeenByReaders change;
  DropEntries(index);
  const BehindWhile behind(index);
  EmptyRecords(index);
  if (count == 0) return true;
  const Entries entries{const_cast<char*>(bytes.data()), size, size, count};
  EntryFile file(index, size);
  if (!file.reserve(count)) GrowthFailure(*index->hFile);
  std::size_t place = 0;
  if (AreInOrder(entries))
    for (; place < count; ++place) file.store(place, entries.at(place));
  else
    for (const std::uint32_t number : KeyOrder(entries)) file.store(place++, entries.at(number));
  file.extend(count);
  return true;
}

}  // namespace vorne
