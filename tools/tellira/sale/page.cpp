// One file without anything from elsewhere, so that it can be kept and passed on.
#include "sale/page.h"

#include <array>

#include "edge/masking.h"

namespace tool {
namespace {

constexpr const char* kHead = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<style>
body { margin: 2rem auto; max-width: 72rem; padding: 0 1rem; background: #eceff1; color: #20262b;
       font: 15px/1.5 system-ui, sans-serif; }
main { display: grid; grid-template-columns: minmax(0, 1fr) 52ch; gap: 0 2rem; align-items: start; }
code, pre { font: 13px/1.45 ui-monospace, "DejaVu Sans Mono", monospace; }
.step { padding: .35rem 0; overflow-wrap: anywhere; }
.no { color: #78838c; font-size: 12px; margin-right: .6em; }
.answer { color: #1b6e3c; } .bad .answer { color: #b3261e; } .remark { color: #5a4a00; white-space: pre-wrap; }
.answer, .remark { display: block; padding-left: 1.6em; }
.paper { background: #fffdf4; box-shadow: 0 1px 4px #0003; margin: 0; padding: 0 2ch; white-space: pre;
         font: 13px/1.45 ui-monospace, "DejaVu Sans Mono", monospace; overflow-x: auto; align-self: stretch; }
.failure { grid-column: 1 / -1; background: #fce8e6; padding: .8rem; white-space: pre-wrap; }
</style>
)";

std::string joined(const std::vector<std::string>& fields, const char* separator) {
  std::string text;
  for (const std::string& field : fields) text += (text.empty() ? "" : separator) + shownField(field);
  return text;
}

std::string remarkHtml(const Remark& remark) {
  static constexpr std::array<const char*, 5> kSigns{"", "« ", "? ", "» ", "! "};
  return "<code class=\"remark\">" + htmlText(kSigns[static_cast<std::size_t>(remark.kind)] + remark.text) + "</code>";
}

std::string stepHtml(const Step& step) {
  std::string html = std::string("<div class=\"step") + (step.good ? "" : " bad") + "\"><span class=\"no\">" +
                     std::to_string(step.line) + "</span><code><b>" + htmlText(step.command) + "</b> " +
                     htmlText(joined(step.fields, " ")) + "</code>";
  for (const Remark& remark : step.remarks) html += remarkHtml(remark);
  if (!step.answer.empty()) html += "<code class=\"answer\">= " + htmlText(joined(step.answer, " | ")) + "</code>";
  html += "</div>\n<pre class=\"paper\">";
  for (const std::string& line : step.paper) html += htmlText(line) + "\n";
  return html + "</pre>\n";
}

}  // namespace

std::string htmlText(std::string_view text) {
  std::string html;
  for (const char c : text) {
    switch (c) {
      case '&':
        html += "&amp;";
        break;
      case '<':
        html += "&lt;";
        break;
      case '>':
        html += "&gt;";
        break;
      case '"':
        html += "&quot;";
        break;
      case '\'':
        html += "&#39;";
        break;
      default:
        html += static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t' ? ' ' : c;
    }
  }
  return html;
}

std::string salePage(const std::string& title, const std::vector<Step>& steps, const std::string& failure) {
  std::string html = kHead;
  html += "<title>" + htmlText(title) + "</title>\n</head>\n<body>\n<h1>" + htmlText(title) + "</h1>\n<main>\n";
  for (const Step& step : steps) html += stepHtml(step);
  if (!failure.empty()) html += "<pre class=\"failure\">" + htmlText(maskCards(failure)) + "</pre>\n";
  return html + "</main>\n</body>\n</html>\n";
}

}  // namespace tool
