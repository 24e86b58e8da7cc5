// The table of run-time settings. Settings are values with numbers from 1, of which scripts reach 12.
#include <cstdlib>
#include <cstring>

#include "runtime/internal.h"

using namespace vorne;

namespace {

enum Setting : int {
  kDecimals = 3,
  kDateFormat = 4,
  kEpoch = 5,
  kNine = 9,
  kHideDeleted = kHideDeletedSetting,
  kCentury = 12
};

Obj_Node*& slot(int n) {
  return S_GLOB->Internal_Sets[n - 1];
}

bool century() {
  return IsTrue(slot(kCentury));
}

void storeStandardFormat() {
  StoreForRun(slot(kDateFormat), __INIT_CHARPTR(century() ? "mm/dd/yyyy" : "mm/dd/yy"));
}

/// A date format's year made two or four letters wide, as the century setting wants it.
Obj_Node* fittedFormat(const Obj_Node* value) {
  if (!HasText(value)) ArgumentError();
  const char* text = value->objData.mbuff;
  const char* firstYear = std::strpbrk(text, "yY");
  int letters = 0;
  for (const char* c = text; *c != '\0'; ++c) letters += *c == 'y' || *c == 'Y';
  if (!century()) {
    // Only a year in front is cut, by its first two letters; elsewhere it stays as it was given.
    const bool cut = letters != 2 && firstYear == text && std::strlen(text) >= 2;
    return __INIT_CHARPTR(cut ? text + 2 : text);
  }
  if (letters == 4) return __INIT_CHARPTR(text);
  const bool front = firstYear != nullptr && std::strlen(firstYear) > 2;
  Obj_Node* years = __INIT_CHARPTR("yy");
  Obj_Node* rest = __INIT_CHARPTR(text);
  return front ? __SUM(years, rest) : __SUM(rest, years);
}

}  // namespace

void __InitSets() {
  for (int n = 1; n <= 13; ++n) slot(n) = nullptr;
  StoreForRun(slot(kDateFormat), __INIT_CHARPTR("mm/dd/yy"));
  StoreForRun(slot(kEpoch), __INIT_DOUBLE(1940));
  StoreForRun(slot(kDecimals), __INIT_DOUBLE(2));
  StoreForRun(slot(kNine), __INIT_BOOL(0));
  StoreForRun(slot(kHideDeleted), __INIT_BOOL(0));
  StoreForRun(slot(kCentury), __INIT_BOOL(0));
}

Obj_Node* __Set(Obj_Node* n, Obj_Node* value) {
  const int number = IntArgument(n);
  if (number < 1 || number > 12) ArgumentError();
  if (value != nullptr) StoreForRun(slot(number), number == kDateFormat ? fittedFormat(value) : value);
  if (slot(number) == nullptr) return __INIT_NIL();
  if (number == kCentury && value != nullptr) storeStandardFormat();
  return slot(number);
}

Obj_Node* __SetCentury(Obj_Node* lgc) {
  if (lgc != nullptr) {
    if (!IsLogical(lgc)) ArgumentError();
    StoreForRun(slot(kCentury), lgc);
    storeStandardFormat();
  }
  return slot(kCentury);
}
