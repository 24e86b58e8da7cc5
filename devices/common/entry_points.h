// Makes the exported functions of one vendor library out of the command table. A library's source defines
// DEVICE_OF_<library> for the library it is, includes this file and gives `device::call` its meaning; rows of the
// other libraries vanish.
#pragma once

#include <initializer_list>
#include <string_view>

#include "common/arguments.h"
#include "generated/arguments.h"

namespace device {
/// Called by every exported function.
int call(std::string_view function, std::initializer_list<Native> places);
}  // namespace device

// DEVICE_TYPED(arguments...) makes the parameter list, DEVICE_NAMED(arguments...) the names in it.
#define DEVICE_TYPED(...) __VA_OPT__(DEVICE_T1(__VA_ARGS__))
#define DEVICE_T1(a, ...) generated::VendorType<a> p1 __VA_OPT__(, DEVICE_T2(__VA_ARGS__))
#define DEVICE_T2(a, ...) generated::VendorType<a> p2 __VA_OPT__(, DEVICE_T3(__VA_ARGS__))
#define DEVICE_T3(a, ...) generated::VendorType<a> p3 __VA_OPT__(, DEVICE_T4(__VA_ARGS__))
#define DEVICE_T4(a, ...) generated::VendorType<a> p4 __VA_OPT__(, DEVICE_T5(__VA_ARGS__))
#define DEVICE_T5(a, ...) generated::VendorType<a> p5 __VA_OPT__(, DEVICE_T6(__VA_ARGS__))
#define DEVICE_T6(a, ...) generated::VendorType<a> p6 __VA_OPT__(, DEVICE_T7(__VA_ARGS__))
#define DEVICE_T7(a, ...) generated::VendorType<a> p7 __VA_OPT__(, DEVICE_T8(__VA_ARGS__))
#define DEVICE_T8(a, ...) generated::VendorType<a> p8 __VA_OPT__(, DEVICE_T9(__VA_ARGS__))
#define DEVICE_T9(a, ...) generated::VendorType<a> p9 __VA_OPT__(, DEVICE_T10(__VA_ARGS__))
#define DEVICE_T10(a, ...) generated::VendorType<a> p10 __VA_OPT__(, DEVICE_T11(__VA_ARGS__))
#define DEVICE_T11(a, ...) generated::VendorType<a> p11 __VA_OPT__(, DEVICE_T12(__VA_ARGS__))
#define DEVICE_T12(a, ...) generated::VendorType<a> p12 __VA_OPT__(, DEVICE_T13(__VA_ARGS__))
#define DEVICE_T13(a, ...) generated::VendorType<a> p13 __VA_OPT__(, DEVICE_T14(__VA_ARGS__))
#define DEVICE_T14(a, ...) generated::VendorType<a> p14 __VA_OPT__(, DEVICE_T15(__VA_ARGS__))
#define DEVICE_T15(a, ...) generated::VendorType<a> p15 __VA_OPT__(, DEVICE_T16(__VA_ARGS__))
#define DEVICE_T16(a, ...) generated::VendorType<a> p16 __VA_OPT__(, DEVICE_T17(__VA_ARGS__))
#define DEVICE_T17(a) generated::VendorType<a> p17
#define DEVICE_NAMED(...) __VA_OPT__(DEVICE_N1(__VA_ARGS__))
#define DEVICE_N1(a, ...) p1 __VA_OPT__(, DEVICE_N2(__VA_ARGS__))
#define DEVICE_N2(a, ...) p2 __VA_OPT__(, DEVICE_N3(__VA_ARGS__))
#define DEVICE_N3(a, ...) p3 __VA_OPT__(, DEVICE_N4(__VA_ARGS__))
#define DEVICE_N4(a, ...) p4 __VA_OPT__(, DEVICE_N5(__VA_ARGS__))
#define DEVICE_N5(a, ...) p5 __VA_OPT__(, DEVICE_N6(__VA_ARGS__))
#define DEVICE_N6(a, ...) p6 __VA_OPT__(, DEVICE_N7(__VA_ARGS__))
#define DEVICE_N7(a, ...) p7 __VA_OPT__(, DEVICE_N8(__VA_ARGS__))
#define DEVICE_N8(a, ...) p8 __VA_OPT__(, DEVICE_N9(__VA_ARGS__))
#define DEVICE_N9(a, ...) p9 __VA_OPT__(, DEVICE_N10(__VA_ARGS__))
#define DEVICE_N10(a, ...) p10 __VA_OPT__(, DEVICE_N11(__VA_ARGS__))
#define DEVICE_N11(a, ...) p11 __VA_OPT__(, DEVICE_N12(__VA_ARGS__))
#define DEVICE_N12(a, ...) p12 __VA_OPT__(, DEVICE_N13(__VA_ARGS__))
#define DEVICE_N13(a, ...) p13 __VA_OPT__(, DEVICE_N14(__VA_ARGS__))
#define DEVICE_N14(a, ...) p14 __VA_OPT__(, DEVICE_N15(__VA_ARGS__))
#define DEVICE_N15(a, ...) p15 __VA_OPT__(, DEVICE_N16(__VA_ARGS__))
#define DEVICE_N16(a, ...) p16 __VA_OPT__(, DEVICE_N17(__VA_ARGS__))
#define DEVICE_N17(a) p17

#define DEVICE_EXPORT(function, arguments)                                                \
  extern "C" __attribute__((visibility("default"))) int function(DEVICE_TYPED arguments); \
  int function(DEVICE_TYPED arguments) {                                                  \
    return device::call(#function, {DEVICE_NAMED arguments});                             \
  }

#ifdef DEVICE_OF_CONVECF
#define DEVICE_ROW_CONVECF DEVICE_EXPORT
#else
#define DEVICE_ROW_CONVECF(function, arguments)
#endif
#ifdef DEVICE_OF_BEMATECH
#define DEVICE_ROW_BEMATECH DEVICE_EXPORT
#else
#define DEVICE_ROW_BEMATECH(function, arguments)
#endif
#ifdef DEVICE_OF_SITEF
#define DEVICE_ROW_SITEF DEVICE_EXPORT
#else
#define DEVICE_ROW_SITEF(function, arguments)
#endif

namespace device::exports {
using namespace generated::words;
// A COMMAND_VIA row calls a function that another row already exports.
#define COMMAND(name, library, adapter, function, arguments, output, fields) DEVICE_ROW_##library(function, arguments)
#define ADAPTER_ONLY(library, adapter, function, arguments) DEVICE_ROW_##library(function, arguments)
#include "generated/command_table.def"
}  // namespace device::exports
