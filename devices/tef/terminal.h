// The card terminal during one call: result codes, the dialogue's rules, and what the subjects share.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "common/arguments.h"
#include "tef/state.h"

namespace tef {

using device::Arguments;

/// Results of vendor functions; the README lists them for the host.
enum Code : int {
#define TERMINAL_CODE(name, number, meaning) name = number,
#include "generated/device_codes.def"
};

/// Commands of the dialogue, and the kinds of data and fields; the README lists them for the host.
enum Command : int {
  kTake = 0,
  kShowOperator = 1,
  kShowBoth = 3,
  kClearBoth = 13,
  kYesNo = 20,
  kMenu = 21,
  kWaitKey = 22,
  kReadField = 30,
  kReadAmount = 34,
};
enum Type : int {
  kPlain = 0,
  kMenuType = 1,
  kFirstCopy = 10,
  kSecondCopy = 11,
  kNumber = 12,
  kAuthorization = 13,
  kBrand = 14,
  kModeName = 15,
  kPharmacyNumber = 16,
  kCardField = 512,
  kValidityField = 513,
  kInstalmentsField = 514,
  kAmountField = 515,
  kCodeField = 516,
  kOldNumberField = 517,
  kPharmacyCardField = 518,
};

/// One call's terminal.
struct Terminal {
  State& state;
  std::string now;  ///< AAAAMMDDhhmmss
};

/// What a question shows and takes.
struct Question {
  int command{}, type{}, least{}, most{};
  std::string text;
};

/// One step of the dialogue.
struct StepRow {
  Step step;
  Question (*ask)(const Terminal&);
  /// Takes the answer and says what comes next; nothing when the answer is wrong.
  std::optional<Step> (*accept)(Terminal&, const std::string& answer);
};

/// Begins a dialogue at `step`; a payment that was never confirmed is undone. Returns kGoesOn.
int begin(Terminal& terminal, Step step, Mode mode);
/// One continuation; fills command, type, least, most and buffer of the vendor call.
int continueDialogue(Terminal& terminal, Arguments& arguments);

/// Puts the end of the dialogue together: every one of these returns Step::kAnswers.
Step approve(Terminal& terminal);
Step refuse(Terminal& terminal, int result, const std::string& message);
Step finishWith(Terminal& terminal, std::vector<Answer> answers);

/// The payment waiting to be confirmed, or null; a finished one by its number and standing.
Transaction* pending(State& state);
Transaction* findConfirmed(State& state, std::string_view number);
/// Undoes the payment that waits, if one does: nobody will confirm it any more.
void undoPending(State& state);
std::string modeName(Mode mode);

/// "0" or "1", nothing otherwise.
std::optional<bool> yes(const std::string& answer);

// The subjects' steps.
const StepRow* findPaymentStep(Step step);
const StepRow* findSlipStep(Step step);
const StepRow* findPharmacyStep(Step step);

/// kApproved, kBadArgument or kCheckDigit for a slip (`title`) or bill: 44 digits as read, 47 or 48 as typed.
int checkCode(std::string_view code, bool title);
/// The amount that a checked code carries; 0 when it carries none.
Cents amountOfCode(std::string_view code, bool title);

using Handler = int (*)(Terminal&, Arguments&);

struct Function {
  std::string_view name;
  Handler handler;
  bool unconfigured = false;  ///< answers before the terminal is configured
};
const Function* findFunction(std::string_view name);

// Handlers that live with their subject.
int beginSlip(Terminal& terminal, Arguments& arguments);
int beginPharmacyQuery(Terminal& terminal, Arguments& arguments);
int addPharmacyProduct(Terminal& terminal, Arguments& arguments);
int beginPharmacySale(Terminal& terminal, Arguments& arguments);
int beginPharmacyReversal(Terminal& terminal, Arguments& arguments);
/// Coupon, date AAAAMMDD and time HHMMSS from text place `first` on; false when malformed.
bool readOccasion(Terminal& terminal, Arguments& arguments, std::size_t first);

}  // namespace tef
