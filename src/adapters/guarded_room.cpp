#include "adapters/guarded_room.h"

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstring>

#include "runtime/memory.h"
#include "runtime/vorneobjs.h"

namespace vorne {

namespace {

// Mapping and protecting pages costs more than a whole call, so rooms of the usual size are kept for the next one, all
// of them filled: enough for the longest argument list.
constexpr std::size_t kUsual = 64 * 1024;
constexpr std::size_t kKept = 17;

struct Spares {
  std::array<char*, kKept> ends{};
  std::size_t count = 0;
};
// One for the process: commands run one at a time, as the devices do.
Spares spares;

std::size_t pageSize() {
  static const auto size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return size;
}

char* map(std::size_t size) {
  // Counted like every allocation, so that tests can make this one fail.
  if (allocationsLeft == 0) __RuntimeError(5, -1);
  if (allocationsLeft > 0) --allocationsLeft;
  void* start = mmap(nullptr, size + pageSize(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (start == MAP_FAILED) __RuntimeError(5, -1);
  char* end = static_cast<char*>(start) + size;
  if (mprotect(end, pageSize(), PROT_NONE) != 0) __RuntimeError(5, -1);
  std::memset(start, GuardedRoom::kFill, size);
  return end;
}

}  // namespace

GuardedRoom::GuardedRoom(std::size_t size) : size_(size), used_(size) {
  if (size <= kUsual) {
    mapped_ = kUsual;
    end_ = spares.count > 0 ? spares.ends[--spares.count] : map(kUsual);
  } else {
    mapped_ = (size + pageSize() - 1) / pageSize() * pageSize();
    end_ = map(mapped_);
  }
}

GuardedRoom::~GuardedRoom() {
  if (mapped_ == kUsual && spares.count < kKept) {
    // Only what may have been written to; the rest of a spare room is filled already.
    std::memset(data(), kFill, used_);
    spares.ends[spares.count++] = end_;
  } else {
    munmap(end_ - mapped_, mapped_ + pageSize());
  }
}

}  // namespace vorne
