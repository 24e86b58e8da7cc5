// Values between SQLite and the tables.
#pragma once

#include <string_view>

#include "plan.h"

namespace vornetab {

/// The keys that can fulfil a plan's conditions on `field`. Too many are no harm, none may be missing: where SQLite
/// compares by other rules than the keys do, all of them.
vorne::KeyRanges rangesOf(const vorne::TableField& field, const Plan& plan, sqlite3_value** values);

/// Gives SQLite a text of ISO-8859-1 bytes.
void giveText(sqlite3_context* context, std::string_view latin1);
/// Gives SQLite the value of a field.
void giveField(sqlite3_context* context, const vorne::TableField& field, const vorne::Row& row, std::size_t number);

}  // namespace vornetab
