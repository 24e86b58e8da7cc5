// The catalogue is one mapped file of slots of equal size behind a header; a slot whose first four bytes are zero is
// free. Entries never move, so that a place in the file names a database as long as it is there.
#include "storage/databases/catalog.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <string>
#include <unordered_map>

#include "storage/files/mapped_file.h"
#include "storage/format/names.h"
#include "storage/journal/journal.h"

pmymap rwCatalog = nullptr;

namespace vorne {

namespace {

UInt32 catalogEnd() {
  return static_cast<UInt32>(std::min(rwCatalog->szmap, rwCatalog->szallocated));
}

bool isFree(UInt32 place) {
  return Load<UInt32>(rwCatalog->mapmem + place) == 0;
}

bool isNamed(UInt32 place, const std::string& folded) {
  return place + kCatalogEntrySize <= catalogEnd() && !isFree(place) && FoldedName(CatalogEntryName(place)) == folded;
}

// Where each name and each free slot is, so that no search reads the whole catalogue. Another process may have changed
// entries: what is found is looked at again before it is believed, and read anew when it is not so.
class Names {
 public:
  void forget() {
    end_ = 0;
    ++generation_;
  }
  UInt32 generation() const { return generation_; }

  UInt32 find(const std::string& folded) {
    refresh();
    auto found = places_.find(folded);
    if (found != places_.end() && !isNamed(found->second, folded)) {
      read();
      found = places_.find(folded);
    }
    return found == places_.end() ? 0 : found->second;
  }

  UInt32 firstFree() {
    refresh();
    return free_.empty() ? 0 : *free_.begin();
  }

  // emplace, not assignment: of two entries with one name, which damage can leave, the first one counts.
  void add(UInt32 place) {
    free_.erase(place);
    places_.emplace(FoldedName(CatalogEntryName(place)), place);
    end_ = catalogEnd();
  }

  // Called while the entry still has its old name.
  void remove(UInt32 place) {
    const auto found = places_.find(FoldedName(CatalogEntryName(place)));
    if (found != places_.end() && found->second == place) places_.erase(found);
  }

  void setFree(UInt32 place) { free_.insert(place); }

 private:
  // New entries take the first free slot or lengthen the catalogue, so this notices all of them.
  void refresh() {
    if (end_ != catalogEnd() || (!free_.empty() && !isFree(*free_.begin()))) read();
  }

  void read() {
    places_.clear();
    free_.clear();
    end_ = catalogEnd();
    for (UInt32 place = kHeaderSize; end_ >= kCatalogEntrySize && place <= end_ - kCatalogEntrySize;
         place += kCatalogEntrySize) {
      if (isFree(place))
        free_.insert(place);
      else
        places_.emplace(FoldedName(CatalogEntryName(place)), place);
    }
  }

  std::unordered_map<std::string, UInt32> places_;
  // In order: the first free slot is taken, as by every program that shares the catalogue.
  std::set<UInt32> free_;
  // What of the catalogue has been read, 0 nothing; the generation rises when places may name other databases.
  UInt32 end_ = 0, generation_ = 0;
};
Names names;

}  // namespace

void FlushCatalog() {
  FlushViewOfFile(rwCatalog->mapmem, catalogEnd());
}

void ForgetCatalogNames() {
  names.forget();
}

UInt32 CatalogGeneration() {
  return names.generation();
}

UInt32 CatalogEntryOf(std::string_view name) {
  return names.find(FoldedName(name));
}

DatabaseHdrType CatalogEntryAt(UInt32 place) {
  return Load<DatabaseHdrType>(rwCatalog->mapmem + place);
}

std::string_view CatalogEntryName(UInt32 place) {
  const char* name = rwCatalog->mapmem + place;
  return {name, ::strnlen(name, kLongestName)};
}

void AddCatalogEntry(const DatabaseHdrType& entry) {
  const auto place = static_cast<UInt32>(rwCatalog->offset);
  char* at = rwCatalog->mapmem + place;
  const std::size_t first = sizeof(UInt32);
  // All but the four bytes that make the slot a taken one.
  std::memcpy(at + first, reinterpret_cast<const char*>(&entry) + first, sizeof entry - first);
  StoreBarrier();
  Store(at, Load<UInt32>(&entry));  // until here the slot counts as free
  rwCatalog->offset += static_cast<std::int32_t>(kCatalogEntrySize);
  FlushCatalog();
  names.add(place);
}

void ChangeCatalogEntry(UInt32 place, const DatabaseHdrType& entry, const std::function<bool()>& files) {
  const DatabaseHdrType before = CatalogEntryAt(place);
  names.remove(place);
  // The entry first: once a file has its new name, the entry tells it.
  Store(RoomForBytes(kCatalogEntrySize), entry);
  KeepBytes(rwCatalog, place, kCatalogEntrySize);
  char* at = rwCatalog->mapmem + place;
  Store(at, entry);
  StoreBarrier();
  if (files && !files()) Store(at, before);
  BytesAreStored();
  FlushCatalog();
  if (isFree(place))
    names.setFree(place);
  else
    names.add(place);
}

void ClearCatalogEntry(UInt32 place) {
  names.remove(place);
  // Free by its first bytes at once: killed behind this store, remains stand in a free slot, which the next entry
  // fills.
  Store(rwCatalog->mapmem + place, UInt32{0});
  StoreBarrier();
  std::memset(rwCatalog->mapmem + place, 0, kCatalogEntrySize);
  FlushCatalog();
  names.setFree(place);
}

}  // namespace vorne

using namespace vorne;

void __PositionOnFirstNullCatalog(const char* name) {
  if (rwCatalog == nullptr || name == nullptr) return;
  UInt32 place = CatalogEntryOf(ShortName(name));
  if (place == 0) place = names.firstFree();
  if (place == 0) {
    if (rwCatalog->szmap < static_cast<std::int32_t>(kHeaderSize)) WriteUsedSize(rwCatalog, kHeaderSize);
    // Behind the last whole slot: an entry anywhere else would never be found.
    const UInt32 cut = (static_cast<UInt32>(rwCatalog->szmap) - kHeaderSize) % kCatalogEntrySize;
    if (!EnsureRoom(rwCatalog, kCatalogEntrySize)) GrowthFailure(*rwCatalog);
    place = static_cast<UInt32>(rwCatalog->szmap) - cut;
    std::memset(rwCatalog->mapmem + place, 0, kCatalogEntrySize);
    increasefilesz(rwCatalog, static_cast<long>(kCatalogEntrySize - cut));
  }
  rwCatalog->offset = static_cast<std::int32_t>(place);
}
