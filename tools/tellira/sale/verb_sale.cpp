#include "sale/verb_sale.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>

#include "edge/console.h"
#include "edge/json_text.h"
#include "edge/masking.h"
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

Examples:
  tellira sale --cwd lib/devices examples/sale.tlr
  tellira sale --cwd lib/devices --tape sale.html examples/sale.tlr
  echo ECF_LeituraX | tellira sale -

Exit status: 0 done, 1 an answer was not what the script wants, 2 wrong usage or script, 3 the library ended the
process or something is missing.)";

struct SaleOptions : LibraryOptions {
  std::string file;
  std::string tape;
  bool json = false;
};

std::string readScript(const std::string& file) {
  std::ifstream opened;
  if (file != "-") opened.open(file, std::ios::binary);
  std::istream& stream = file == "-" ? std::cin : opened;
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

/// Opened before the first command: a page that cannot be written must not be found out after the sale.
std::ofstream openPage(const std::string& file) {
  std::ofstream page;
  if (file.empty()) return page;
  page.open(file, std::ios::binary);
  if (!page) {
    throw Failure(kUsage, "the page " + file + " cannot be written: " + std::strerror(errno) +
                              ".\n  next: name another file with --tape.");
  }
  return page;
}

void finish(const SaleOptions& options, const Transcript& transcript, std::ofstream& page, const std::string& failure) {
  if (options.json) {
    Json json;
    json["script"] = maskCards(options.file);
    json["done"] = failure.empty();
    json["steps"] = transcript.json();
    printJson(json);
  }
  if (!page.is_open()) return;
  page << salePage(maskCards(options.file), transcript.steps(), failure);
  page.close();
  if (!page) note("tellira: the page " + options.tape + " could not be written whole; look whether the disk is full.");
}

int runSale(const SaleOptions& options) {
  const Script script = parseScript(readScript(options.file), options.file == "-" ? "standard input" : options.file);
  std::ofstream page = openPage(options.tape);
  Transcript transcript(!options.json);
  Sale sale(script, {options.libraryPath(), options.directoryPath(), options.timeout()}, transcript);
  try {
    sale.run();
  } catch (const Failure& failure) {
    finish(options, transcript, page, failure.what());
    throw;
  }
  finish(options, transcript, page, "");
  return kDone;
}

}  // namespace

void addSale(Verb& top) {
  auto options = std::make_shared<SaleOptions>();
  Verb verb = top.verb("sale", "Run a script of commands, card payments included");
  addLibraryOptions(verb, *options);
  verb.option("--tape", options->tape, "FILE.html", "Write the run as an HTML page");
  verb.flag("--json", options->json, "Print one JSON object: script, done, steps");
  verb.argument("FILE", options->file, "Script, - for standard input");
  verb.footer(kFooter);
  verb.action([options] { return runSale(*options); });
}

}  // namespace tool
