// The arguments of one vendor call as the devices see them: a place each, typed as the caller passed it.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>

namespace device {

using Native = std::variant<int, int*, short*, char*>;

/// Texts longer than this are cut when they are read; no device has use for more.
inline constexpr std::size_t kLongestText = 32767;

/// Reads and writes the places of one call. A handler that asks for a place the function does not have, or for one of
/// another type, is a mistake in the device and ends in std::logic_error or std::bad_variant_access.
class Arguments {
 public:
  explicit Arguments(std::initializer_list<Native> places) : places_(places) {}

  std::size_t size() const { return places_.size(); }
  /// False when a pointer is null.
  bool complete() const;
  /// The first text place, or null when the function has none.
  char* firstText() const;

  /// The bytes of text place `i` up to its zero.
  std::string text(std::size_t i) const;
  /// The same without blanks on both sides.
  std::string trimmed(std::size_t i) const;
  /// The number in place `i`, passed by value or by pointer.
  int number(std::size_t i) const;

  /// Writes `value` and a zero into text place `i`. The caller's room is not known here: answers have fixed widths
  /// that every host knows.
  void answer(std::size_t i, std::string_view value) const;
  /// Writes into the integer that place `i` points at.
  void answer(std::size_t i, int value) const;

 private:
  const Native& at(std::size_t i) const;

  std::initializer_list<Native> places_;
};

}  // namespace device
