// The variables that every other file of the runtime may read.
#include "runtime/vorneobjs.h"

ObjsGlobals* S_GLOB = nullptr;

Boolean bCheckBuffer = 0;
Boolean bUseEncode64 = 1;

int iSyncLang = 1;
void (*pExit)() = nullptr;
Obj_Node* pDumpArrays = nullptr;
