// What the runtime needs of the floors above it. Each floor fills its places when it is first used, so a program (or a
// host call) that never touches storage, network or screen never links or pays for them. An empty place means that the
// floor is not in use and there is nothing to do.
#pragma once

#include "runtime/vorneobjs.h"

namespace vorne {

struct Hooks {
  // Screen.
  void (*closeWindows)(int context) = nullptr;  ///< close every window opened in `context` or a later one
  void (*closeDialog)() = nullptr;              ///< close the current dialog

  // Every end of the process that the library brings about.
  void (*leaveJournal)() = nullptr;  ///< remove this process's journal, unless a change is under way

  // Errors.
  void (*prepareEnd)(int aux) = nullptr;  ///< what an error does before the process ends; set with the global record

  // The end of a run, in the order in which __EndGlobal calls them.
  void (*closeNetwork)() = nullptr;         ///< free the communication buffers
  void (*closeMessageLog)() = nullptr;      ///< close the message log
  void (*closeWorkAreas)() = nullptr;       ///< close all tables; a fatal error calls it too
  void (*freeVendorLibraries)() = nullptr;  ///< empty the list of opened vendor libraries
  void (*closeCatalog)() = nullptr;         ///< close the record database's catalogue

  // Synchronisation with the host server.
  void (*synchronise)() = nullptr;    ///< run a session
  int (*messageRecords)() = nullptr;  ///< records in the temporary table of messages

  // Arrays saved by a fatal error, kept in temporary databases.
  bool (*saveArray)(const char* name, Obj_Node* array) = nullptr;  ///< true when written
  void (*logFailure)(const char* line) = nullptr;                  ///< a line for whoever looks after the workstation
  Obj_Node* (*restoreArray)(const char* name) = nullptr;           ///< null when there is none; deletes the copy
};

extern Hooks hooks;

}  // namespace vorne
