// The system's own message says "wrong ELF class" at most; the head of the file tells which build is needed.
#include "library/library_file.h"

#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace tool {
namespace {

#if defined(__x86_64__)
constexpr unsigned kOwnMachine = EM_X86_64;
#elif defined(__i386__)
constexpr unsigned kOwnMachine = EM_386;
#elif defined(__aarch64__)
constexpr unsigned kOwnMachine = EM_AARCH64;
#else
constexpr unsigned kOwnMachine = EM_NONE;  // not compared
#endif

constexpr unsigned char kOwnClass = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
constexpr std::size_t kHeadBytes = 20;  // identification, type, machine: at the same place in both word sizes
using Head = std::array<unsigned char, kHeadBytes>;

/// Reads the file's first bytes; the text of the problem, empty when they are there.
std::string readHead(const std::string& path, Head& head) {
  struct stat about {};
  if (stat(path.c_str(), &about) != 0) {
    return errno == ENOENT ? path + " does not exist." : path + " cannot be reached: " + std::strerror(errno) + ".";
  }
  // Asked before it is opened: a pipe would wait for its writer.
  if (!S_ISREG(about.st_mode)) return path + " is not a file.";
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return path + " cannot be read: " + std::strerror(errno) + ".";
  const ssize_t got = read(file, head.data(), head.size());
  close(file);
  if (got != static_cast<ssize_t>(head.size()) || std::memcmp(head.data(), ELFMAG, SELFMAG) != 0) {
    return path + " is not a shared library: it does not begin like one.";
  }
  return {};
}

}  // namespace

std::string ownWordSize() {
  return kOwnClass == ELFCLASS64 ? "64-bit" : "32-bit";
}

std::string loadProblem(const std::string& path) {
  Head head{};
  if (std::string problem = readHead(path, head); !problem.empty()) return problem;
  if (head[EI_CLASS] != kOwnClass) {
    const char* size = head[EI_CLASS] == ELFCLASS32 ? "32-bit" : head[EI_CLASS] == ELFCLASS64 ? "64-bit" : "odd";
    return path + " is a " + size + " library, but this tellira is a " + ownWordSize() +
           " program; both must be of the "
           "same word size. Use a " +
           ownWordSize() + " build of the library, or a " + size + " build of tellira.";
  }
  const unsigned machine = head[EI_DATA] == ELFDATA2MSB ? head[18] << 8U | head[19] : head[19] << 8U | head[18];
  if (kOwnMachine != EM_NONE && machine != kOwnMachine) {
    return path + " is made for another processor (ELF machine " + std::to_string(machine) + ").";
  }
  return {};
}

}  // namespace tool
