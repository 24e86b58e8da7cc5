// Shapes that most readings have: one text place filled from the printer's state.
#pragma once

#include <string>
#include <utility>

#include "printer/printer.h"

namespace printer {

/// Answers the text that `kRead(printer)` makes in the first place.
template <auto kRead>
int reads(Printer& printer, Arguments& arguments) {
  arguments.answer(0, kRead(std::as_const(printer)));
  return kOk;
}

/// Answers two texts, a pair made by `kRead(printer)`, in the first two places.
template <auto kRead>
int readsTwo(Printer& printer, Arguments& arguments) {
  const std::pair<std::string, std::string> texts = kRead(std::as_const(printer));
  arguments.answer(0, texts.first);
  arguments.answer(1, texts.second);
  return kOk;
}

/// Money as an answer: `width` digits, no separator.
inline std::string amount(Cents cents, std::size_t width = 14) {
  return device::digits(cents, width);
}

/// "name,name,name" or with whatever `each` makes of a row.
template <class Rows, class Each>
std::string joined(const Rows& rows, Each each) {
  std::string text;
  for (const auto& row : rows) text += (text.empty() ? "" : ",") + std::string(each(row));
  return text;
}

}  // namespace printer
