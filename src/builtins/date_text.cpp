// Dates written and read in a date format such as "dd/mm/yyyy".
#include <algorithm>
#include <array>
#include <string>

#include "builtins/digits.h"
#include "builtins/new_text.h"
#include "builtins/vornefun.h"
#include "runtime/arguments.h"
#include "runtime/calendar.h"

using namespace vorne;

namespace {

enum Part : int { kDay, kMonth, kYear, kParts };

/// Where a format wants a part: from its letter's first place, as wide as the letter occurs.
struct Run {
  std::size_t at = 0;
  std::size_t width = 0;
};

struct Format {
  std::array<Run, kParts> runs;
  std::string separator;  ///< the last character that is no letter of a part, or nothing
};

Format scan(std::string_view text) {
  Format format;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::size_t letter = std::string_view("dDmMyY").find(text[i]);
    if (letter == std::string_view::npos) {
      format.separator = text[i];
      continue;
    }
    Run& run = format.runs[letter / 2];
    if (run.width++ == 0) run.at = i;
  }
  return format;
}

Format formatArgument(const Obj_Node* n) {
  return scan(TextArgument(IsMissing(n) ? S_GLOB->Internal_Sets[kDateFormatSetting - 1] : n).shown);
}

unsigned readPart(std::string_view text, const Run& run) {
  return NumberAt(text, run.at, run.width);
}

/// One part as wide as its run; longer formats than anybody prints are cut.
std::string writePart(const DateParts& date, Part part, std::size_t runWidth) {
  constexpr std::size_t kWidest = 20;
  const std::size_t width = std::min(runWidth, kWidest);
  if (date.month == 0) return std::string(width, ' ');  // the empty date
  const unsigned year = width > 3 ? date.year : date.year % 100;
  const std::string digits = std::to_string(part == kDay ? date.day : part == kMonth ? date.month : year);
  return std::string(width - std::min(width, digits.size()), '0') + digits;
}

}  // namespace

Obj_Node* __Ctod(Obj_Node* text, Obj_Node* format) {
  constexpr std::size_t kShortest = 8;
  const std::string_view source = TextArgument(text).shown;
  const auto& runs = formatArgument(format).runs;
  if (source.size() < kShortest) return __INIT_DATE(0);
  const DateParts date{readPart(source, runs[kYear]), readPart(source, runs[kMonth]), readPart(source, runs[kDay])};
  if (date.month < 1 || date.month > 12 || date.day < 1 || date.day > 31) return __INIT_DATE(0);
  const std::optional<datetime> value = EncodeDate(date);
  // Null for 31 February and its like, where scripts tell a typing error from a date left open.
  return value ? __INIT_DATE(*value) : nullptr;
}

Obj_Node* __Dtoc(Obj_Node* d, Obj_Node* format) {
  const DateParts date = DecodeDate(DateArgument(d));
  const Format wanted = formatArgument(format);
  std::array<Part, kParts> order{kDay, kMonth, kYear};
  std::sort(order.begin(), order.end(), [&](Part a, Part b) { return wanted.runs[a].at < wanted.runs[b].at; });
  std::string text;
  for (const Part part : order) {
    const std::size_t width = wanted.runs[part].width;
    if (width == 0) continue;
    if (!text.empty()) text += wanted.separator;
    text += writePart(date, part, width);
  }
  return MakeText(text);
}

void __Set_DateFormat(Obj_Node* format) {
  if (format == nullptr) return;
  if (!HasText(format)) ArgumentError();
  Obj_Node*& setting = S_GLOB->Internal_Sets[kDateFormatSetting - 1];
  setting = __SET_OBJECT(setting, format);
}
