#include "sync/missing_records.h"

#include "sync/name_list.h"
#include "sync/table_making.h"

namespace vorne {

namespace {

constexpr char kMissing[] = "MISSING";

bool isNoted() {
  return DmFindDatabase(0, TemporaryName(kMissing, kList).c_str()) != 0;
}

// One that is refused would be refused again.
bool canBeTaken(const std::string& table) {
  return WhatDiffers(table).empty();
}

template <class Test>
void removeIf(Test test) {
  if (!isNoted()) return;
  NameList list(kMissing);
  if (!list.isOpen()) return;
  for (UInt32 i = list.size(); i-- > 0;)
    if (test(list.at(i))) list.remove(i);
}

}  // namespace

bool NoteMissing(const std::string& table) {
  NameList list(kMissing);
  return list.isOpen() && list.addOnce(table);
}

bool IsMissing(const std::string& table) {
  if (!isNoted()) return false;
  const NameList list(kMissing);
  return list.isOpen() && list.has(table);
}

std::string MissingTable() {
  if (!isNoted()) return {};
  const NameList list(kMissing);
  for (UInt32 i = 0; list.isOpen() && i < list.size(); ++i)
    if (canBeTaken(list.at(i))) return list.at(i);
  return {};
}

void ForgetMissing() {
  removeIf(canBeTaken);
}

void ForgetMissing(const std::string& table) {
  removeIf([&table](const std::string& other) { return other == table; });
}

}  // namespace vorne
