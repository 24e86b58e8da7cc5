// What survives a kill: changes that one store cannot make, and their recovery. Stands on the mapped files and the
// formats, and knows neither databases nor handles. Failures are error 5, told in "saida.txt".
//
// Changes that one store cannot make survive the death of the process: what is going to change is first described in a
// journal file beside the databases ("journal.0" to "journal.3", one for each process that writes). The next opening of
// the catalogue finishes a move that stood half-way and undoes a half-written record (recovery.h). The journal guards
// against a dying process, not against power loss: it is only taken when the file's header is the one that it was
// written for.
//
// It goes when the catalogue is closed or an error ends the process. On a disk with hardly any space left it becomes
// "reserve.plm" instead, whose space the next journal takes: records must be deleted, changed and packed away even when
// others have filled the disk meanwhile.
#pragma once

#include <cstring>
#include <span>

#include "storage/vornerdd.h"

namespace vorne {

/// A move of everything from `from` to the end of what is used, so that it begins at `to`; what it leaves is zeroed.
/// Then `info` is stored as the beginning of the application-info block, the header `after` (with its szmap) and,
/// unless `patchAt` is 0, the record header `patch`.
struct TailMove {
  UInt32 from;
  UInt32 to;
  FileHeader after;
  UInt32 patchAt = 0;
  RecordHeader patch = {};
  bool offsetsFollow = false;       ///< the offsets file changes too; an interrupted change has it made anew
  std::span<const char> info = {};  ///< at most kLargestProtected bytes
};

/// Makes the move, for which the caller has seen to the room, and keeps it in the journal until it goes out of scope,
/// so that what belongs to it (the offsets file) can be brought up to date. When an exception passes, the journal
/// stays. Error 5 when there is no journal.
class ProtectedMove {
 public:
  ProtectedMove(pmymap map, const TailMove& move);
  ~ProtectedMove();
  ProtectedMove(const ProtectedMove&) = delete;
  ProtectedMove& operator=(const ProtectedMove&) = delete;

 private:
  int exceptions_;
};

/// Bytes that one protected store may change at most.
inline constexpr UInt32 kLargestProtected = 0x10000;

/// True when a small change can be protected: there is a journal, or space for one.
bool HasJournal();
/// Room in the journal for the `length` bytes of one protected store. Error 5 when there is no journal.
char* RoomForBytes(UInt32 length);
/// Protects the `length` bytes at `offset` until BytesAreStored(): killed in between, they are as before, unless
/// another program has stored something else there meanwhile. What they become stands in RoomForBytes().
void KeepBytes(pmymap map, UInt32 offset, UInt32 length);
void BytesAreStored();
/// Stores the `length` (up to kLargestProtected) bytes at `offset` that `make(place)` makes, as a whole or not at all.
/// Error 5 when there is no journal.
template <class Making>
void StoreProtected(pmymap map, UInt32 offset, UInt32 length, Making make) {
  char* fresh = RoomForBytes(length);
  make(fresh);
  KeepBytes(map, offset, length);
  std::memcpy(map->mapmem + offset, fresh, length);
  BytesAreStored();
}

/// Keeps readers in other processes from taking what changes while the object lives: they wait, or read again. Put
/// around every change of records that belong together (a record with its memo texts and index entries) and around
/// whatever moves records. Changes inside one another count as one. Waits up to a tenth of a second when a reader
/// has asked for it. Error 5 when there is no journal.
class ChangeSeenByReaders {
 public:
  ChangeSeenByReaders();
  ~ChangeSeenByReaders();
  ChangeSeenByReaders(const ChangeSeenByReaders&) = delete;
  ChangeSeenByReaders& operator=(const ChangeSeenByReaders&) = delete;

 private:
  static int depth_;
};

/// Closes this process's journal. It goes, unless a change is under way: the next opening of the catalogue needs it
/// then.
void CloseJournal();
/// The same where more may still be written: one with a change under way stays open, so that no other takes its place.
void LeaveJournal();

}  // namespace vorne
