// Inside the sync floor: a packet's content.
#pragma once

#include "sync/wire.h"

namespace vorne {

/// Inflates the packet into netglb->m_compact; one that is as long as its content is taken as it is while the machine
/// has no zlib. The content's size, 0 when it is damaged or does not fit.
int ExpandPacket(const ReceivedPacket& packet);

}  // namespace vorne
