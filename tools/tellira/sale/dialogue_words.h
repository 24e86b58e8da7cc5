// The words of a payment dialogue: what a script may answer, and what a dialogue leaves behind.
#pragma once

#include <string>
#include <string_view>

namespace tool {

/// Commands with which the terminal asks the host for something. Everything else needs no answer.
enum DialogueCommand : int {
  kData = 0,
  kMessageOperator = 1,
  kMessageCustomer = 2,
  kMessageBoth = 3,
  kAskYesNo = 20,
  kAskMenu = 21,
  kAskKey = 22,
  kAskField = 30,
  kAskAmount = 34,
};

/// True for a keyword that may stand behind `answer`.
bool isAnswerKeyword(std::string_view keyword);

/// "menu, yes, no, ..."
std::string answerKeywordsInWords();

/// True when `keyword` answers what the terminal asks with a command and a field type.
bool answersPrompt(std::string_view keyword, int command, int fieldType);

/// "a menu choice", "the card number", ...: what is asked; empty when the command asks nothing.
std::string promptInWords(int command, int fieldType);

/// The keyword that answers a prompt, for advice.
std::string keywordFor(int command, int fieldType);

/// The name under which a dialogue's variable keeps data of a field type; "typeN" when it has none of its own.
std::string dialogueKey(int fieldType);

/// True for a key that a dialogue's variable may have.
bool isDialogueKey(std::string_view key);

/// ".result, .customer, ..."
std::string dialogueKeysInWords();

}  // namespace tool
