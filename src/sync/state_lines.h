// Inside the sync floor: what a session tells while it runs, on the screen's two progress lines and in its log.
#pragma once

#include <string>

#include "sync/sync_texts.h"
#include "sync/vornenet.h"

namespace vorne {

/// A text in the message language, filled like printf.
std::string Filled(SyncText text, ...);
/// That as a state line.
void Tell(SyncText text, ...);
/// The runtime's message of that number, "Msg(n)-text" in the message language, filled; and that as a state line.
std::string MessageText(int message, ...);
void TellMessage(int message, ...);
/// The message about what came and finds no room, and why it does not, as WhyNotGrown tells it.
void TellNotStored(const std::string& why);
/// The text with "?" for its control bytes: what comes from a host steers no terminal and makes no lines of its own.
std::string WithoutControls(std::string text);

/// Puts a position (of 100) and a text on the first or second progress line of the caller's screen.
void ShowProgress(int line, int percent, const char* text);
/// The same by the script's own objects; null ones are passed over.
void ShowProgressOn(int line, Obj_Node* bar, Obj_Node* label, int percent, const char* text);

/// Opens and closes the table of messages, which DoSetState adds to.
void OpenMessageTable();
void CloseMessageTable();
/// How many lines that table has.
int MessageCount();
/// The lines of that table, from 0; empty past the end or without a table.
std::string MessageAt(int line);
/// Bytes that the table's lines have together.
long MessageBytes();
/// Removes all lines.
void ClearMessages();

}  // namespace vorne
