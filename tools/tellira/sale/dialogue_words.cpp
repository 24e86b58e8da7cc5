// Numbers are the terminal's: commands say what it does (ask, show, keep), field types what it is about.
#include "sale/dialogue_words.h"

#include <algorithm>
#include <array>

namespace tool {
namespace {

constexpr int kAnyType = -1;

/// One kind of answer: its keyword, the command and field type it answers, what is asked.
struct Answerable {
  std::string_view keyword;
  int command;
  int fieldType;
  std::string_view asked;
};
// Rows with a field type stand before the row that takes any: the first that fits names the prompt.
constexpr std::array<Answerable, 13> kAnswerable{{
    {"menu", kAskMenu, kAnyType, "a choice from the menu"},
    {"yes", kAskYesNo, kAnyType, "yes or no"},
    {"no", kAskYesNo, kAnyType, "yes or no"},
    {"card", kAskField, 512, "the card number"},
    {"validity", kAskField, 513, "the card's validity (MMYY)"},
    {"instalments", kAskField, 514, "the number of instalments"},
    {"barcode", kAskField, 516, "the bar code or typed line"},
    {"nsu", kAskField, 517, "the NSU of an earlier payment"},
    {"pharmacy", kAskField, 518, "the number of the pharmacy card"},
    {"amount", kAskAmount, kAnyType, "an amount"},
    {"text", kAskField, kAnyType, "a text"},
    {"text", kAskAmount, kAnyType, "an amount"},
    {"text", kAskMenu, kAnyType, "a choice from the menu"},
}};

struct Kept {
  int fieldType;
  std::string_view key;
};
constexpr std::array<Kept, 7> kKept{{{10, "customer"},
                                     {11, "merchant"},
                                     {12, "nsu"},
                                     {13, "authorization"},
                                     {14, "brand"},
                                     {15, "kind"},
                                     {16, "pharmacy"}}};

bool fits(const Answerable& row, int command, int fieldType) {
  return row.command == command && (row.fieldType == kAnyType || row.fieldType == fieldType);
}

const Answerable* promptRow(int command, int fieldType) {
  const auto found = std::find_if(kAnswerable.begin(), kAnswerable.end(),
                                  [&](const Answerable& row) { return fits(row, command, fieldType); });
  return found == kAnswerable.end() ? nullptr : &*found;
}

}  // namespace

bool isAnswerKeyword(std::string_view keyword) {
  return std::any_of(kAnswerable.begin(), kAnswerable.end(),
                     [&](const Answerable& row) { return row.keyword == keyword; });
}

std::string answerKeywordsInWords() {
  std::string words;
  for (const Answerable& row : kAnswerable) {
    const std::string keyword(row.keyword);
    if (words.find(keyword) == std::string::npos) words += (words.empty() ? "" : ", ") + keyword;
  }
  return words;
}

bool answersPrompt(std::string_view keyword, int command, int fieldType) {
  return std::any_of(kAnswerable.begin(), kAnswerable.end(),
                     [&](const Answerable& row) { return row.keyword == keyword && fits(row, command, fieldType); });
}

std::string promptInWords(int command, int fieldType) {
  const Answerable* row = promptRow(command, fieldType);
  return row == nullptr ? "" : std::string(row->asked);
}

std::string keywordFor(int command, int fieldType) {
  const Answerable* row = promptRow(command, fieldType);
  return row == nullptr ? "" : std::string(row->keyword);
}

std::string dialogueKey(int fieldType) {
  const auto found =
      std::find_if(kKept.begin(), kKept.end(), [&](const Kept& kept) { return kept.fieldType == fieldType; });
  return found == kKept.end() ? "type" + std::to_string(fieldType) : std::string(found->key);
}

bool isDialogueKey(std::string_view key) {
  if (key == "result" || (key.substr(0, 4) == "type" && key.size() > 4)) return true;
  return std::any_of(kKept.begin(), kKept.end(), [&](const Kept& kept) { return kept.key == key; });
}

std::string dialogueKeysInWords() {
  std::string words = ".result";
  for (const Kept& kept : kKept) words += ", ." + std::string(kept.key);
  return words + " and .typeN";
}

}  // namespace tool
