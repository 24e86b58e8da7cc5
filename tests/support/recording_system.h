// The system with a record of what is surely on the disk, so that tests can make what a power cut may leave. Beside the
// directory "DB" it keeps in files, which outlive the process that writes:
//   recorded/I.now   a second name of each file, I being its inode number, so that removed files can come back
//   recorded/I.disk  the file as far as it was flushed
//   recorded/names   one line a name made ("+ name I"), given ("> from to"), removed ("- name"), or "s": all on disk
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "storage/system.h"
#include "support/scratch_directory.h"

namespace recording {

inline constexpr std::size_t kPage = 4096;

inline std::string recorded(ino_t inode, const char* suffix) {
  return "recorded/" + std::to_string(inode) + suffix;
}

inline void note(const std::string& line) {
  const int names = ::open("recorded/names", O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (write(names, line.data(), line.size()) != static_cast<ssize_t>(line.size())) std::abort();
  close(names);
}

/// What a flush brings to the disk: `length` bytes from `offset` on.
inline void flush(ino_t inode, const void* bytes, std::size_t length, off_t offset) {
  const int disk = ::open(recorded(inode, ".disk").c_str(), O_WRONLY | O_CLOEXEC);
  if (pwrite(disk, bytes, length, offset) != static_cast<ssize_t>(length)) std::abort();
  close(disk);
}

inline void flushAll(const std::filesystem::path& now) {
  std::filesystem::copy_file(now, std::filesystem::path(now).replace_extension(".disk"),
                             std::filesystem::copy_options::overwrite_existing);
}

/// Everything is on the disk now.
inline void settle() {
  for (const auto& entry : std::filesystem::directory_iterator("recorded"))
    if (entry.path().extension() == ".now") flushAll(entry);
  note("s\n");
}

struct Mapping {
  ino_t inode;
  std::size_t length;
};
inline std::map<char*, Mapping> mappings;
inline std::mt19937 random;  // decides which pages reach the disk when that is only asked for
using vorne::fileSystem, vorne::kSystem;

inline bool isOurs(const char* path) {
  return std::strstr(path, "/DB/") != nullptr && std::strstr(path, "/repair-") == nullptr;
}
inline std::string nameOf(const char* path) {
  return std::strrchr(path, '/') + 1;
}
inline struct stat look(int file) {
  struct stat found = {};
  fstat(file, &found);
  return found;
}

inline void noteMade(const std::string& path, ino_t inode) {
  if (!std::filesystem::exists(recorded(inode, ".now")))
    std::filesystem::create_hard_link(path, recorded(inode, ".now"));
  std::ofstream(recorded(inode, ".disk"), std::ios::app);
  note("+ " + nameOf(path.c_str()) + " " + std::to_string(inode) + "\n");
}
inline int open(const char* path, int flags, mode_t mode) {
  struct stat before;
  const bool made = isOurs(path) && stat(path, &before) != 0;
  const int file = kSystem.open(path, flags, mode);
  if (made && file >= 0) noteMade(path, look(file).st_ino);
  return file;
}
inline int rename(const char* from, const char* to) {
  const int result = kSystem.rename(from, to);
  if (result == 0) note("> " + nameOf(from) + " " + nameOf(to) + "\n");
  return result;
}
inline int unlink(const char* path) {
  const int result = kSystem.unlink(path);
  if (result == 0) note("- " + nameOf(path) + "\n");
  return result;
}
inline int fsync(int file) {
  const struct stat found = look(file);
  if (S_ISREG(found.st_mode)) flushAll(recorded(found.st_ino, ".now"));
  note("s\n");
  return 0;
}
inline void* mmap(std::size_t length, int file) {
  void* at = kSystem.mmap(length, file);
  if (at != MAP_FAILED) mappings[static_cast<char*>(at)] = {look(file).st_ino, length};
  return at;
}
inline void* mremap(void* address, std::size_t oldLength, std::size_t newLength) {
  void* at = kSystem.mremap(address, oldLength, newLength);
  if (at == MAP_FAILED) return at;
  auto moved = mappings.extract(static_cast<char*>(address));
  moved.key() = static_cast<char*>(at);
  moved.mapped().length = newLength;
  mappings.insert(std::move(moved));
  return at;
}
inline int munmap(void* address, std::size_t length) {
  mappings.erase(static_cast<char*>(address));
  return kSystem.munmap(address, length);
}
inline int msync(void* address, std::size_t length, int flags) {
  auto at = mappings.upper_bound(static_cast<char*>(address));
  if (at == mappings.begin() || (--at)->first + at->second.length <= address) std::abort();
  const std::size_t first = static_cast<std::size_t>(static_cast<char*>(address) - at->first) / kPage * kPage;
  for (std::size_t page = first; page < first + length; page += kPage)
    if (flags == MS_SYNC || random() % 2 == 0)
      flush(at->second.inode, at->first + page, std::min(kPage, first + length - page), static_cast<off_t>(page));
  return 0;
}

inline void install(unsigned seed) {
  random.seed(seed);
  const vorne::System& s = kSystem;
  fileSystem = {open,   s.close, s.read, s.write, s.lseek, s.ftruncate, s.fallocate, fsync,  mmap,
                mremap, munmap,  msync,  rename,  unlink,  s.mkdir,     s.stat,      s.flock};
}

/// The names that are there when all that was noted up to the last "s" and, of the rest, the first part is on the disk.
inline std::map<std::string, ino_t> names(double part) {
  std::vector<std::string> lines;
  std::size_t sure = 0;
  std::ifstream noted("recorded/names");
  for (std::string line; std::getline(noted, line); lines.push_back(line))
    if (line == "s") sure = lines.size();
  const auto end = sure + static_cast<std::size_t>(part * static_cast<double>(lines.size() - sure) + 0.5);
  std::map<std::string, ino_t> there;
  for (std::size_t i = 0; i < end; ++i) {
    std::istringstream words(lines[i]);
    std::string what, name, other;
    words >> what >> name >> other;
    if (what == "+") there[name] = std::stoull(other);
    if (what == ">") there[other] = there[name];
    if (what == ">" || what == "-") there.erase(name);
  }
  return there;
}

/// Notes what a process that was killed had done and not noted.
inline void catchUp() {
  auto noted = names(1);
  for (const auto& entry : std::filesystem::directory_iterator("DB")) {
    struct stat found = {};
    stat(entry.path().c_str(), &found);
    const auto name = noted.extract(entry.path().filename());
    if (name.empty() || name.mapped() != found.st_ino) noteMade(entry.path(), found.st_ino);
  }
  for (const auto& [name, inode] : noted) note("- " + name + "\n");
}

/// Makes the directory `to` as a power cut may leave it: of what is not surely on the disk, about `pages` of the pages
/// and sizes and the first `part` of the names are.
inline void makeImage(const std::string& to, std::mt19937::result_type seed, double pages, double part) {
  std::mt19937 image(seed);
  const auto isNew = [&] { return std::uniform_real_distribution<>()(image) < pages; };
  std::filesystem::create_directories(to);
  for (const auto& [name, inode] : names(part)) {
    const std::string now = readFile(recorded(inode, ".now"));
    std::string bytes = readFile(recorded(inode, ".disk"));
    const std::size_t size = isNew() ? now.size() : bytes.size();
    bytes.resize(std::max(now.size(), bytes.size()));
    for (std::size_t page = 0; page < now.size(); page += kPage)
      if (isNew()) bytes.replace(page, kPage, now, page, kPage);
    bytes.resize(size);
    writeFile(to + "/" + name, bytes);
  }
}

}  // namespace recording
