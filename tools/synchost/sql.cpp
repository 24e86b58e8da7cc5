#include "synchost/sql.h"

namespace synchost {
namespace {

template <class T>
const T& valueIn(const SqlRow& row, std::size_t column) {
  static const T kNone{};
  const T* value = std::get_if<T>(&row.values.at(column));
  return value == nullptr ? kNone : *value;
}

}  // namespace

std::int64_t SqlRow::number(std::size_t column) const {
  return valueIn<std::int64_t>(*this, column);
}

const std::string& SqlRow::text(std::size_t column) const {
  return valueIn<std::string>(*this, column);
}

const Blob& SqlRow::bytes(std::size_t column) const {
  return valueIn<Blob>(*this, column);
}

}  // namespace synchost
