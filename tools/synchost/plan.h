// What a session does for a device, task by task: first what it has for us, so that it is told nothing that it would
// undo.
#pragma once

#include "synchost/store.h"

namespace synchost {

enum class Step { kCatalogue, kUpload, kInstall, kDelete, kDownload, kImages };

struct PlannedTask {
  Step step;
  std::size_t place = 0;                ///< of a catalogue table or a table
  std::vector<QueuedTask> queued = {};  ///< what it does away with when it is done
};

/// @param catalogue the change that made the catalogue of these tables
std::vector<PlannedTask> PlanFor(Store& store, const std::string& device, const std::vector<Table>& tables,
                                 std::int64_t catalogue);

}  // namespace synchost
