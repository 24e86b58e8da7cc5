// A vendor's call brings bare pointers and no sizes. Reading is bounded; writing is up to the caller, which has to
// bring the room that the vendor's description asks for.
#include "common/arguments.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <type_traits>

#include "common/text.h"

namespace device {

const Native& Arguments::at(std::size_t i) const {
  // A mistake of the handler's: every function's places are told by the command table.
  if (i >= places_.size()) throw std::logic_error("no such argument");
  return *(places_.begin() + i);
}

bool Arguments::complete() const {
  return std::all_of(places_.begin(), places_.end(), [](const Native& place) {
    return std::visit(
        [](auto value) {
          if constexpr (std::is_pointer_v<decltype(value)>) return value != nullptr;
          return true;
        },
        place);
  });
}

char* Arguments::firstText() const {
  for (const Native& place : places_) {
    if (const auto* text = std::get_if<char*>(&place)) return *text;
  }
  return nullptr;
}

std::string Arguments::text(std::size_t i) const {
  const char* bytes = std::get<char*>(at(i));
  return std::string(bytes, strnlen(bytes, kLongestText));
}

std::string Arguments::trimmed(std::size_t i) const {
  return trim(text(i));
}

int Arguments::number(std::size_t i) const {
  return std::visit(
      [](auto value) -> int {
        if constexpr (std::is_same_v<decltype(value), char*>) {
          throw std::logic_error("a text where a number was expected");
        } else if constexpr (std::is_pointer_v<decltype(value)>) {
          return *value;
        } else {
          return value;
        }
      },
      at(i));
}

void Arguments::answer(std::size_t i, std::string_view value) const {
  char* room = std::get<char*>(at(i));
  value.copy(room, value.size());
  room[value.size()] = '\0';
}

void Arguments::answer(std::size_t i, int value) const {
  if (auto* const* place = std::get_if<short*>(&at(i))) {
    **place = static_cast<short>(value);
  } else {
    *std::get<int*>(at(i)) = value;
  }
}

}  // namespace device
