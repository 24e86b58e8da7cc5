// How programs begin sessions: with parameters of their own or the stored ones, on the synchroniser's screen.
#include <algorithm>
#include <cstring>

#include "builtins/vornefun.h"
#include "runtime/arguments.h"
#include "runtime/hooks.h"
#include "sync/session_globals.h"
#include "sync/session_report.h"
#include "sync/state_lines.h"

using namespace vorne;

namespace {

bool copyText(const char* text, char (&place)[kNetTextRoom]) {
  const std::size_t length = std::strlen(text);
  if (length >= kNetTextRoom) return false;
  std::memcpy(place, text, length + 1);
  return true;
}

// A number of a script as an int; what no int can be, as one that is refused later.
int limited(double number, int largest) {
  if (!(number >= -1)) return -1;
  return static_cast<int>(std::min<double>(number, largest));
}

// False when one is missing, of another type, or longer than any address or name.
bool takeParameters(Obj_Node* suffix, Obj_Node* address, Obj_Node* port, Obj_Node* timeout, Obj_Node* device,
                    Obj_Node* group) {
  if (!HasText(suffix) || !HasText(address) || !IsNumber(port) || !IsNumber(timeout) || !HasText(device) ||
      !HasText(group))
    return false;
  if (!copyText(address->objData.mbuff, netglb->m_ip) || !copyText(device->objData.mbuff, netglb->m_serial) ||
      !copyText(group->objData.mbuff, netglb->m_grupo))
    return false;
  netglb->m_timeout = limited(timeout->objData.mdbl, kLongestTimeout);
  netglb->m_sufixo = suffix->objData.mbuff[0];
  netglb->m_porta = limited(port->objData.mdbl, 1 << 20);
  return true;
}

}  // namespace

bool vorne::UseSynchronisation() {
  hooks.messageRecords = MessageCount;
  hooks.synchronise = [] { __DoSync(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr); };
  return true;
}

Obj_Node* __DoSync(Obj_Node* suffix, Obj_Node* address, Obj_Node* port, Obj_Node* timeout, Obj_Node* device,
                   Obj_Node* group) {
  VerifyBuffers();
  ClearSessionReport();
  int status = 0;
  if (__VerifyNgGlb() != 0) {
    if (!takeParameters(suffix, address, port, timeout, device, group)) netglb->m_ip[0] = 0;
    OpenMessageTable();
    DeleteEnqueued();
    __TAVREL();
    CloseMessageTable();
    status = netglb->errStatus;
  }
  FreeNetGlobals();
  return __INIT_DOUBLE(status);
}
