// One record a call, the innermost at the end. A record tells the line from which its function went on to the next.
#include "runtime/trace.h"

#include "runtime/internal.h"
#include "runtime/memory.h"

using namespace vorne;

namespace {

void freeFrom(StackInfo* record) {
  while (record != nullptr) {
    StackInfo* next = record->next;
    Release(record);
    record = next;
  }
}

}  // namespace

namespace vorne {

void TrimTrace() {
  StackInfo* kept = nullptr;
  StackInfo* record = S_GLOB->FirstCallStack;
  // Contexts only rise along the list: behind the first one that has ended all have.
  while (record != nullptr && record->context < S_GLOB->LastContext) {
    kept = record;
    record = record->next;
  }
  freeFrom(record);
  (kept == nullptr ? S_GLOB->FirstCallStack : kept->next) = nullptr;
  S_GLOB->LastCallStack = kept;
}

void FreeTrace() {
  freeFrom(S_GLOB->FirstCallStack);
  S_GLOB->FirstCallStack = S_GLOB->LastCallStack = nullptr;
}

}  // namespace vorne

void __SF(const char* function) {
  auto* record = static_cast<StackInfo*>(Allocate(sizeof(StackInfo)));
  record->function = function;
  record->line = S_GLOB->SL;
  // The caller's number: TrimTrace, called when the function has ended and that number is the current one again, takes
  // out what bears it.
  record->context = S_GLOB->LastContext - 1;
  (S_GLOB->FirstCallStack == nullptr ? S_GLOB->FirstCallStack : S_GLOB->LastCallStack->next) = record;
  S_GLOB->LastCallStack = record;
  S_GLOB->SF = function;
}

void __SL(int line) {
  if (S_GLOB->LastCallStack == nullptr) return;
  S_GLOB->SL = static_cast<std::int16_t>(line);
  S_GLOB->LastCallStack->line = S_GLOB->SL;
}
