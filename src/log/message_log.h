// The message log: a plain text file in the current directory, one line a message, made anew by every host call that
// writes one. It stands on the runtime, and closes itself through a hook. A log that cannot be written is silent;
// errors of arguments are raised with __RuntimeError.
#pragma once

#include <cstdio>

#include "runtime/vorneobjs.h"

/// Opens the log of the current minute; with `reopen` not 0 also when one is open. 1 when a log is open afterwards.
short __OpenMsgLog(short reopen);
/// Closes it; always 1.
short __CloseMsgLog();
/// Writes `text` and a line break, opening the log when there is none. Without a log the message is lost in silence:
/// a cash desk goes on selling when its disk is full.
void __WriteMsgLog(const char* text);
/// The same for scripts; nothing happens for null and NIL. Error 0 for anything but a text.
void WRITELOG(Obj_Node* value);
/// Number of records in the temporary table of messages, which synchronisation keeps; 0 without one.
int __GetAmnRecsMsgLog();
/// Reading the log back is not supported: always 0.
short __ReadMsgLog(int index, char* buffer);

namespace vorne {
/// Keeps the open log's handle, null for none, in `place` from now on, where the caller shows it; null: back in a place
/// of its own.
void KeepMessageLogIn(std::FILE** place);

/// While it lives no log is opened: messages are lost.
class NoMessageLog {
 public:
  NoMessageLog();
  NoMessageLog(const NoMessageLog&) = delete;
  NoMessageLog& operator=(const NoMessageLog&) = delete;
  ~NoMessageLog();
};
}  // namespace vorne
