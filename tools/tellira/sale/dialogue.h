// The interactive payment dialogue: one opening call, then continuations until the terminal is done.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "sale/script.h"
#include "sale/transcript.h"

namespace tool {

/// What a dialogue needs from whoever runs it.
struct DialogueHost {
  /// Sends a command and gives its answer's fields; ends by an exception when there is none.
  std::function<std::vector<std::string>(const char* name, const std::vector<std::string>& fields)> send;
  std::function<void(Remark::Kind kind, const std::string& text)> show;
  std::function<std::string(const Word& word)> expand;
  std::function<Failure(Place place, Status status, const std::string& what)> fail;
};

struct DialogueResult {
  std::string result;                       ///< 0 done, negative refused or cancelled
  std::map<std::string, std::string> kept;  ///< receipts, numbers, ... under their names
};

/// Most continuations of one dialogue; a terminal that asks on and on ends in an error.
inline constexpr int kMostDialogueSteps = 1000;

/// Runs the dialogue of a `tef` statement with its replies in the order written.
/// @param opening the seven fields of the opening call
/// @throws Failure when something is asked that the next reply does not answer, and after kMostDialogueSteps
DialogueResult runDialogueWith(const DialogueHost& host, const Statement& statement,
                               const std::vector<std::string>& opening);

}  // namespace tool
