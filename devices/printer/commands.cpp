// The map is made at the first call: each subject lists its own functions.
#include "printer/commands.h"

#include <unordered_map>

namespace printer {

const Command* findCommand(std::string_view function) {
  static const auto commands = [] {
    std::unordered_map<std::string_view, const Command*> map;
    for (const auto subject :
         {portCommands(), programmingCommands(), couponCommands(), closingCommands(), linkedCommands(),
          receiptCommands(), dayCommands(), deskCommands(), identityCommands(), totalsCommands(), counterCommands(),
          statusCommands(), fileCommands(), barcodeCommands()}) {
      for (const Command& command : subject) map.emplace(command.function, &command);
    }
    return map;
  }();
  const auto found = commands.find(function);
  return found == commands.end() ? nullptr : found->second;
}

}  // namespace printer
