// The meanings of negative results are known for the simulated devices alone: of a real one they are the vendor's own.
#include "library/simulator.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <utility>
#include <vector>

#include "edge/paths.h"
#include "library/commands.h"
#include "text/text.h"

namespace tool {
namespace {

constexpr std::pair<int, const char*> kPrinterCodes[] = {
#define DEVICE_CODE(name, number, meaning) {number, meaning},
#define PRINTER_CODE DEVICE_CODE
#include "generated/device_codes.def"
};
constexpr std::pair<int, const char*> kTerminalCodes[] = {
#define DEVICE_CODE(name, number, meaning) {number, meaning},
#define TERMINAL_CODE DEVICE_CODE
#include "generated/device_codes.def"
};

/// The simulated devices look for the switches that make them fail, so that their names stand in the file.
bool isSimulator(const std::string& path) {
  constexpr std::string_view kSwitch = "TELLIRA_SIM_RESULT";
  constexpr std::size_t kMostBytes = 64 << 20;
  std::ifstream file(path, std::ios::binary);
  std::vector<char> piece(1 << 16);
  std::string seen;
  for (std::size_t read = 0; file && read < kMostBytes; read += piece.size()) {
    file.read(piece.data(), static_cast<std::streamsize>(piece.size()));
    seen.append(piece.data(), static_cast<std::size_t>(file.gcount()));
    if (seen.find(kSwitch) != std::string::npos) return true;
    // The name may lie across two pieces.
    seen.erase(0, seen.size() - std::min(seen.size(), kSwitch.size()));
  }
  return false;
}

}  // namespace

std::string simulatedMeaning(const generated::Command& command, const std::string& directory, std::string_view result) {
  const std::string_view text = trimmed(result);
  int number = 0;
  const auto end = std::from_chars(text.data(), text.data() + text.size(), number).ptr;
  // Only refusals have meanings; what is not a number at all is no result.
  if (number >= 0 || end != text.data() + text.size() || !answersResult(command)) return {};
  const auto meaningIn = [number](const auto& codes) -> std::string {
    const auto* found =
        std::find_if(std::begin(codes), std::end(codes), [number](const auto& code) { return code.first == number; });
    return found == std::end(codes) ? "" : found->second;
  };
  const bool isTerminal = command.library == generated::SITEF;
  const std::string meaning = isTerminal ? meaningIn(kTerminalCodes) : meaningIn(kPrinterCodes);
  return !meaning.empty() && isSimulator(resolved(std::string(command.library), directory)) ? meaning : "";
}

}  // namespace tool
