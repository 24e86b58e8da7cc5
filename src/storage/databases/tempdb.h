// Temporary databases: packets on their way to and from the host, lists, logs, arrays saved by a fatal error. Each is a
// record database of type DATA whose name tells whose it is and of which kind.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "storage/records/storing.h"

namespace vorne {

/// The kinds, by the letters that the callers use.
enum TemporaryKind : char {
  kPacketsReceived = 'P',  // from the host, for one table
  kPacketsToSend = 'H',
  kInstallPackets = 'I',
  kNameAsGiven = 'Z',
  kList = 'L',  // so is every other letter: lists and logs
};

/// The database's name: the owner's in capitals and the kind's suffix. An owner's name that leaves no room for the
/// suffix is cut and gets a check sum of itself, so that a temporary database never has a table's name nor another
/// one's.
std::string TemporaryName(const std::string& owner, char kind);
/// Its creator code: the four letters of the suffix, 0 without one.
UInt32 TemporaryCreator(char kind);

enum class IfExists { Keep, Replace };
/// Opens the database, made when missing; with Replace an old one goes first. Null when it cannot be opened. Errors as
/// DmCreateDatabase and DmOpenDatabase.
DmOpenRef OpenTemporary(const std::string& owner, char kind, IfExists old);
/// The database if there is one; null otherwise.
DmOpenRef FindTemporary(const std::string& owner, char kind);
/// Closes nothing: for a database that nobody holds open. Harmless without one.
void DeleteTemporary(const std::string& owner, char kind);
/// The same for every database of that kind, whoever's it is.
void DeleteTemporaries(char kind);

/// The bytes of a record where they lie, until the next call for this database; empty when there is none.
std::span<const char> RecordBytes(DmOpenRef db, UInt32 index);

}  // namespace vorne
