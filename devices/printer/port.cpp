// The serial port, the driver's own settings, its paths and windows.
#include <algorithm>
#include <array>

#include "common/files.h"
#include "printer/commands.h"
#include "printer/printer.h"

namespace printer {

using namespace device;

namespace {

/// Settings a driver knows, with what they are until somebody sets them. An empty default means a text setting.
constexpr std::pair<std::string_view, std::string_view> kSettings[] = {
    {"Path", ""},           {"PathMFD", ""},    {"Zautomatica", "0"}, {"Verao", "0"},
    {"CupomMania", "0"},    {"Log", "0"},       {"AplMensagem1", ""}, {"AplMensagem2", ""},
    {"Espiao", "0"},        {"LogDiario", "0"}, {"AssinarEAD", "0"},  {"Gaveta", "0"},
    {"Veloc115200", "0"},   {"RFD", "0"},       {"Janelas", "1"},     {"FechaAutomatico", "0"},
    {"CupomAdicional", "0"}};

std::string_view defaultOf(std::string_view name, bool& known) {
  const auto* const found = std::find_if(std::begin(kSettings), std::end(kSettings),
                                         [&](const auto& setting) { return setting.first == name; });
  known = found != std::end(kSettings);
  return known ? found->second : std::string_view{};
}

int store(Printer& printer, std::string_view name, const std::string& value) {
  bool known = false;
  const std::string_view standard = defaultOf(name, known);
  const bool onOff = !standard.empty();
  if (!known || value.size() > 128 || (onOff && value != "0" && value != "1")) return kBadArgument;
  printer.set(name, value);
  if (name == "Veloc115200") printer.state.speed = value == "1" ? "115200" : "9600";
  return kOk;
}

template <const char* const& kName>
int setOne(Printer& printer, Arguments& arguments) {
  return store(printer, kName, arguments.trimmed(0));
}

#define PRINTER_SETTING(name) constexpr const char* k##name = #name
PRINTER_SETTING(Path);
PRINTER_SETTING(PathMFD);
PRINTER_SETTING(Zautomatica);
PRINTER_SETTING(Verao);
PRINTER_SETTING(CupomMania);
PRINTER_SETTING(Log);
PRINTER_SETTING(AplMensagem1);
PRINTER_SETTING(AplMensagem2);
PRINTER_SETTING(Espiao);
PRINTER_SETTING(LogDiario);
PRINTER_SETTING(AssinarEAD);
PRINTER_SETTING(Gaveta);
PRINTER_SETTING(Veloc115200);
PRINTER_SETTING(RFD);
PRINTER_SETTING(FechaAutomatico);
PRINTER_SETTING(CupomAdicional);
#undef PRINTER_SETTING

std::string valueOf(const Printer& printer, std::string_view name) {
  bool known = false;
  const std::string_view standard = defaultOf(name, known);
  const std::string value = printer.setting(name);
  return value.empty() ? std::string(standard) : value;
}

int openPort(Printer& printer, Arguments&) {
  printer.state.portOpen = true;
  return kOk;
}

int connect(Printer& printer, Arguments& arguments) {
  const int kind = arguments.number(0);
  const std::string where = arguments.trimmed(1);
  if ((kind != 0 && kind != 1) || where.empty() || where.size() > 40) return kBadArgument;
  printer.state.port = where;
  printer.state.portOpen = true;
  return kOk;
}

int closePort(Printer& printer, Arguments&) {
  printer.state.portOpen = false;
  return kOk;
}

int portAndSpeed(Printer& printer, Arguments& arguments) {
  arguments.answer(0, printer.state.port.substr(0, 10));
  arguments.answer(1, printer.state.speed);
  return kOk;
}

/// Windows of the driver and of its messages; there are none to show, but the wish is kept.
int windows(Printer& printer, Arguments& arguments) {
  const std::string messages = arguments.trimmed(1);
  if (messages != "0" && messages != "1") return kBadArgument;
  return store(printer, "Janelas", arguments.trimmed(0));
}

/// Writes every setting into ecf-ajustes.txt for somebody to look at.
int listSettings(Printer& printer, Arguments&) {
  std::string list;
  for (const auto& [name, standard] : kSettings) list.append(name).append("=").append(valueOf(printer, name)) += '\n';
  return replaceFile(printer.prefix + "ajustes.txt", list) ? kOk : kFileError;
}

/// Section and name stay as they are, the value is answered.
int settingValue(Printer& printer, Arguments& arguments) {
  const std::string name = arguments.trimmed(1);
  bool known = false;
  defaultOf(name, known);
  if (!known) return kBadArgument;
  arguments.answer(2, valueOf(printer, name));
  return kOk;
}

template <const char* const& kName>
int path(Printer& printer, Arguments& arguments) {
  const std::string value = printer.setting(kName);
  arguments.answer(0, value.empty() ? std::string_view("./") : std::string_view(value));
  return kOk;
}

constexpr Command kCommands[] = {
    {"ECF_AbrePortaSerial", openPort, true},
    {"Bematech_FI_AbrePortaSerial", openPort, true},
    {"ECF_AbreConnectC", connect, true},
    {"ECF_FechaPortaSerial", closePort},
    {"Bematech_FI_FechaPortaSerial", closePort},
    {"ECF_RetornaPortaVelocidade", portAndSpeed, true},
    {"ECF_LigaDesligaJanelas", windows, true},
    {"ECF_ZAUTO", setOne<kZautomatica>, true},
    {"ECF_CfgRedZAutomatico", setOne<kZautomatica>},
    {"ECF_CfgFechaAutomaticoCupom", setOne<kFechaAutomatico>},
    {"ECF_CfgCupomAdicional", setOne<kCupomAdicional>},
    {"ECF_Registry", listSettings, true},
    {"ECF_Registry_AlteraRegistry", [](Printer& p, Arguments& a) { return store(p, a.trimmed(0), a.trimmed(1)); },
     true},
    {"ECF_Registry_Path", setOne<kPath>, true},
    {"ECF_Registry_PathMFD", setOne<kPathMFD>, true},
    {"ECF_Registry_Zautomatica", setOne<kZautomatica>, true},
    {"ECF_Registry_Verao", setOne<kVerao>, true},
    {"ECF_Registry_CupomMania", setOne<kCupomMania>, true},
    {"ECF_Registry_Log", setOne<kLog>, true},
    {"ECF_Registry_AplMensagem1", setOne<kAplMensagem1>, true},
    {"ECF_Registry_AplMensagem2", setOne<kAplMensagem2>, true},
    {"ECF_Registry_Default",
     [](Printer& p, Arguments&) {
       p.state.settings.clear();
       return int{kOk};
     },
     true},
    {"ECF_Registry_RetornaValor", settingValue, true},
    {"ECF_Registry_Espiao", setOne<kEspiao>, true},
    {"ECF_Registry_LogDiario", setOne<kLogDiario>, true},
    {"ECF_Registry_AssinarEAD", setOne<kAssinarEAD>, true},
    {"ECF_Registry_Gaveta", setOne<kGaveta>, true},
    {"ECF_Registry_Veloc115200", setOne<kVeloc115200>, true},
    {"ECF_Registry_RFD", setOne<kRFD>, true},
    {"ECF_RetornaPath", path<kPath>, true},
    {"ECF_RetornaPathMFD", path<kPathMFD>, true},
};

}  // namespace

std::span<const Command> portCommands() {
  return kCommands;
}

}  // namespace printer
