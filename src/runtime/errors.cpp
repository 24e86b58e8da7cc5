// The texts of errors, and what a fatal one does before the process ends.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "runtime/hooks.h"
#include "runtime/internal.h"
#include "runtime/messages.h"

using namespace vorne;

// By the error's code, 0 to 15.
constinit const std::array<const char*, 16> stringErros = {
    "ARGUMENT ERROR!", "BOUND ERROR!",  "DIVIDE BY ZERO!",       "RUNTIME ERROR!",    "INVALID FIELD!",
    "LOW MEMORY!",     "EG ARG!",       "ALIAS ALREADY EXISTS!", "IDX CREATE ERROR!", "IDX NOT EXISTS!",
    "INVALID ORDER!",  "CREATE ERROR!", "INDEX CREATE_ERROR!",   "INVALID INDEX!",    "ALIAS DOES NOT EXISTS!",
    "STACK FULL!",
};
char error_aux[1024] = "";

namespace {

/// What fails before the end stays on the call stack; no more than it can bear is tried.
constexpr int kMostFailures = 64;

/// Where the program was when it failed, one line a call; read by functions registered with __RegisterExit.
char error_trace[4096] = "";

/// Writes the trace, without touching values: the error may be that there is no room for any.
void writeTrace() {
  std::size_t used = 0;
  const auto line = [&used](const char* function, int number) {
    // What has no room is cut off: the trace lacks the innermost calls then.
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

}  // namespace

namespace vorne {

void ForgetAuxError() {
  error_aux[0] = '\0';
}

void PrepareEnd(int aux) {
  // A step that fails comes back here through its own error: the rest is done on top of what it gave up.
  static int failures = -1;
  static int nextArray = 0;
  static std::size_t nextStep = 0;
  static void (*const kSteps[])(int) = {
      [](int number) {
        __begin_context();
        if (number != -1) __GetAuxError(number);
        writeTrace();
      },
      [](int) {
        if (pExit != nullptr) pExit();
      },
      [](int) {
        if (hooks.closeWorkAreas != nullptr) hooks.closeWorkAreas();
      },
  };
  // The arrays first: the next run begins with them, and any later step may fail. A step is counted before it is
  // called, so that one that fails is not begun again.
  if (++failures < kMostFailures) DumpArraysFrom(nextArray);
  while (nextStep < std::size(kSteps)) kSteps[nextStep++](aux);
}

}  // namespace vorne

const char* __GetErrorTrace() {
  return error_trace;
}

const char* __GetAuxError(int aux) {
  std::snprintf(error_aux, sizeof error_aux, "Msg(%d)-%s", aux, MessageText(aux, iSyncLang));
  return error_aux;
}

void GetError(char* buf, int code) {
  // The room that callers give `buf`.
  constexpr std::size_t kRoom = 2048;
  const bool known = code >= 0 && code < static_cast<int>(stringErros.size());
  const char* text = known ? stringErros[static_cast<std::size_t>(code)] : "";
  std::snprintf(buf, kRoom, error_aux[0] == '\0' ? "%s" : "%s\n%s", text, error_aux);
  ForgetAuxError();
}

Obj_Node* __SetErrorLang(Obj_Node* n) {
  const double language = NumberArgument(n);
  iSyncLang = language > 3 ? 1 : ToInt(language);
  return Logical(true);
}

Obj_Node* __RegisterExit(void* fn) {
  if (fn != nullptr) pExit = reinterpret_cast<void (*)()>(fn);
  return Logical(false);
}
