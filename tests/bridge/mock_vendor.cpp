// A vendor library that records every call and answers as it was told; the entry points are generated from the command
// data into mock_entries.inc.
#include "mock_vendor.h"

#include <cstring>
#include <type_traits>

#define EXPORT extern "C" __attribute__((visibility("default")))

namespace {

Mock state;

// A number by value, a text, or a reference to a number.
template <class Argument>
void take(int place, Argument argument) {
  const auto planned = state.answers.find(place);
  const bool isPlanned = planned != state.answers.end();
  if constexpr (std::is_same_v<Argument, int>) {
    state.record += std::to_string(argument);
  } else if constexpr (std::is_same_v<Argument, char*>) {
    state.record += std::string("'") + argument + "'";
    if (isPlanned) std::memcpy(argument, planned->second.bytes.data(), planned->second.bytes.size());
    if (state.answers.empty()) std::strcpy(argument, (" r" + std::to_string(place) + " ").c_str());
  } else {
    state.record += "&" + std::to_string(*argument);
    const int number = isPlanned ? planned->second.number : state.answers.empty() ? 100 + place : *argument;
    *argument = static_cast<std::remove_pointer_t<Argument>>(number);
  }
}

template <class... Arguments>
int called(const char* name, Arguments... arguments) {
  int count = 0;
  state.record += std::string(name) + "(";
  ((state.record += count > 0 ? "," : "", take(count++, arguments)), ...);
  state.record += ")";
  return state.result.value_or(1000 + count);
}

}  // namespace

EXPORT Mock* mock() {
  return &state;
}

#include "mock_entries.inc"
