// Inside the sync floor: what a session tells while it runs, on the screen's two progress lines and in its log.
#pragma once

#include <string>

#include "sync/vornenet.h"

namespace vorne {

/// A state line of a message of the runtime, filled like printf.
void TellState(const char* format, ...);
/// The same by the number of the message: "Msg(n)-text" in the message language, then filled.
void TellMessage(int message, ...);
std::string MessageText(int message, ...);

/// Puts a position (of 100) and a text on the first or second progress line of the caller's screen.
void ShowProgress(int line, int percent, const char* text);
/// The same by the script's own objects; null ones are passed over.
void ShowProgressOn(Obj_Node* bar, Obj_Node* label, int percent, const char* text);

/// Opens and closes the table of messages, which DoSetState adds to.
void OpenMessageTable();
void CloseMessageTable();

}  // namespace vorne
