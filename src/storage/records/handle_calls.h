// Inside the storage floor: what handles stand for, changed by whoever knows the handle.
#pragma once

#include <span>

#include "storage/vornerdd.h"

namespace vorne {

/// DmWrite without looking the handle up.
Err WriteBytes(RecordStruct& record, UInt32 offset, std::span<const char> bytes);

}  // namespace vorne
