// Vendor libraries: opening them, finding their functions. The adapters themselves are in generated/adapters.h.
#pragma once

#include "runtime/vorneobjs.h"

typedef void* HMODULE;  // what dlopen returned

/// One opened vendor library.
struct LibHandles {
  char* DllName;
  HMODULE nHdl;  // never closed: the library stays mapped for the life of the process
  LibHandles* next;
};

extern LibHandles* thepLibHandles;

/// The handle of the library `name`, opened when the list does not hold it. A relative name counts from the current
/// directory. Prints "DLL <name> não encontrada" and raises error 16 (auxiliary 133) when it cannot be opened; error 5.
HMODULE nHdlGetDllHandle(const char* name);
/// Empties the list; the end of every host call does it.
void FreeDllHandles();
/// The address of `function` in the library `name`. Prints "Function <function> not found in DLL <name>!" and raises
/// error 17 (auxiliary 134) when there is none; otherwise as nHdlGetDllHandle.
void* VendorFunction(const char* name, const char* function);

/// Start and end of a library made from scripts; the end forgets its static variables.
void __LoadLIB();
void __UnloadLIB();
