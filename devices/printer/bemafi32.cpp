// bemafi32.so: a second printer with the same engine and files of its own.
#define DEVICE_OF_BEMATECH
#include "common/boundary.h"
#include "common/entry_points.h"
#include "printer/engine.h"
#include "printer/printer.h"

namespace device {

int call(std::string_view function, std::initializer_list<Native> places) {
  return serve(function, places, printer::kBadArgument,
               [](std::string_view name, Arguments& arguments, const std::tm& now) {
                 return printer::run("bema-", name, arguments, now);
               });
}

}  // namespace device
