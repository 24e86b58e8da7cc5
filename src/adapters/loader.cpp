// Vendor libraries are opened by the name that the command table has, relative to the working directory, and never
// closed: nobody knows what they leave running.
#include <dlfcn.h>

#include <cstdio>
#include <cstring>

#include "adapters/vorneadapters.h"
#include "runtime/arguments.h"
#include "runtime/hooks.h"
#include "runtime/latin1.h"
#include "runtime/memory.h"

using namespace vorne;
using namespace vorne::literals;

LibHandles* thepLibHandles = nullptr;

namespace {

LibHandles* newEntry(const char* name) {
  auto* entry = static_cast<LibHandles*>(Allocate(sizeof(LibHandles)));
  entry->DllName = static_cast<char*>(TryAllocate(std::strlen(name) + 1));
  if (entry->DllName == nullptr) {
    Release(entry);
    __RuntimeError(5, -1);
  }
  std::strcpy(entry->DllName, name);
  return entry;
}

void freeEntry(LibHandles* entry) {
  Release(entry->DllName);
  Release(entry);
}

[[noreturn]] void libraryNotFound(LibHandles* entry) {
  std::snprintf(S_GLOB->mTmp, kScratchSize, "DLL %s %s", entry->DllName, "não encontrada"_l1);
  freeEntry(entry);
  std::printf("\n%s", S_GLOB->mTmp);
  __RuntimeError(16, 133);
}

}  // namespace

HMODULE nHdlGetDllHandle(const char* name) {
  LibHandles* tail = thepLibHandles;
  // The last entry is never compared: a library used twice in a row is opened twice, and the list shows every opening.
  while (tail != nullptr && tail->next != nullptr) {
    if (std::strcmp(tail->DllName, name) == 0) return tail->nHdl;
    tail = tail->next;
  }
  LibHandles* entry = newEntry(name);
  // Lazily: a vendor's library may lack functions that it needs, as long as nobody calls what needs them.
  entry->nHdl = dlopen(name, RTLD_LAZY);
  if (entry->nHdl == nullptr) libraryNotFound(entry);
  (tail == nullptr ? thepLibHandles : tail->next) = entry;
  hooks.freeVendorLibraries = FreeDllHandles;
  return entry->nHdl;
}

void FreeDllHandles() {
  while (thepLibHandles != nullptr) {
    LibHandles* next = thepLibHandles->next;
    freeEntry(thepLibHandles);
    thepLibHandles = next;
  }
}

void* VendorFunction(const char* name, const char* function) {
  void* address = dlsym(nHdlGetDllHandle(name), function);
  if (address == nullptr) {
    std::printf("\nFunction <%s> not found in DLL <%s>!", function, name);
    __RuntimeError(17, 134);
  }
  return address;
}

void __LoadLIB() {}
void __UnloadLIB() {
  __CleanStaticStack();
}
