// The vendor functions and who carries them out: above all handlers, none of which calls it.
#pragma once

#include <span>
#include <string_view>

#include "printer/printer.h"

namespace printer {

/// The row of `function`, or null.
const Command* findCommand(std::string_view function);

// The subjects, each in its own file.
std::span<const Command> portCommands();
std::span<const Command> programmingCommands();
std::span<const Command> couponCommands();
std::span<const Command> closingCommands();
std::span<const Command> linkedCommands();
std::span<const Command> receiptCommands();
std::span<const Command> dayCommands();
std::span<const Command> deskCommands();
std::span<const Command> identityCommands();
std::span<const Command> totalsCommands();
std::span<const Command> counterCommands();
std::span<const Command> statusCommands();
std::span<const Command> fileCommands();
std::span<const Command> barcodeCommands();

}  // namespace printer
