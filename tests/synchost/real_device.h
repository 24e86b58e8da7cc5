// A device of the product's own client code: a process in a directory of its own.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "sync/tables_fixture.h"

/// The device's directory, which has its name.
inline void makeDevice(const std::string& id) {
  std::filesystem::create_directory(id);
  for (const char* marker : {"/zlibce.dll", "/selfinst.exe"}) writeFile(id + marker, "");
}

/// Ends this process, a fresh child, with what `body` returns; the runtime works in the device's directory meanwhile.
[[noreturn]] inline void workAsDevice(const std::string& id, const std::function<int()>& body) {
  if (chdir(id.c_str()) != 0) _exit(98);
  __BeginGlobal();
  const int status = body();
  std::fflush(stdout);
  _exit(status);
}

inline bool synchronise(const std::string& id, int port) {
  SetApplicationDirectory(".");
  const Obj_Node* code = __DoSync(text("A"), text("127.0.0.1"), number(port), number(20), text(id.c_str()), text("G"));
  closeAll();
  return code->objData.mdbl == 0 && vorne::SessionResult() == 0;
}

/// A row of a table of CODE and NAME, in an area that stays open for the next one.
inline void addRow(const char* table, const std::string& code, const std::string& name) {
  use(table);
  __DBAPPEND();
  set("CODE", "'" + code + "'"), set("NAME", "'" + name + "'");
  __Commit();
}
