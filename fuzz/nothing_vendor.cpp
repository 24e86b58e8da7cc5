// Callers pass arguments that are not looked at, which the C calling convention allows.
#define COMMAND(name, library, adapter, function, arguments, output, fields) \
  extern "C" __attribute__((visibility("default"))) int function() {         \
    return 1;                                                                \
  }
#include "generated/command_table.def"
