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
      lack_{0, catalogueChange},
      count_(static_cast<std::int64_t>(records_.size())),
      packer_(compress) {}

Download::Download(Store& store, const Table& table, const std::string& device, bool compress)
    : name_(table.name),
      device_(device),
      table_(&table),
      number_(table.number),
      lack_(store.lackOf(device, table)),
      packer_(compress) {
  nothingNew_ = lack_.upTo <= lack_.after;
  if (nothingNew_) return;
  const bool hasSome = lack_.after > 0;
  count_ = hasSome ? store.countChanged(table, device, lack_) : 1;
  if (!lack_.whole || count_ == 0) return;
  count_ = store.countLive(table);
  empties_ = count_ == 0;
}

void Download::begin(Store& store) const {
  if (table_ != nullptr) store.beginDownload(device_, number_);
}

std::vector<SentContent> Download::page(Store& store) {
  if (table_ == nullptr) return std::exchange(records_, {});
  return lack_.whole ? store.live(*table_, afterKey_, kPage) : store.changed(*table_, device_, lack_, kPage);
}

void Download::stream(Store& store, std::vector<char>& out) {
  while (!ended_ && out.size() < kMuchOutput) {
    const std::vector<SentContent> records = page(store);
    for (const SentContent& record : records) {
      packer_.add(record.content, out);
      ++sent_;
      afterKey_ = record.key;
      lack_.after = std::max(lack_.after, record.change);
      if (table_ != nullptr && out.size() >= kMuchOutput) return;
    }
    if (!records.empty()) continue;
    packer_.flush(out);
    Reply(vorne::kEndOfTable).byte(vorne::kNothingMore).appendTo(out);
    ended_ = true;
  }
}

void Download::confirm(Store& store, const std::string& device) const {
  if (!nothingNew_ && (ended_ || count_ == 0)) store.confirm(device, number_, lack_.upTo);
}

}  // namespace synchost
