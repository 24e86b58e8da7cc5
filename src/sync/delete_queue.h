// Inside the sync floor: the queue of tables that are deleted when the host has their records.
#pragma once

#include <string>

namespace vorne {

/// Takes a table off the queue that is made anew: what was to be deleted is gone.
void LeaveDeleteQueue(const std::string& name);

}  // namespace vorne
