// Fatal errors, their texts, and the arrays that they save.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "runtime/hooks.h"
#include "runtime/internal.h"
#include "runtime/messages.h"
#include "runtime/process.h"

using namespace vorne;

int iSyncLang = 1;
void (*pExit)() = nullptr;
Obj_Node* pDumpArrays = nullptr;

namespace {

constexpr std::array stringErros = {
    "ARGUMENT ERROR!", "BOUND ERROR!",  "DIVIDE BY ZERO!",       "RUNTIME ERROR!",    "INVALID FIELD!",
    "LOW MEMORY!",     "EG ARG!",       "ALIAS ALREADY EXISTS!", "IDX CREATE ERROR!", "IDX NOT EXISTS!",
    "INVALID ORDER!",  "CREATE ERROR!", "INDEX CREATE_ERROR!",   "INVALID INDEX!",    "ALIAS DOES NOT EXISTS!",
    "STACK FULL!",
};
static_assert(stringErros.size() == 16);

char error_aux[1024] = "";

/// Where the program was when it failed, one line a call; read by functions registered with __RegisterExit.
char error_trace[4096] = "";

/// Writes the trace, without touching values: the error may be that there is no room for any.
void writeTrace() {
  std::size_t used = 0;
  const auto line = [&used](const char* function, int number) {
    const int n = std::snprintf(error_trace + used, sizeof error_trace - used, "%s(%i)\n", function, number);
    used = std::min(sizeof error_trace - 1, used + static_cast<std::size_t>(std::max(n, 0)));
  };
  for (const StackInfo* record = S_GLOB->FirstCallStack; record != nullptr; record = record->next) {
    if (record->function == nullptr) std::printf("No info->function\n");
    if (record->line == 0) std::printf("No info->line\n");
    if (record->function != nullptr && record->line != 0) line(record->function, record->line);
  }
  if (S_GLOB->LastCallStack != nullptr && S_GLOB->SF != nullptr && S_GLOB->SL != 0) {
    line(S_GLOB->SF, S_GLOB->SL);
  } else {
    std::snprintf(error_trace + used, sizeof error_trace - used, "No debug info");
  }
}

/// What a fatal error does before the process ends; any step may fail in turn.
void prepareEnd(int aux) {
  __DumpArray();
  __begin_context();
  if (aux != -1) __GetAuxError(aux);
  writeTrace();
  if (pExit != nullptr) pExit();
  if (hooks.closeWorkAreas != nullptr) hooks.closeWorkAreas();
}

/// The registered pair of that name, null for none.
Obj_Node* registeredPair(const char* name) {
  const Arrays& pairs = *pDumpArrays->objData.mArray;
  for (Obj_Node* element = pairs.pFirst; element != nullptr; element = element->objpNext) {
    Obj_Node* pair = element->objData.mSubArray;
    if (std::strcmp(__GET_ARRAY_EL(pair, 0)->objData.mbuff, name) == 0) return pair;
  }
  return nullptr;
}

/// Makes the list of saved arrays, which outlives every context of the run.
void makeDumpList() {
  pDumpArrays = __fcpObj_CT(vArray);
  pDumpArrays->objContext = -1;
}

}  // namespace

namespace vorne {

void ForgetAuxError() {
  error_aux[0] = '\0';
}

}  // namespace vorne

void __RuntimeError(int /*code*/, int aux) {
  static bool ending = false;
  // An error inside the steps below, or before there is a record, goes straight to the end.
  if (!ending && S_GLOB != nullptr) {
    ending = true;
    prepareEnd(aux);
  }
  std::printf("\nRunTimeError = %d", aux);
  EndProcess(0);
}

const char* __GetErrorTrace() {
  return error_trace;
}

const char* __GetAuxError(int aux) {
  std::snprintf(error_aux, sizeof error_aux, "Msg(%d)-%s", aux, MessageText(aux, iSyncLang));
  return error_aux;
}

void GetError(char* buf, int code) {
  constexpr std::size_t kRoom = 2048;
  const bool known = code >= 0 && code < static_cast<int>(stringErros.size());
  const char* text = known ? stringErros[static_cast<std::size_t>(code)] : "";
  std::snprintf(buf, kRoom, error_aux[0] == '\0' ? "%s" : "%s\n%s", text, error_aux);
  ForgetAuxError();
}

Obj_Node* __SetErrorLang(Obj_Node* n) {
  const double language = NumberOrFail(n);
  iSyncLang = language > 3 ? 1 : ToInt(language);
  return Logical(true);
}

Obj_Node* __RegisterExit(void (*fn)()) {
  if (fn != nullptr) pExit = fn;
  return Logical(false);
}

Obj_Node* __RegisterArray(Obj_Node* name, Obj_Node* arr) {
  if (name == nullptr || arr == nullptr) return Logical(false);
  if (!HasText(name)) ArgumentError();
  if (!IsArray(arr)) return Logical(false);
  if (pDumpArrays == nullptr) makeDumpList();
  if (registeredPair(name->objData.mbuff) != nullptr) return Logical(false);
  Obj_Node* pair = __fcpObj_CT(vArray);
  __AAdd(pair, name);
  // Held, not handed over: the array stays its owner's, but lives as long as the list does.
  __AAdd(pair, arr);
  __AAdd(pDumpArrays, pair);
  return Logical(true);
}

void __DumpArray() {
  if (pDumpArrays == nullptr || S_GLOB == nullptr) return;
  const Arrays& pairs = *pDumpArrays->objData.mArray;
  for (Obj_Node* element = pairs.pFirst; element != nullptr; element = element->objpNext) {
    Obj_Node* pair = element->objData.mSubArray;
    ExecDumpArray(__GET_ARRAY_EL(pair, 0), __GET_ARRAY_EL(pair, 1));
  }
}

Obj_Node* ExecDumpArray(Obj_Node* name, Obj_Node* arr) {
  if (!HasText(name) || !IsArray(arr) || arr->objData.mArray->amntItens == 0) return Logical(false);
  return Logical(hooks.saveArray != nullptr && hooks.saveArray(name->objData.mbuff, arr));
}

Obj_Node* __RestoreArray(Obj_Node* name) {
  if (!HasText(name)) ArgumentError();
  Obj_Node* restored = hooks.restoreArray == nullptr ? nullptr : hooks.restoreArray(name->objData.mbuff);
  return restored == nullptr ? __INIT_NIL() : restored;
}
