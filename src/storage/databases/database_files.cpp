// The name decides: NAME holds the records, and for a 'V' database NAME with the offsets suffix their places.
// Everything here is by name, so it also serves databases that are not open.
#include "storage/databases/database_files.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "runtime/latin1.h"
#include "storage/databases/catalog.h"
#include "storage/files/descriptor.h"
#include "storage/files/diagnostic_log.h"
#include "storage/files/mapped_file.h"
#include "storage/files/system.h"
#include "storage/format/description.h"
#include "storage/format/names.h"
#include "storage/journal/journal.h"

namespace vorne {

std::string PathOf(std::string_view name) {
  return GetWideName(std::string(name).c_str());
}

bool HasVanished(std::string_view name) {
  struct stat found;
  return fileSystem.stat(PathOf(name).c_str(), &found) != 0 && errno == ENOENT;
}

namespace {

// True for the places of a database's records, however long: what is another database's is never touched.
bool isOffsetsFile(const std::string& name) {
  const std::optional<FileHeader> header = HeaderInFile(name);
  return header && header->Type == 0 && CatalogEntryOf(name) == 0;
}

std::uint32_t settledType(UInt32 place) {
  DatabaseHdrType entry = CatalogEntryAt(place);
  const std::string name(CatalogEntryName(place));
  const FileHeader header = HeaderInFile(name).value_or(FileHeader{});
  if (KindOfType(entry.type) == header.Type) return entry.type;
  const std::uint32_t told = ToldType(header, name, BlockInFile(name, header));
  if (told == 0) return entry.type;
  Logar(Message("%s: código de tipo corrigido de 0x%08lX para 0x%08lX"_l1, name.c_str(),
                static_cast<unsigned long>(entry.type), static_cast<unsigned long>(told))
            .c_str());
  entry.type = told;
  // On a full disk it is told so again at the next opening.
  if (HasJournal()) ChangeCatalogEntry(place, entry);
  return told;
}

// The database whose offsets file has that name in capitals, empty for none. One that the catalogue has lost counts, of
// whatever kind: its entry would never come back beside one of that name.
std::string ownerOfOffsets(const std::string& folded) {
  const std::string_view suffix = kOffsetsSuffix;
  if (!folded.ends_with(suffix)) return {};
  const std::string owner = folded.substr(0, folded.size() - suffix.size());
  const UInt32 entry = CatalogEntryOf(owner);
  if (entry == 0) return IsDatabaseName(owner) && MayHold(owner) ? owner : std::string();
  return HasOffsets(entry) ? std::string(CatalogEntryName(entry)) : std::string();
}

// The database that has the name of the offsets file of one of that name in capitals, empty for none. Of those without
// an entry its head tells it from an offsets file.
std::string databaseInOffsets(const std::string& folded) {
  const std::string name = OffsetsName(folded);
  if (const UInt32 entry = CatalogEntryOf(name)) return std::string(CatalogEntryName(entry));
  return HeaderInFile(name).value_or(FileHeader{}).Version == 2 && MayHold(name) ? name : std::string();
}

}  // namespace

bool MayHold(const std::string& name) {
  struct stat found;
  if (::lstat(PathOf(name).c_str(), &found) != 0 || found.st_size == 0) return false;
  const FileHeader header = HeaderInFile(name).value_or(FileHeader{});
  const bool isEmpty =
      header.Version == 2 && header.NumberOfRecords == 0 && header.AppInfoLen == 0 && header.szmap <= kHeaderSize;
  return !isEmpty && (S_ISREG(found.st_mode) || header.Version == 2);
}

std::string BlockInFile(const std::string& name, const FileHeader& header) {
  // Damage can say any length; descriptions are far shorter.
  constexpr UInt32 kLongestBlock = 1 << 20;
  std::string bytes(kHeaderSize + std::min(header.AppInfoLen, kLongestBlock), '\0');
  const int file = OpenFile(PathOf(name).c_str(), O_RDONLY | O_NONBLOCK);
  if (file < 0) return {};
  const ssize_t read = fileSystem.read(file, bytes.data(), bytes.size());
  fileSystem.close(file);
  return read == std::ssize(bytes) ? bytes.substr(kHeaderSize) : std::string();
}

bool RemoveFiles(std::string_view name) {
  if (!DeleteFile(PathOf(name).c_str()) && !HasVanished(name)) return false;
  RemoveOffsetsFile(name);
  return true;
}

void RemoveOffsetsFile(std::string_view name) {
  if (HasOffsetsFile(name)) DeleteFile(PathOf(OffsetsName(name)).c_str());
}

bool HasOffsetsFile(std::string_view name) {
  return isOffsetsFile(OffsetsName(name));
}

bool RenameFiles(std::string_view from, std::string_view to) {
  if (fileSystem.rename(PathOf(from).c_str(), PathOf(to).c_str()) != 0) return false;
  const std::string oldOffsets = OffsetsName(from), newOffsets = OffsetsName(to);
  // What lies under the new name may go if it is an offsets file that belonged to nobody, and nothing else may.
  const bool free = HasVanished(newOffsets) || isOffsetsFile(newOffsets);
  if (free && isOffsetsFile(oldOffsets) &&
      fileSystem.rename(PathOf(oldOffsets).c_str(), PathOf(newOffsets).c_str()) == 0)
    return true;
  // Without one the next opening makes it anew; one that is another file's would be believed.
  RemoveOffsetsFile(from);
  RemoveOffsetsFile(to);
  return true;
}

bool HasOffsets(UInt32 entry) {
  const std::optional<FileHeader> header = HeaderInFile(std::string(CatalogEntryName(entry)));
  return KindOfType(CatalogEntryAt(entry).type) == kVariableDatabase || (header && header->Type == kVariableDatabase);
}

bool IsOfType(UInt32 entry, std::uint32_t type) {
  return CatalogEntryAt(entry).type == type || settledType(entry) == type;
}

Err CheckNewName(std::string_view name, bool hasOffsets) {
  if (!IsDatabaseName(name)) return errArgument;
  const std::string folded = FoldedName(name);
  const std::string owner = ownerOfOffsets(folded), taken = hasOffsets ? databaseInOffsets(folded) : std::string();
  if (owner.empty() && taken.empty()) return errNone;
  Logar(Message("O banco %s não pode ter este nome: um arquivo seria também do banco %s"_l1, std::string(name).c_str(),
                (owner.empty() ? taken : owner).c_str())
            .c_str());
  return !owner.empty() ? errArgument : errAlreadyExists;
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
  // What closing does must not hide why it could not be written.
  const int failure = errno;
  CloseHandle(file);
  errno = failure;
  return count == static_cast<int>(sizeof header);
}

void CannotCreate(const char* name, int error) {
  Logar(Message("Falha de criação do arquivo %s"_l1, name).c_str());
  if (error != 0) {
    const std::string told = WhyNotStored(name, kHeaderSize, error);
    Logar(told.c_str());
    std::printf("%s", told.c_str());
  }
  __RuntimeError(11, -1);
}

}  // namespace vorne
