// Nothing is sent before all that can fail beforehand has been looked at: the script as a whole, the page's place.
#include "sale/verb_sale.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <new>
#include <optional>

#include "edge/console.h"
#include "edge/failure_report.h"
#include "edge/interrupts.h"
#include "edge/json_text.h"
#include "edge/masking.h"
#include "edge/output_file.h"
#include "library/library_options.h"
#include "sale/page.h"
#include "sale/sale.h"

namespace tool {
namespace {

constexpr const char* kFooter = R"(
A script holds one command per line:

  # comment
  ECF_AbreCupom "123.456.789-09"             words are separated by blanks; "..." with \" \\ \$ \n \xNN
  $cupom = ECF_NumeroCupom ""                keeps the answer as $cupom.0 (result), $cupom.1, ...
  expect 1                                   checks the result before it; also = != < <= > >=
  try ECF_CancelaCupom                       goes on after a negative result, which otherwise stops the script
  if $cupom.1 > 0 echo "Cupom $cupom.1"      runs the rest of the line only when the comparison holds
  tef 0 "25,00" $cupom.1 $today $now OPERADOR
      answer menu 2
      answer card 4000000000000010           also: yes, no, validity, instalments, amount, barcode, nsu,
      cancel                                 pharmacy, text; back
  ECF_UsaComprovanteNaoFiscalVinculado $tef.customer

A dialogue leaves $tef.result, .customer, .merchant (receipts), .nsu, .authorization, .brand, .kind. The whole script
is checked before the first command is sent.

A sale that ends early says what the devices wait for (an open coupon, a payment that is not confirmed) and the commands
that end it; so does one whose output could not be written. Ctrl-C ends it so, after the command that is under way or
two seconds.

Examples, on the simulated devices:
  tellira sale --cwd build/release/lib/devices examples/sale.tlr
  tellira sale --cwd build/release/lib/devices --tape sale.html examples/sale.tlr
  echo ECF_AbrePortaSerial | tellira sale --cwd build/release/lib/devices -

Exit status: 0 done, 1 an answer was not what the script wants, 2 wrong usage or script, 3 the library ended the
process, something is missing, the sale was interrupted, or its page or output could not be written.)";

struct SaleOptions : LibraryOptions {
  std::string file;
  std::string tape;
  bool json = false;
};

std::string readScript(const std::string& file) {
  std::ifstream opened;
  if (file != "-") opened.open(file, std::ios::binary);
  std::istream& stream = file == "-" ? std::cin : opened;
  // One byte more than is allowed: so much read tells that there is more.
  std::string text(kMostScriptBytes + 1, '\0');
  if (stream) stream.read(text.data(), static_cast<std::streamsize>(text.size()));
  const auto got = static_cast<std::size_t>(stream.gcount());
  if (stream.bad() || (file != "-" && (!opened.is_open() || (got == 0 && !stream.eof())))) {
    throw Failure(kUsage, "the script " + file + " cannot be read: " + std::strerror(errno) +
                              ".\n  next: name a script file, or - for standard input.");
  }
  if (got > kMostScriptBytes) {
    throw Failure(kUsage, "the script " + file + " is longer than " + std::to_string(kMostScriptBytes) +
                              " bytes.\n  next: split it.");
  }
  text.resize(got);
  return text;
}

/// How a sale ended.
struct Ended {
  bool isDone = true;  ///< the script ran to its end
  Status status = kDone;
  std::string words;  ///< what went wrong

  /// Empty when nothing did, else with what the devices wait for.
  std::string text(const Sale& sale) const { return words.empty() ? "" : words + sale.open().text(); }
};

Ended carriedOut(Sale& sale) {
  try {
    sale.run();
    return {};
  } catch (const Failure& failure) {
    return {false, failure.status, failure.what()};
  } catch (const std::bad_alloc&) {
    return {false, kEnded, memoryFailure().what()};
  }
}

/// The page takes its file's place when it is whole. The sale is over then, whatever becomes of the page.
void writePage(OutputFile& page, const SaleOptions& options, const Sale& sale, const Transcript& transcript,
               Ended& ended) {
  try {
    page.text() = salePage(maskCards(options.file), transcript.steps(), ended.text(sale));
    page.finish();
  } catch (const Failure& failure) {
    ended.status = kEnded;
    ended.words +=
        (ended.isDone ? "the sale was carried out, but the page " : "\nThe page ") + std::string(failure.what());
  }
}

/// Nobody has seen what was answered, nor what the script means to leave open.
void tellUnseen(Ended& ended) {
  if (!ended.isDone || !takeOutputFailure()) return;
  ended.status = kEnded;
  if (ended.words.empty())
    ended.words =
        "the sale was carried out, but its output could not be written.\n  next: look whether the disk is full.";
}

void printJsonSale(const SaleOptions& options, const Sale& sale, const Transcript& transcript, const Ended& ended) {
  Json json;
  json["script"] = maskCards(options.file);
  json["done"] = ended.isDone;
  json["steps"] = transcript.json();
  json["open"] = sale.open().json();
  if (!ended.words.empty()) json["error"] = failureJson(ended.words);
  printJson(json);
}

int runSale(const SaleOptions& options) {
  const Script script = parseScript(readScript(options.file), options.file == "-" ? "standard input" : options.file);
  // Opened before the first command: a page that cannot be written must not be found out after the sale.
  std::optional<OutputFile> page;
  if (!options.tape.empty()) page.emplace(options.tape);
  const Interrupts interrupts(Interrupts::kGoesOn, Interrupts::kIsTold);
  std::signal(SIGPIPE, SIG_IGN);  // a sale goes on when nobody looks at it any more
  Transcript transcript(!options.json);
  Sale sale(script, {options.libraryPath(), options.directoryPath(), options.timeout()}, transcript);
  Ended ended = carriedOut(sale);
  if (page) writePage(*page, options, sale, transcript, ended);
  if (options.json) printJsonSale(options, sale, transcript, ended);
  tellUnseen(ended);
  if (!ended.words.empty()) complain(ended.text(sale));
  return ended.status;
}

}  // namespace

void addSale(Verb& top) {
  auto options = std::make_shared<SaleOptions>();
  Verb verb = top.verb("sale", "Run a script of commands, card payments included");
  addLibraryOptions(verb, *options);
  verb.option("--tape", options->tape, "FILE.html", "Write the run as an HTML page");
  verb.flag("--json", options->json, "Print one JSON object: script, done, steps, open");
  verb.argument("FILE", options->file, "Script, - for standard input");
  verb.footer(kFooter);
  verb.action([options] { return runSale(*options); });
}

}  // namespace tool
