// A boundary and nothing else: it turns the host's arguments into values, holds the one catch-all and copies the answer
// out. Every call begins and ends a run of its own, so that no value outlives it.
#include "bridge/host_entry.h"

#include <unwind.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "bridge/dispatcher.h"
#include "generated/constants.h"
#include "log/message_log.h"
#include "runtime/arguments.h"
#include "runtime/process.h"

using namespace vorne;

namespace {

/// Spare bytes behind the parameter text and its terminator.
constexpr std::size_t kMargin = 127;

void logCall(const char* params, std::size_t size) {
  char line[256];
  std::snprintf(line, sizeof line, "aParams -> %lx - aParamSz=%d ",
                static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(params)), static_cast<int>(size));
  __WriteMsgLog(line);
}

Obj_Node* parameterText(const char* params, std::size_t size) {
  if (size > 0x0FFFFFFF) __RuntimeError(5, -1);
  Obj_Node* text = __ALLOC_CHARPTR(static_cast<int>(size + 1 + kMargin));
  std::memcpy(text->objData.mbuff, params, size);
  return __SET_OBJECT(nullptr, text);
}

void copyAnswer(const Obj_Node* answer, char* out, int outLen) {
  if (out == nullptr || outLen <= 0) return;
  const auto size = static_cast<std::size_t>(outLen);
  std::memset(out, 0, size);
  // A longer answer is cut without a terminator: hosts read outLen bytes at most.
  if (HasText(answer)) std::memcpy(out, answer->objData.mbuff, strnlen(answer->objData.mbuff, size));
}

/// A vendor library may bring an unwinder of its own. What an exception of such a one calls in ours counts on tables
/// that the system's unwinder fills at its first walk, which therefore is taken at once.
[[maybe_unused]] const bool kUnwinderReady = [] {
  return _Unwind_Backtrace([](_Unwind_Context*, void*) { return _URC_END_OF_STACK; }, nullptr) != _URC_NO_REASON;
}();

int serve(int cmd, const char* params, char* out, int outLen) {
  __BeginGlobal();
  __begin_context();
  generated::FillConstantPool();
  // Vendors' answers may hold zero bytes: texts are copied by their length field.
  SetCheckBuffer(1);
  Obj_Node* cmdValue = __SET_OBJECT(nullptr, __INIT_DOUBLE(cmd));
  const std::size_t size = std::strlen(params);
  logCall(params, size);
  Obj_Node* paramValue = parameterText(params, size);
  Obj_Node* output = __SET_OBJECT(nullptr, __INIT_CHARPTR(""));
  Obj_Node* capacity = __SET_OBJECT(nullptr, __INIT_DOUBLE(outLen));
  SETBUFFSIZE(output, capacity);
  Obj_Node* result = __SET_OBJECT(nullptr, TELLIRA(cmdValue, paramValue, output, capacity));
  copyAnswer(output, out, outLen);
  const int returned = ToInt(result->objData.mdbl);
  __end_context(nullptr);
  __EndGlobal();
  return returned;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int ExecInClientDLL(int cmd, char* params, char* out, int outLen) {
  try {
    return serve(cmd, params == nullptr ? "" : params, out, outLen);
  } catch (...) {
    // A vendor library let an exception out. Its device is in an unknown state: nothing may go on as if it had
    // answered.
    std::printf("\n%s", "SAIU PELO CATCH.....");
    EndProcess(0);
  }
}
