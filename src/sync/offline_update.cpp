// What was received comes into the tables: the catalogue's first, then those that it names.
#include <algorithm>

#include "storage/files/mapped_file.h"
#include "storage/format/names.h"
#include "sync/applying.h"
#include "sync/applying_note.h"
#include "sync/catalog_tables.h"
#include "sync/delete_queue.h"
#include "sync/dirty_marks.h"
#include "sync/missing_records.h"
#include "sync/received_tables.h"
#include "sync/state_lines.h"
#include "sync/table_areas.h"
#include "sync/table_making.h"
#include "sync/vornesync.h"

using namespace vorne;

namespace {

constexpr char kWholeTable = 'T';

bool exists(const std::string& table) {
  return DmFindDatabase(0, table.c_str()) != 0;
}

Applied writeDirect(const std::string& name, int area, const ReceivedPackets& packets) {
  const int index = MergeIndex(name, CatalogKeyOf(name), area);
  if (index < -1) return Applied::NoIndex;
  // Also into an empty table: a run that goes on where another one ended finds it filled, and must end in the same way.
  return index < 0 ? AppendToTable(name, area, packets) : MergeTable(name, area, index, packets);
}

Applied apply(const std::string& name, int area, const ReceivedPackets& packets) {
  const auto control = packets.control();
  if (!control) return Applied::Damaged;
  Tell(SyncText::Updating, static_cast<int>(packets.count()), name.c_str(), control->type);
  return control->type == kWholeTable ? ReplaceTable(name, area, packets) : writeDirect(name, area, packets);
}

bool changeTable(const std::string& name) {
  const TableArea area(name);
  const auto failed = [&](SyncText text) {
    Tell(text, name.c_str());
    return false;
  };
  if (!area.isOpen()) return failed(SyncText::OpenFailed);
  if (!OpenIndexes(name, area.number())) return failed(SyncText::IndexFailed);
  if (DoChangeTable(name.c_str(), area.number()) == 0) return failed(SyncText::PacketsFailed);
  Tell(SyncText::Changed, name.c_str());
  return true;
}

enum class Waiting { Nothing, Incomplete, Whole, Part };

Waiting waitingFor(const std::string& name) {
  const ReceivedPackets packets(name);
  if (!packets.isOpen()) return Waiting::Nothing;
  const auto control = packets.control();
  if (packets.count() != 0 && control && !control->complete) return Waiting::Incomplete;
  return control && control->type == kWholeTable ? Waiting::Whole : Waiting::Part;
}

// Of such a table the host sends no device what that one has changed itself.
bool comesInParts(const CatalogTable& table) {
  return table.type != kWholeTable && HasKey(table.name);
}

// A whole table that came while this one had records for the host will be older than those when they have gone up.
// Where the host would not send it again by itself it is asked to, once.
void keepWaiting(const CatalogTable& table) {
  Tell(SyncText::UnsentRecords, table.name.c_str());
  // Not while it could not be applied either: it would be asked for in every session.
  const TableArea area(table.name);
  if (comesInParts(table) && IsReceivedTable(table.name) && area.isOpen() && OpenIndexes(table.name, area.number()))
    NoteMissing(table.name);
}

// Applies what waits for the table, if it does.
bool readTable(const CatalogTable& table, int percent) {
  const std::string& name = table.name;
  const Waiting waiting = waitingFor(name);
  if (waiting == Waiting::Nothing || waiting == Waiting::Incomplete) return true;
  if (waiting == Waiting::Whole && HasDirty(name.c_str()) != 0) return keepWaiting(table), true;
  // Those records went up in a session that broke before the host could send the newer table.
  if (waiting == Waiting::Whole && IsTaken(name) && ng != nullptr && ng->ConnErr != 0) return true;
  const std::string line = Filled(SyncText::Changing, name.c_str());
  ShowProgress(2, percent, line.c_str());
  DoSetState(line.c_str());
  return changeTable(name);
}

// A table of the device's own making may have other fields: the host's records are none of its.
bool isAsDescribed(const std::string& name) {
  // Those of which nothing comes or goes are not looked at.
  if (waitingFor(name) == Waiting::Nothing && !IsMissing(name)) return true;
  const std::string field = WhatDiffers(name);
  if (field.empty()) return true;
  NoteMissing(name);
  // Once a session: at its end, when the catalogue is the one that came last.
  return ng != nullptr && ng->Verification != 0 ? false : Refuse(SyncText::TableRefused, name, field);
}

// A table of the catalogue that is not there yet gets made, with its indexes.
bool haveTable(const std::string& name, int& refused) {
  if (IsTableName(name) && exists(name) && !IsUnfinishedTable(name)) return true;
  // Each costs a walk through the catalogue: a host that names thousands which cannot be must not hold the desk up.
  constexpr int kMostRefused = 64;
  if (refused >= kMostRefused) return false;
  // Gone since the last session, by whatever hand: the host believes that it is here. A part is then none of anything.
  const bool isNew = ng == nullptr || ng->Verification == 0 || IsReceivedTable(kTableCatalog);
  if (!isNew && waitingFor(name) != Waiting::Whole && NoteMissing(name)) DeleteTemporary(name, kPacketsReceived);
  if (!MakeTable(name)) {
    ForgetMissing(name);
    return ++refused, false;
  }
  LeaveDeleteQueue(name);
  const TableArea area(name);
  if (area.isOpen() && OpenIndexes(name, area.number())) return true;
  Tell(area.isOpen() ? SyncText::IndexFailed : SyncText::OpenFailed, name.c_str());
  return false;
}

bool readCatalogue() {
  bool well = true;
  for (const char* name : {kTableCatalog, kFieldCatalog, kIndexCatalog})
    if (waitingFor(name) != Waiting::Nothing)
      well = HaveCatalogTable(name) && readTable({name, kWholeTable, {}}, 0) && well;
  return well;
}

// A host that sends no catalogue, but tables which this one does not name, takes it for another: the device may have
// called elsewhere meanwhile.
void noteUnknown(const std::vector<CatalogTable>& known) {
  if (!HasReceivedTables() || IsReceivedTable(kTableCatalog)) return;
  for (const std::string& name : ReceivedTables()) {
    const auto isIt = [&name](const CatalogTable& table) { return table.name == name; };
    if (std::none_of(known.begin(), known.end(), isIt) && waitingFor(name) != Waiting::Nothing) NoteMissing(name);
  }
}

bool isComplete(const char* table) {
  const ReceivedPackets packets(table);
  return packets.isOpen() && packets.isComplete();
}

bool holdsRecords(const char* table) {
  const TableArea area(table);
  return area.isOpen() && DmNumRecords(area.database()) != 0;
}

}  // namespace

int __WriteDirectT(const char* name, int area, DmOpenRef packets) {
  if (name == nullptr || packets == nullptr || AreaAt(area) == nullptr) return 0;
  return ReplaceTable(name, area, ReceivedPackets(packets)) == Applied::Whole;
}

int __WriteDirect(const char* name, int area, DmOpenRef packets) {
  if (name == nullptr || packets == nullptr || AreaAt(area) == nullptr) return 0;
  return writeDirect(name, area, ReceivedPackets(packets)) == Applied::Whole;
}

int DoChangeTable(const char* table, int area, Obj_Node*) {
  if (table == nullptr || AreaAt(area) == nullptr) return 0;
  const std::string folded = FoldedName(table);
  const char* name = folded.c_str();
  ReceivedPackets packets(name);
  if (!packets.isOpen()) return 0;
  const UInt32 count = packets.count();
  if (count == 0) {
    Tell(SyncText::NoPackets, name);
    packets.close();
    DeleteTemporary(name, kPacketsReceived);
    return 1;
  }
  // A transfer that was cut off waits for its rest.
  if (packets.control() && !packets.isComplete()) return 1;
  const bool isWhole = packets.control() && packets.control()->type == kWholeTable;
  const Applied applied = apply(name, area, packets);
  packets.close();
  if (applied == Applied::NoRoom) TellNotStored(WhyNotGrown(*DatabaseOf(*AreaAt(area))->hFile));
  // Damaged ones go as well: the host's next ones would otherwise not be asked for.
  if (applied == Applied::Damaged) NoteMissing(name);
  if (applied == Applied::Whole || applied == Applied::Damaged) {
    DeleteTemporary(name, kPacketsReceived);
    ApplyingNote::forgetFinished();
  }
  if (applied != Applied::Whole) return 0;
  // What was to be deleted is gone, too.
  if (isWhole) LeaveDeleteQueue(name);
  Tell(SyncText::Updated, static_cast<int>(count), name);
  return 1;
}

int ReadFromHH() {
  ApplyingNote::forgetFinished();
  bool well = readCatalogue();
  const std::vector<CatalogTable> tables = CatalogTables();
  int refused = 0;
  for (std::size_t i = 0; i < tables.size(); ++i) {
    const std::string& name = tables[i].name;
    const auto percent = static_cast<int>(100 * i / tables.size());
    // One that cannot be is told of, and matters when something came for it.
    well = (haveTable(name, refused) ? isAsDescribed(name) && readTable(tables[i], percent)
                                     : waitingFor(name) == Waiting::Nothing) &&
           well;
  }
  noteUnknown(tables);
  return well;
}

int VerifyConsistent() {
  return holdsRecords(kTableCatalog) && holdsRecords(kIndexCatalog);
}

int VerifyTpdaConsistent() {
  return isComplete(kTableCatalog) && isComplete(kIndexCatalog);
}
