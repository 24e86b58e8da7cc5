// Running a sale script against the library.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "library/worker.h"
#include "sale/dialogue.h"
#include "sale/open_documents.h"
#include "sale/script.h"
#include "sale/tape.h"
#include "sale/transcript.h"
#include "sale/variables.h"

namespace tool {

/// Where the commands of a sale go.
struct SalePlaces {
  std::string library;    ///< absolute path
  std::string directory;  ///< absolute path
  std::chrono::seconds timeout{};
};

/// Runs one script, statement by statement, in one child process.
class Sale {
 public:
  Sale(const Script& script, const SalePlaces& places, Transcript& transcript);

  /// @throws Failure: kNo when an answer is not what the script wants, kUsage when a field filled in from a variable
  ///   is no good, kEnded when the library gave no answer or the tool was asked to end. The transcript holds what
  ///   happened until then.
  void run();
  /// What the devices still wait for.
  const OpenDocuments& open() const { return open_; }

 private:
  void runStatement(const Statement& statement);
  void runCommand(const Statement& statement);
  void runDialogue(const Statement& statement);
  void check(const Statement& statement, const std::vector<std::string>& fields, const generated::Command& command);
  std::string expanded(const Word& word) const;
  std::vector<std::string> expanded(const std::vector<Word>& words) const;
  std::vector<std::string> send(const Statement& statement, const generated::Command& command,
                                const std::vector<std::string>& fields);

  const Script& script_;
  SalePlaces places_;
  Transcript& transcript_;
  Worker worker_;
  Tape tape_;
  Variables variables_;
  OpenDocuments open_;
};

}  // namespace tool
