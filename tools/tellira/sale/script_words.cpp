// A word is pieces of text and variables; what stands in quotes is never a keyword.
#include "sale/script_words.h"

#include <algorithm>

#include "text/text.h"

namespace tool {
namespace {

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}
bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
bool isNamePart(char c) {
  return isLetter(c) || (c >= '0' && c <= '9');
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

class Cutter {
 public:
  Cutter(std::string_view line, std::size_t lineNumber) : line_(line), number_(lineNumber) {}

  std::vector<Word> cut() {
    std::vector<Word> words;
    for (;;) {
      while (at_ < line_.size() && isBlank(line_[at_])) ++at_;
      if (at_ == line_.size() || line_[at_] == '#') return words;
      words.push_back(word());
    }
  }

 private:
  bool more() const { return at_ < line_.size(); }
  char peek(std::size_t ahead = 0) const { return at_ + ahead < line_.size() ? line_[at_ + ahead] : '\0'; }

  Word word() {
    Word word;
    word.place = {number_, at_};
    if (peek() == '"') {
      word.quoted = true;
      quoted(word);
    } else {
      while (more() && !isBlank(peek())) {
        if (peek() == '"') throw WordError(at_, "a quote begins in the middle of a word; put the whole word in quotes");
        character(word);
      }
    }
    checkAlphabet(word);
    return word;
  }

  void quoted(Word& word) {
    const std::size_t begin = at_++;
    while (peek() != '"') {
      if (!more()) throw WordError(begin, "the quote that begins here is never closed");
      if (peek() == '\\') {
        add(word, escape());
      } else {
        character(word);
      }
    }
    ++at_;
    if (more() && !isBlank(peek())) throw WordError(at_, "a blank is missing behind the closing quote");
  }

  std::string escape() {
    const std::size_t begin = at_++;
    const char kind = peek();
    ++at_;
    if (kind == '"' || kind == '\\' || kind == '$') return std::string(1, kind);
    if (kind == 'n') return "\n";
    const int value = kind == 'x' ? hexValue(peek()) * 16 + hexValue(peek(1)) : -1;
    if (kind != 'x' || hexValue(peek()) < 0 || hexValue(peek(1)) < 0) {
      throw WordError(begin, "there is no such escape; known are \\\" \\\\ \\$ \\n and \\xNN");
    }
    if (value < 3)
      throw WordError(begin, "bytes 00, 01 and 02 separate and close the fields and cannot be part of one");
    at_ += 2;
    return utf8FromLatin1(std::string(1, static_cast<char>(value)));
  }

  void character(Word& word) {
    if (peek() == '$' && (isLetter(peek(1)) || peek(1) == '{')) {
      variable(word);
    } else {
      add(word, std::string(1, line_[at_++]));
    }
  }

  void variable(Word& word) {
    const std::size_t begin = at_++;
    const bool braced = peek() == '{';
    if (braced) ++at_;
    Piece piece{name(), "0", true};
    if (piece.text.empty()) throw WordError(begin, "a variable's name is missing");
    if (peek() == '.' && isNamePart(peek(1))) {
      ++at_;
      piece.key = name();
    }
    if (braced && peek() != '}') throw WordError(begin, "the brace that begins here is never closed");
    if (braced) ++at_;
    word.pieces.push_back(std::move(piece));
  }

  std::string name() {
    std::string name;
    while (isNamePart(peek())) name += line_[at_++];
    return name;
  }

  static void add(Word& word, const std::string& text) {
    if (word.pieces.empty() || word.pieces.back().variable) word.pieces.emplace_back();
    word.pieces.back().text += text;
  }

  static void checkAlphabet(const Word& word) {
    try {
      for (const Piece& piece : word.pieces) {
        latin1FromUtf8(piece.text);
        const bool control = std::any_of(piece.text.begin(), piece.text.end(), [](char c) { return c >= 0 && c < 3; });
        if (control) throw WordError(word.place.column, "the word holds a byte 00, 01 or 02");
      }
    } catch (const ConversionError& error) {
      throw WordError(word.place.column, error.what());
    }
  }

  std::string_view line_;
  std::size_t number_;
  std::size_t at_ = 0;
};

}  // namespace

std::vector<Word> cutWords(std::string_view line, std::size_t lineNumber) {
  return Cutter(line, lineNumber).cut();
}

}  // namespace tool
