#include "synchost/download.h"

#include <algorithm>
#include <utility>

#include "synchost/catalogue.h"
#include "synchost/protocol.h"

namespace synchost {
namespace {

constexpr std::int64_t kPage = 256;

}  // namespace

Download::Download(std::size_t place, const std::vector<Table>& tables, std::int64_t catalogueChange, bool compress)
    : name_(CatalogueTables()[place].name),
      records_(CatalogueRecords(place, tables)),
      number_(CatalogueTables()[place].number),
      upTo_(catalogueChange),
      count_(static_cast<std::int64_t>(records_.size())),
      packer_(compress) {}

// Without a key a device that asks for the same changes twice would have them twice: it may have got them and only its
// word of it was lost. So such a table is always sent whole, which replaces what is there.
Download::Download(Store& store, const Table& table, const std::string& device, bool compress)
    : name_(table.name),
      device_(device),
      table_(&table),
      number_(table.number),
      upTo_(store.lastChange(table)),
      after_(store.confirmed(device, table.number)),
      packer_(compress) {
  nothingNew_ = upTo_ <= after_;
  if (nothingNew_) return;
  const bool hasSome = after_ != 0;
  whole_ = !hasSome || table.type == 'T' || !table.hasKey();
  count_ = hasSome ? store.countChanged(table, device, after_, upTo_) : 1;
  if (!whole_ || count_ == 0) return;
  count_ = store.countLive(table);
  empties_ = count_ == 0;
}

std::vector<SentContent> Download::page(Store& store) {
  if (table_ == nullptr) return std::exchange(records_, {});
  return whole_ ? store.live(*table_, afterKey_, kPage) : store.changed(*table_, device_, after_, upTo_, kPage);
}

void Download::stream(Store& store, std::vector<char>& out) {
  while (!ended_ && out.size() < kMuchOutput) {
    const std::vector<SentContent> records = page(store);
    for (const SentContent& record : records) {
      packer_.add(record.content, out);
      ++sent_;
      afterKey_ = record.key;
      after_ = std::max(after_, record.change);
      if (table_ != nullptr && out.size() >= kMuchOutput) return;
    }
    if (!records.empty()) continue;
    packer_.flush(out);
    Reply(vorne::kEndOfTable).byte(vorne::kNothingMore).appendTo(out);
    ended_ = true;
  }
}

void Download::confirm(Store& store, const std::string& device) const {
  if (!nothingNew_ && (ended_ || count_ == 0)) store.confirm(device, number_, upTo_);
}

}  // namespace synchost
