// libconvecf.so: every function of the table's fiscal printer.
#define DEVICE_OF_CONVECF
#include "common/boundary.h"
#include "common/entry_points.h"
#include "printer/engine.h"
#include "printer/printer.h"

namespace device {

int call(std::string_view function, std::initializer_list<Native> places) {
  return serve(function, places, printer::kBadArgument,
               [](std::string_view name, Arguments& arguments, const std::tm& now) {
                 return printer::run("ecf-", name, arguments, now);
               });
}

}  // namespace device
