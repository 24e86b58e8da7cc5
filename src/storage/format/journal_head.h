// The part of a journal file (see journal.h) that readers in other processes look at to learn whether what they have
// just read was changing meanwhile. Everything else in the journal is the writers'.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vorne {

inline constexpr std::uint32_t kJournalMagic = 0x4C4E4A54;  // "TJNL"

struct JournalHead {
  std::uint32_t magic;
  std::uint32_t state;  // 0 unless bytes are kept or moved: then the journal's file must not be read
  std::uint32_t chunks;
  std::uint32_t changes;  // raised by one at the beginning and at the end of every change: odd in between
  char entry[136];
  std::uint64_t session;  // nanoseconds since 1970 when the journal was made
  std::uint32_t
      readersWait;  // microseconds of pause before the next change that a reader wants; the writer stores 0 then
  std::uint32_t reserved;
};
static_assert(sizeof(JournalHead) == 168 && offsetof(JournalHead, changes) == 12 &&
              offsetof(JournalHead, session) == 152 && offsetof(JournalHead, readersWait) == 160);

}  // namespace vorne
