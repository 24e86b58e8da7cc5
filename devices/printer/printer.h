// One call on the printer: its state, its paper, its clock, and what many handlers need.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "common/arguments.h"
#include "common/codes.h"
#include "common/text.h"
#include "printer/state.h"
#include "printer/tape.h"

namespace printer {

using device::Arguments;

/// Results of vendor functions; the README lists them for the host.
enum Code : int {
#define PRINTER_CODE(name, number, meaning) name = number,
#include "generated/device_codes.def"
};
using device::kDamagedState;

/// The made-up shop and machine.
inline constexpr std::string_view kCnpj = "12.345.678/0001-95";
inline constexpr std::string_view kStateRegistration = "123.456.789-00";
inline constexpr std::string_view kCityRegistration = "0123456";
inline constexpr std::string_view kSerialNumber = "SIM00000000000000001";
inline constexpr std::string_view kFirmware = "010000";
inline constexpr std::string_view kBrand = "SIMULADA";
inline constexpr std::string_view kModel = "ECF-SIM 1";

struct Printer {
  State& state;
  Tape& tape;
  std::string prefix;  ///< of the files: directory and "ecf-" or "bema-"
  std::string now;     ///< the printer's own clock

  std::string today() const { return now.substr(0, 8); }

  /// The value of a setting, empty when it was never set.
  std::string setting(std::string_view name) const;
  void set(std::string_view name, std::string_view value);

  /// Ends a printed document: registers it and cuts the paper.
  void finish(Kind kind, Cents total, bool cancelled, const std::string& customer = {});
  /// Shop, tax numbers, date and counters.
  void head();
};

using Handler = int (*)(Printer&, Arguments&);

/// One vendor function.
struct Command {
  std::string_view function;
  Handler handler;
  bool withoutPort = false;  ///< answers while the serial port is closed
};

/// Index in a table by its name (case does not matter) or its number counted from 1; nothing when it is neither.
std::optional<int> findNamed(const std::vector<Named>& table, std::string_view nameOrIndex);

}  // namespace printer
