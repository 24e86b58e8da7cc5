// Inside the storage floor: a journal's bytes, and the steps that both making a change and finishing a dead process's
// take.
#pragma once

#include <string>
#include <string_view>

#include "storage/format/journal_head.h"
#include "storage/journal/journal.h"

namespace vorne {

inline constexpr UInt32 kChunk = kLargestProtected / 2;

enum State : UInt32 { kIdle = 0, kBytesKept = 1, kMoving = 2 };

// What is under way. `check` covers all that stands before it.
struct UnderWay {
  char name[40];
  FileHeader before;
  FileHeader after;
  UInt32 from;    // moves: first byte; kept bytes: place
  UInt32 to;      // moves only
  UInt32 length;  // bytes to move, or kept
  UInt32 end;     // moves: end of what was used
  UInt32 patchAt;
  RecordHeader patch;
  UInt32 offsetsFollow;
  UInt32 infoLength;        // moves: bytes of the application-info block that are stored too; kept bytes: `length`
  UInt32 chunk;             // moves: bytes saved at once, where the journal has less space than for kChunk; else 0
  std::uint64_t keptCheck;  // of the kept bytes, or of those for the block
  std::uint64_t check;
};
static_assert(sizeof(UnderWay) == 136 && offsetof(UnderWay, from) == 80 && offsetof(UnderWay, check) == 128);

// The journal file. The room holds the bytes before a protected store, or in turns the chunks that a move is copying.
struct JournalFile {
  UInt32 magic;
  UInt32 state;
  UInt32 chunks;   // moves: chunks whose bytes have been saved; all but the last of them have been copied
  UInt32 changes;  // odd while something changes that readers must not look at, even in between
  UnderWay underWay;
  std::uint64_t session;  // when the journal was made: tells it from an earlier one
  UInt32 readersWait;     // see JournalHead; the only place that readers write to
  UInt32 reserved;
  char unused[4096 - 32 - sizeof(UnderWay)];
  char room[kLargestProtected];
  // What is stored: in the application-info block by a move, else in the place of the kept bytes.
  char info[kLargestProtected];
};
static_assert(offsetof(JournalFile, state) == offsetof(JournalHead, state) &&
              offsetof(JournalFile, changes) == offsetof(JournalHead, changes) &&
              offsetof(JournalFile, session) == offsetof(JournalHead, session) &&
              offsetof(JournalFile, readersWait) == offsetof(JournalHead, readersWait));
static_assert(offsetof(JournalFile, room) == 4096 && sizeof(JournalFile) == 4096 + 2 * kLargestProtected);

/// A check sum, by words, against pages that a power loss left from different times.
std::uint64_t Sum(const void* bytes, std::size_t size);

std::string JournalPath(const char* directory, std::string_view name);
/// The journal in an open file, null when it cannot be mapped.
JournalFile* MapJournal(int file);
/// True when no living process holds that journal; it is ours from then on.
bool Claim(int file);
/// False when another file stands under that name by now.
bool IsStill(int file, const std::string& path);

/// Lets an idle journal of ours go. Where the disk has hardly any space left its file stays as the spare one, so that
/// the next journal has space although the disk be full by then.
void Spare(const std::string& path);

/// Bytes of a move that are saved at once.
inline UInt32 ChunkOf(const UnderWay& change) {
  return change.chunk == 0 ? kChunk : change.chunk;
}
/// What is under way counts from here on.
void Begin(JournalFile& file, State state);
/// Nothing is under way any more.
void End(JournalFile& file);
/// Makes the move that is under way, or what is left to do of it.
void FinishMove(JournalFile& file, pmymap map);

}  // namespace vorne
