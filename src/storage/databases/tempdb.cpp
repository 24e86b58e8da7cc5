#include "storage/databases/tempdb.h"

#include <cstring>

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
    {kPacketsReceived, ".tPda", FourChars("tPda")},
    {kPacketsToSend, ".tHst", FourChars("tHst")},
    {kInstallPackets, ".tIns", FourChars("tIns")},
    {kNameAsGiven, "", 0},
    {kList, ".tLog", FourChars("tLog")},
};

const Kind& KindOf(char letter) {
  const Kind* kind = kKinds;
  while (kind->letter != letter && kind != std::end(kKinds) - 1) ++kind;
  return *kind;
}

}  // namespace

std::string TemporaryName(const std::string& owner, char kind) {
  if (kind == kNameAsGiven) return owner;
  const std::string suffix = KindOf(kind).suffix;
  return FoldedName(owner.substr(0, kLongestName - suffix.size())) + suffix;
}

UInt32 TemporaryCreator(char kind) {
  return KindOf(kind).creator;
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

bool AppendRecord(DmOpenRef db, std::span<const char> bytes) {
  if (bytes.size() > kLargestRecord) return false;
  UInt32 index = kAppend;
  const MemHandle handle = DmNewRecord(db, &index, static_cast<UInt32>(bytes.size()));
  if (handle == nullptr) return false;
  const Err written = DmWrite(MemHandleLock(handle), 0, bytes.data(), static_cast<UInt32>(bytes.size()));
  return DmReleaseRecord(db, index, 0) == errNone && written == errNone;
}

std::span<const char> RecordBytes(DmOpenRef db, UInt32 index) {
  const MemHandle handle = DmQueryRecord(db, index);
  if (handle == nullptr) return {};
  const auto* bytes = static_cast<const char*>(MemHandleLock(handle));
  return {bytes, MemHandleSize(handle)};
}

}  // namespace vorne
