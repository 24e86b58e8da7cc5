#include <sys/stat.h>

#include <climits>
#include <cstdio>
#include <string>

#include "builtins/vornefun.h"
#include "log/message_log.h"
#include "runtime/hooks.h"
#include "runtime/internal.h"
#include "runtime/memory.h"
#include "sync/session_globals.h"
#include "sync/sync_texts.h"
#include "sync/vornesync.h"

using namespace vorne;

sync_globs* ng = nullptr;

namespace {

std::string applicationDirectory;

bool isInApplication(const char* file) {
  std::string directory = applicationDirectory;
  if (directory.empty()) {
    char path[PATH_MAX];
    if (__GetAPPDir(path) == 0) return false;
    directory = path;
  }
  struct stat found;
  return ::stat((directory + "/" + file).c_str(), &found) == 0;
}

// Values end with the run that made them, the record stays: a later run fills it anew.
struct Value {
  Obj_Node* sync_globs::*place;
  const char* text;  // null for a closed work area
};
constexpr Value kValues[] = {
    {&sync_globs::VrnArea, nullptr},        {&sync_globs::AttribArea, nullptr},
    {&sync_globs::IndexTblArea, nullptr},   {&sync_globs::VRN_TBL_NAME, "VRN_TBL"},
    {&sync_globs::VRN_NDX, "VRN_NDX"},      {&sync_globs::ATTRIB_TBL_NAME, "VRN_COLS"},
    {&sync_globs::ATTRIB_NDX, "VRN_COLSX"}, {&sync_globs::ATTRIB_FLD, "TBL_NAME"},
    {&sync_globs::IND_NAME, "VRN_IND"},     {&sync_globs::IND_NDX, "VRN_INDX"},
};

void fillValues() {
  if (ng->VrnArea != nullptr) return;
  for (const Value& value : kValues)
    StoreForRun(ng->*value.place, value.text == nullptr ? __INIT_DOUBLE(-1) : __INIT_CHARPTR(value.text));
  __InitObjNode(&ng->ToHostArea, varNil);
}

void leaveRun() {
  FreeNetGlobals();
  for (const Value& value : kValues) ng->*value.place = nullptr;
  ng->TmpOnLine = ng->TmpOnBatch = ng->iniConn = nullptr;
}

}  // namespace

void SetApplicationDirectory(const char* path) {
  applicationDirectory = path == nullptr ? "" : path;
}

int __VerifyNgGlb() {
  const bool isNew = ng == nullptr;
  if (isNew) {
    ng = static_cast<sync_globs*>(Allocate(sizeof(sync_globs)));
    ng->bHasZlib = 1;
    if (netglb != nullptr) netglb->m_max_buff = kLargestFrame;
    __OpenMsgLog(0);
  }
  hooks.closeNetwork = leaveRun;
  fillValues();
  if (!isNew) return 1;
  if (!isInApplication("zlibce.dll")) {
    ng->bHasZlib = 0;
    std::printf("%s", TextOf(SyncText::NoZlib));
    return 0;
  }
  if (!isInApplication("selfinst.exe")) std::printf("%s", TextOf(SyncText::NoSelfInstaller));
  return 1;
}

namespace vorne {

void StartSessionClock() {
  if (ng != nullptr) StoreForRun(ng->iniConn, __Time());
}

void StopSessionClock(Obj_Node*& place) {
  if (ng->iniConn != nullptr) StoreForRun(place, __ElapTime(ng->iniConn, __Time()));
}

const char* TextIn(const Obj_Node* value) {
  return HasText(value) ? value->objData.mbuff : "";
}

void FreeNetGlobals() {
  if (netglb == nullptr) return;
  LiberarComBuffs();
  if (netglb->FInstall != nullptr) std::fclose(netglb->FInstall);
  KeepMessageLogIn(nullptr);
  Release(netglb);
  netglb = nullptr;
}

}  // namespace vorne
