// What the screen procedures and a session show and ask, behind one table: text on the standard streams, until a
// program puts a screen of its own in its place.
#pragma once

#include <span>
#include <string>

namespace vorne {

struct FormField {
  const char* label;
  std::string text;
  std::size_t room;  ///< bytes
};

struct ScreenBackEnd {
  /// A progress line, 1 or 2: a position of 100, and a text (ISO-8859-1; null leaves the old one).
  void (*progress)(int line, int percent, const char* text);
  /// A line of what a session does; also in the message log.
  void (*state)(const char* text);
  /// The information window; the empty text closes it.
  void (*information)(const char* text);
  /// A question that is answered by yes or no; `title` may be null.
  bool (*ask)(const char* question, const char* title);
  /// Lets the user edit the fields; true when they are to be stored.
  bool (*form)(const char* title, std::span<FormField> fields, const char* ok, const char* cancel);
  /// Shows `count` lines, each by its number from 0.
  void (*lines)(const char* title, int count, std::string (*line)(int number));
  /// A signal came while a session waits for its host: the terminal may have another size now.
  void (*interrupted)();
};

/// Shows nothing of the progress; asks on the standard streams, and prints forms without asking for input.
extern const ScreenBackEnd kTextScreen;
extern ScreenBackEnd screen;

}  // namespace vorne
