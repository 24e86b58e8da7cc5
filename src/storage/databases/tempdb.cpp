// The name alone tells what a temporary database is, so that the next run finds what this one left.
#include "storage/databases/tempdb.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <vector>

#include "storage/databases/catalog.h"
#include "storage/files/mapped_file.h"
#include "storage/format/names.h"

namespace vorne {

namespace {

struct Kind {
  char letter;
  const char* suffix;
  UInt32 creator;
};
// The last row stands for every letter that has none.
constexpr Kind kKinds[] = {
    {kPacketsReceived, kReceivedSuffix, FourChars("tPda")},
    {kPacketsToSend, kSentSuffix, FourChars("tHst")},
    {kInstallPackets, kInstallSuffix, FourChars("tIns")},
    {kNameAsGiven, "", 0},
    {kList, kListSuffix, FourChars("tLog")},
};

const Kind& kindOf(char letter) {
  const Kind* kind = kKinds;
  while (kind->letter != letter && kind != std::end(kKinds) - 1) ++kind;
  return *kind;
}

// "~" and a check sum.
std::string shortSum(const std::string& text) {
  // FNV-1a in 32 bits. Names on disk are made of it: it stays as it is.
  std::uint32_t sum = 0x811C9DC5u;
  for (const char c : text) sum = (sum ^ static_cast<unsigned char>(c)) * 0x01000193u;
  char digits[10];
  std::snprintf(digits, sizeof digits, "~%08X", sum);
  return digits;
}

}  // namespace

std::string TemporaryName(const std::string& owner, char kind) {
  if (kind == kNameAsGiven) return owner;
  const std::string suffix = kindOf(kind).suffix, folded = FoldedName(owner);
  const std::size_t room = kLongestName - suffix.size();
  if (folded.size() <= room) return folded + suffix;
  // Owners that are alike as far as there is room are told apart by what is left of them.
  const std::string number = shortSum(folded);
  return folded.substr(0, room - number.size()) + number + suffix;
}

UInt32 TemporaryCreator(char kind) {
  return kindOf(kind).creator;
}

DmOpenRef FindTemporary(const std::string& owner, char kind) {
  const LocalID id = DmFindDatabase(0, TemporaryName(owner, kind).c_str());
  return id == 0 ? nullptr : DmOpenDatabase(0, id, 0);
}

DmOpenRef OpenTemporary(const std::string& owner, char kind, IfExists old) {
  if (old == IfExists::Replace) DeleteTemporary(owner, kind);
  const std::string name = TemporaryName(owner, kind);
  if (DmFindDatabase(0, name.c_str()) == 0 &&
      DmCreateDatabase(0, name.c_str(), TemporaryCreator(kind), kTypeData, 0) != errNone)
    return nullptr;
  return FindTemporary(owner, kind);
}

void DeleteTemporary(const std::string& owner, char kind) {
  const LocalID id = DmFindDatabase(0, TemporaryName(owner, kind).c_str());
  if (id != 0) DmDeleteDatabase(0, id);
}

void DeleteTemporaries(char kind) {
  if (OpenCatalog() != errNone) return;
  const std::string suffix = FoldedName(kindOf(kind).suffix);
  std::vector<std::string> names;
  for (UInt32 place = kHeaderSize; place + kCatalogEntrySize <= AllBytes(*rwCatalog).size(); place += kCatalogEntrySize)
    if (std::string name = FoldedName(CatalogEntryName(place)); name.ends_with(suffix))
      names.push_back(std::move(name));
  for (const std::string& name : names)
    if (const LocalID id = DmFindDatabase(0, name.c_str())) DmDeleteDatabase(0, id);
}

std::span<const char> RecordBytes(DmOpenRef db, UInt32 index) {
  const MemHandle handle = DmQueryRecord(db, index);
  if (handle == nullptr) return {};
  const auto* bytes = static_cast<const char*>(MemHandleLock(handle));
  return {bytes, MemHandleSize(handle)};
}

}  // namespace vorne
