// The check digits of Brazil's tax numbers, as the Receita Federal defines them.
#include <cstring>

#include "builtins/vornefun.h"
#include "runtime/arguments.h"

using namespace vorne;

namespace {

/// A kind of number that ends in two check digits. Digits are weighed from the last one backwards with 2, 3 and so on;
/// after `highestWeight` comes 2 again.
struct TaxNumber {
  std::size_t length;
  int highestWeight;
};
constexpr TaxNumber kCpf{11, 11};
constexpr TaxNumber kCgc{14, 9};

int checkDigit(std::string_view digits, int highestWeight) {
  int sum = 0;
  int weight = 2;
  for (std::size_t i = digits.size(); i > 0; --i) {
    // Characters that are no digits count by their code: whoever asks has checked for digits, or did not want to.
    sum += (static_cast<signed char>(digits[i - 1]) - '0') * weight;
    weight = weight == highestWeight ? 2 : weight + 1;
  }
  const int rest = sum % 11;
  return rest < 2 ? 0 : 11 - rest;
}

short isValid(const char* text, const TaxNumber& kind) {
  if (text == nullptr || strnlen(text, kind.length + 1) != kind.length) return 0;
  for (std::size_t at = kind.length - 2; at < kind.length; ++at) {
    if (text[at] - '0' != checkDigit({text, at}, kind.highestWeight)) return 0;
  }
  return 1;
}

}  // namespace

short __ValidaCPF(const char* text) {
  return isValid(text, kCpf);
}
short __ValidaCGC(const char* text) {
  return isValid(text, kCgc);
}

Obj_Node* __ValidCPF(Obj_Node* s) {
  return __INIT_BOOL(__ValidaCPF(TextArgument(s).data()));
}
Obj_Node* __ValidCGC(Obj_Node* s) {
  return __INIT_BOOL(__ValidaCGC(TextArgument(s).data()));
}
