// Giving a table whose description is lost another one.
#pragma once

#include "storage/format/description.h"
#include "storage/repair/report.h"

namespace vorne {

struct Described {
  bool written = false;
  bool isSame = false;     ///< the table has this description already
  bool isRefused = false;  ///< the system did not let it be written
  std::string refusal;     ///< why it was not written, and what to do
  std::uint64_t records = 0, misfits = 0;
  std::vector<Problem> problems;  ///< records that do not fit the fields, at most 20 and a line that counts the rest
  std::string copies;             ///< the directory with the files as they were before
};

/// Writes the description when the records fit it; a few that do not are told, more speak against it. The table's
/// records stay as they are.
/// @param directory the working directory that holds "DB"
/// @param name of a database of type DATA, as the catalogue has it
/// @param fields without the deletion mark
Described DescribeTable(const std::string& directory, const std::string& name, std::vector<ControlFieldTBL> fields);

}  // namespace vorne
