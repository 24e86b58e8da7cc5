#include "storage/databases/database_files.h"

#include <cerrno>

#include "runtime/latin1.h"
#include "storage/databases/catalog.h"
#include "storage/files/diagnostic_log.h"
#include "storage/files/system.h"
#include "storage/format/names.h"

namespace vorne {

std::string PathOf(std::string_view name) {
  return GetWideName(std::string(name).c_str());
}

bool HasVanished(std::string_view name) {
  struct stat found;
  return fileSystem.stat(PathOf(name).c_str(), &found) != 0 && errno == ENOENT;
}

bool RemoveFiles(std::string_view name) {
  if (!DeleteFile(PathOf(name).c_str()) && !HasVanished(name)) return false;
  DeleteFile(PathOf(OffsetsName(name)).c_str());
  return true;
}

bool RenameFiles(std::string_view from, std::string_view to) {
  const std::string oldOffsets = PathOf(OffsetsName(from)), newOffsets = PathOf(OffsetsName(to));
  if (fileSystem.rename(PathOf(from).c_str(), PathOf(to).c_str()) != 0) return false;
  if (fileSystem.rename(oldOffsets.c_str(), newOffsets.c_str()) != 0) {
    DeleteFile(newOffsets.c_str());
    DeleteFile(oldOffsets.c_str());
  }
  return true;
}

bool HasOffsets(UInt32 entry) {
  FileHeader header = {};
  long size = 0;
  const std::string name(CatalogEntryName(entry));
  if (!HasVanished(name)) GetHeaderAndSize(name.c_str(), &header, &size);
  return header.Type == kVariableDatabase || KindOfType(CatalogEntryAt(entry).type) == kVariableDatabase;
}

bool ClashesWithOffsets(const std::string& folded, bool hasOffsets) {
  const std::string suffix = kOffsetsSuffix;
  if (hasOffsets && CatalogEntryOf(folded + suffix) != 0) return true;
  if (!folded.ends_with(suffix)) return false;
  const UInt32 owner = CatalogEntryOf(folded.substr(0, folded.size() - suffix.size()));
  return owner != 0 && HasOffsets(owner);
}

bool MakeDataFile(std::string_view name, std::uint32_t type) {
  const std::string path = PathOf(name);
  HANDLE file = CreateFile(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW);
  if (file == INVALID_HANDLE_VALUE) file = CreateFile(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING);
  if (file == INVALID_HANDLE_VALUE) return false;
  FileHeader header = {};
  header.Version = 2;
  header.Type = KindOfType(type);
  int count = 0;
  WriteFile(file, &header, sizeof header, &count);
  CloseHandle(file);
  return count == static_cast<int>(sizeof header);
}

void CannotCreate(const char* name) {
  Logar(Message("Falha de criação do arquivo %s"_l1, name).c_str());
  __RuntimeError(11, -1);
}

}  // namespace vorne
