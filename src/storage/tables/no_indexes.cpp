// Tables have no indexes yet: what they ask of them is answered accordingly.
#include "storage/tables/index_upkeep.h"

namespace vorne {

void AttachIndexes(myAppInfoType&) {}
void DetachIndexes(myAppInfoType&) {}
void DeleteIndexes(const char*) {}
void ZapIndexes(myAppInfoType&) {}
void RebuildIndexes(myAppInfoType&) {}
EntryChanges::EntryChanges(VORNE_RDD&, std::int32_t) {}
void EntryChanges::recordStored(std::int32_t) {}

}  // namespace vorne

void Resync(int) {}
