// The records of tables: does what stands in their fields mean something.
#pragma once

#include <string>
#include <vector>

#include "storage/format/description.h"

namespace vorne {

/// What is wrong with one field of a record, or with the record as a whole.
struct FieldFault {
  enum Kind {
    kLayout,     ///< the record is not laid out as the description says: it may be the description that is wrong
    kEndMark,    ///< the same, and no value is lost by it
    kValue,      ///< a number or a date that cannot be
    kReference,  ///< to a memo text that is not there
    kLogical,    ///< neither 0 nor 1: it has always been read as true
  };
  std::string words;
  Kind kind;

  bool isOfLayout() const { return kind == kLayout || kind == kEndMark; }
  bool losesValue() const { return kind != kEndMark && kind != kLogical; }
};

/// @param memoTexts how many texts the memo database has
/// @param mended becomes the record with every value that cannot be kept left empty; may be null
/// @returns all that is wrong; nothing for a record that can be used
std::vector<FieldFault> CheckRecord(Fields fields, std::span<const char> record, std::uint32_t memoTexts,
                                    std::string* mended = nullptr);

}  // namespace vorne
