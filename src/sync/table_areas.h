// Inside the sync floor: tables opened without ending the process where they are missing or damaged.
#pragma once

#include <string>
#include <string_view>

#include "storage/tables/areas.h"

namespace vorne {

/// Opens a table into a free area, which does not become current; -1 when there is no such table, or no area.
int OpenTableArea(const std::string& name);

/// True for a table whose making was interrupted: it has no description and nothing in it.
bool IsUnfinishedTable(const std::string& name);

/// An open table, closed with the object.
class TableArea {
 public:
  explicit TableArea(const std::string& name) : number_(OpenTableArea(name)) {}
  TableArea(const TableArea&) = delete;
  TableArea& operator=(const TableArea&) = delete;
  ~TableArea() {
    if (AreaAt(number_) != nullptr) __CloseTBL(number_);
  }

  bool isOpen() const { return number_ >= 0; }
  int number() const { return number_; }
  VORNE_RDD& rdd() const { return *AreaAt(number_); }
  DmOpenRef database() const { return DatabaseOf(rdd()); }
  Fields fields() const { return FieldsOf(rdd()); }

 private:
  int number_;
};

/// A record's fields, by their names: what it does not have is empty or 0.
class RecordValues {
 public:
  explicit RecordValues(Fields fields);

  void load(std::span<const char> record);
  bool isDeleted() const;
  std::string text(std::string_view field) const;                 ///< in capitals, without trailing blanks
  bool is(std::string_view field, std::string_view value) const;  ///< in any letters
  char letter(std::string_view field) const;                      ///< the first one, a blank for none
  int number(std::string_view field) const;                       ///< cut to an int

 private:
  const ControlFieldTBL* find(std::string_view field, FType type) const;

  Fields fields_;
  std::string buffer_;
};

}  // namespace vorne
