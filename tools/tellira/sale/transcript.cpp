// Everything that leaves here is masked, and control characters are shown as they are written in a script.
#include "sale/transcript.h"

#include <algorithm>
#include <array>

#include "edge/console.h"
#include "edge/masking.h"
#include "edge/terminal.h"
#include "text/text.h"

namespace tool {
namespace {

constexpr std::size_t kMostShown = 72;  // characters of one field; a receipt in a field is seen on the paper anyway

std::vector<std::string> masked(const std::vector<std::string>& texts) {
  std::vector<std::string> result;
  std::transform(texts.begin(), texts.end(), std::back_inserter(result), [](const auto& t) { return maskCards(t); });
  return result;
}

std::string escaped(const std::string& field) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string text;
  for (const char c : field) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      text.append(1, '\\').append(1, c);
    } else if (c == '\n') {
      text += "\\n";
    } else if (byte < 0x20 || byte == 0x7F) {
      text.append("\\x").append(1, kHex[byte >> 4]).append(1, kHex[byte & 15]);
    } else {
      text += c;
    }
  }
  return text;
}

std::string quoted(const std::string& text) {
  return std::string("\"").append(text).append("\"");
}

std::string joined(const std::vector<std::string>& fields, const char* separator) {
  std::string text;
  for (const std::string& field : fields) text += (text.empty() ? "" : separator) + shownField(field);
  return text;
}

constexpr std::array<const char*, 5> kRemarkSigns{"", "  « ", "  ? ", "  » ", "  ! "};
constexpr std::array<const char*, 5> kRemarkNames{"echo", "message", "prompt", "reply", "words"};

}  // namespace

std::string shownField(const std::string& field) {
  const std::string text = escaped(field);
  const bool bare = !text.empty() && text == field && text.find_first_of(" #\t") == std::string::npos;
  if (columns(text) > kMostShown) return quoted(cutTo(kMostShown, text));
  return bare ? text : quoted(text);
}

void Transcript::begin(std::size_t line, const std::string& command, const std::vector<std::string>& fields) {
  // Masked as it comes in: nothing that shows the steps later can forget it.
  steps_.push_back({line, maskCards(command), masked(fields), {}, {}, {}, true});
  if (!shown_ || command == "echo") return;
  const Step& step = steps_.back();
  print(styled(Style::kBold, step.command) + (fields.empty() ? "" : " ") + joined(step.fields, " ") + "\n");
}

void Transcript::remark(Remark::Kind kind, const std::string& text) {
  steps_.back().remarks.push_back({kind, maskCards(text)});
  if (!shown_) return;
  for (const std::string& line : split(maskCards(text), '\n')) {
    print(kRemarkSigns[static_cast<std::size_t>(kind)] + escaped(line) + "\n");
  }
}

void Transcript::answer(const std::vector<std::string>& fields) {
  steps_.back().answer = masked(fields);
  if (shown_) print("  = " + joined(steps_.back().answer, " | ") + "\n");
}

void Transcript::paper(const std::vector<std::string>& lines) {
  Step& step = steps_.back();
  for (const std::string& line : lines) {
    step.paper.push_back(maskCards(line));
    if (shown_) print(styled(Style::kDim, "    │ ") + styled(Style::kGreen, step.paper.back()) + "\n");
  }
}

void Transcript::bad() {
  steps_.back().good = false;
}

Json Transcript::json() const {
  Json list = Json::array();
  for (const Step& step : steps_) {
    Json remarks = Json::array();
    for (const Remark& remark : step.remarks) {
      remarks.push_back({{"kind", kRemarkNames[static_cast<std::size_t>(remark.kind)]}, {"text", remark.text}});
    }
    list.push_back({{"line", step.line},
                    {"command", step.command},
                    {"fields", step.fields},
                    {"answer", step.answer},
                    {"good", step.good},
                    {"remarks", remarks},
                    {"paper", step.paper}});
  }
  return list;
}

}  // namespace tool
