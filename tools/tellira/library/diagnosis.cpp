// A cause is told by how the child process ended and by what the library had printed. What a device has done by then
// nobody knows: each advice says to look first.
#include "library/diagnosis.h"

#include <array>
#include <cstring>
#include <optional>

#include "edge/paths.h"
#include "library/commands.h"
#include "library/library_file.h"
#include "text/text.h"

namespace tool {
namespace {

constexpr const char* kLookFirst =
    "check that the device is on and connected, and look at what it did before the command is sent again.";

/// Why it happened and what to do next.
struct Reason {
  std::string why;
  std::string next;
};

/// The text between two marks, nothing when they are not both there.
std::optional<std::string> between(std::string_view text, std::string_view before, std::string_view after) {
  const std::size_t begin = text.find(before);
  if (begin == std::string_view::npos) return std::nullopt;
  const std::string_view rest = text.substr(begin + before.size());
  const std::size_t end = rest.find(after);
  if (end == std::string_view::npos) return std::nullopt;
  return std::string(rest.substr(0, end));
}

Reason vendorLibraryMissing(const std::string& name, const CallFacts& facts) {
  const std::string path = resolved(name, facts.directory);
  const std::string problem = loadProblem(path);
  if (problem.empty()) {
    return {path + " is there and of the right word size, but the system could not load it.",
            "see with `ldd " + path + "` which library it needs is missing."};
  }
  return {problem, "name the directory that holds " + name.substr(name.rfind('/') + 1) +
                       " with --cwd; the simulated devices are in " + besideTool("../lib/devices") + "."};
}

Reason vendorLibraryMissing(std::string_view words, const CallFacts& facts) {
  return vendorLibraryMissing(*between(words, "DLL ", " n\xC3\xA3o encontrada"), facts);
}

Reason functionMissing(std::string_view words, const CallFacts& facts) {
  const std::string function = between(words, "Function <", ">").value_or("");
  const std::string library = between(words, "not found in DLL <", ">").value_or("");
  return {resolved(library, facts.directory) + " has no function " + function + ".",
          "this model's library does not know the command; use a newer library of the vendor or another command "
          "(`tellira commands`)."};
}

Reason unknownCommand(std::string_view, const CallFacts& facts) {
  return {unknownCommandText(facts.name), findingCommandsText()};
}

Reason runtimeStopped(std::string_view, const CallFacts& facts) {
  if (facts.command != nullptr && static_cast<int>(facts.fields) + 1 < generated::HighestField(*facts.command)) {
    const int missing = static_cast<int>(facts.fields) + 2;
    return {std::string(facts.command->name) + " reads fields 2 to " +
                std::to_string(generated::HighestField(*facts.command)) + "; field " + std::to_string(missing) + " (" +
                std::string(kindName(fieldKind(*facts.command, missing))) + ") is missing.",
            "give every field, '' for an empty one."};
  }
  return {"the library met an argument it could not use.",
          "compare the fields with `tellira commands " + facts.name + "`."};
}

Reason catchAll(std::string_view, const CallFacts&) {
  return {"something inside the library or a vendor library threw an exception, and the library ends the process then.",
          "repeat the call with simpler fields; if it stays, the vendor library is at fault."};
}

/// What the library prints, what it means. The first row that fits holds: the telling ones stand before the general.
struct Known {
  std::string_view words;
  Reason (*reason)(std::string_view words, const CallFacts& facts);
};
constexpr std::array<Known, 5> kKnown{{
    {" n\xC3\xA3o encontrada",
     [](std::string_view words, const CallFacts& facts) { return vendorLibraryMissing(words, facts); }},
    {"not found in DLL <", functionMissing},
    {"Function not found in TELLIRA.DLL/SO", unknownCommand},
    {"SAIU PELO CATCH", catchAll},
    // Last: what the other rows know by its words ends with a number, too.
    {"RunTimeError = -1", runtimeStopped},
}};

Reason reasonOfExit(const Answer& answer, const CallFacts& facts) {
  const std::string words = utf8FromLatin1(answer.words);
  for (const Known& known : kKnown) {
    if (words.find(known.words) != std::string::npos) return known.reason(words, facts);
  }
  return {"the library or the vendor library ended the process without saying why.",
          "look at the vendor's own log, and whether the device is connected and free."};
}

Reason reasonOf(const Answer& answer, const CallFacts& facts) {
  switch (answer.ending) {
    case Ending::kNoDirectory:
      return {facts.directory + " cannot be entered: " + answer.detail + ".", "name an existing directory with --cwd."};
    case Ending::kNotLoaded: {
      const std::string problem = loadProblem(facts.library);
      return {problem.empty() ? answer.detail + "." : problem, "name the library with --lib FILE, or build it."};
    }
    case Ending::kNoExport:
      return {facts.library + " has no function " + answer.detail + "; it is another library.",
              "name libtellira.so with --lib FILE."};
    case Ending::kSignalled:
      return {"the vendor library (or the library) made an access it must not make.",
              "check the fields against the vendor's manual; the device may be half-way through a document."};
    case Ending::kTimedOut:
      return {"the device or its library did not come back; the command may have been carried out all the same.",
              std::string(kLookFirst) + " A longer time is given with --timeout SECONDS."};
    case Ending::kInterrupted:
      return {"the tool was asked to end before the answer came; the command may have been carried out.", kLookFirst};
    case Ending::kNoProcess:
      return {answer.detail + ".", "free memory or end other processes, then try again."};
    default:
      return reasonOfExit(answer, facts);
  }
}

std::string happened(const Answer& answer, const CallFacts& facts) {
  switch (answer.ending) {
    case Ending::kNoDirectory:
      return "the working directory cannot be used";
    case Ending::kNotLoaded:
    case Ending::kNoExport:
      return "the library cannot be used";
    case Ending::kSignalled:
      return "the process was ended by signal " + std::to_string(answer.number) + " (" + strsignal(answer.number) + ")";
    case Ending::kTimedOut:
      return "no answer within " + std::to_string(facts.timeout.count()) +
             (facts.timeout.count() == 1 ? " second" : " seconds") + " from " + facts.library +
             "; the process was stopped";
    case Ending::kInterrupted:
      return "interrupted; the process was stopped";
    case Ending::kNoProcess:
      return "no process could be started for the call";
    default:
      return "the library ended the process (exit status " + std::to_string(answer.number) + ")";
  }
}

}  // namespace

std::string quotedWords(const std::string& words) {
  std::string lines;
  for (const std::string& line : split(utf8FromLatin1(words), '\n')) {
    std::string shown;
    for (const char c : line) {
      if (static_cast<unsigned char>(c) >= 0x20 || c == '\t') shown += c;  // no control codes to the terminal
    }
    if (!trimmed(shown).empty()) lines += "    | " + shown + "\n";
  }
  return lines;
}

std::string explain(const Answer& answer, const CallFacts& facts) {
  const Reason reason = reasonOf(answer, facts);
  std::string text = (facts.name.empty() ? "the call" : facts.name) + ": " + happened(answer, facts) + ".\n";
  if (const std::string words = quotedWords(answer.words); !words.empty()) text += "  it said:\n" + words;
  return text + "  why:  " + reason.why + "\n  next: " + reason.next;
}

}  // namespace tool
