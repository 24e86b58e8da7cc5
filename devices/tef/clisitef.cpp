// libclisitef.so: every function of the table's card terminal.
#define DEVICE_OF_SITEF
#include "common/boundary.h"
#include "common/entry_points.h"
#include "tef/engine.h"
#include "tef/terminal.h"

namespace device {

int call(std::string_view function, std::initializer_list<Native> places) {
  return serve(function, places, tef::kBadArgument, tef::run);
}

}  // namespace device
