// Inside the sync floor: words for a session's codes and for tasks.
#pragma once

#include <string>

#include "sync/tasks.h"

namespace vorne {

/// What a code of errStatus means and what to do, in the message language.
const char* CodeWords(int code);
/// What a task is, in English: the tool shows it.
std::string TaskWords(const Task& task);

}  // namespace vorne
