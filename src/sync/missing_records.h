// Inside the sync floor: tables of which the host believes that the device has records that it has not got, since what
// came was damaged, refused or had no room. A login that asks for everything mends that.
#pragma once

#include <string>

namespace vorne {

/// Notes a table, once; false when that cannot be stored.
bool NoteMissing(const std::string& table);
bool IsMissing(const std::string& table);
/// A noted table whose records can be taken now; empty when there is none.
std::string MissingTable();
/// The host sends all of such tables anew.
void ForgetMissing();
/// The table cannot be here.
void ForgetMissing(const std::string& table);

}  // namespace vorne
