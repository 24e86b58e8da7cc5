// `tellira db seek`: the record that a key names.
#include <algorithm>
#include <optional>

#include "db/db.h"
#include "db/dictionary.h"
#include "db/field_values.h"
#include "db/read_table.h"
#include "db/record_text.h"
#include "db/words.h"
#include "edge/console.h"
#include "edge/json_text.h"
#include "edge/masking.h"
#include "storage/format/keys.h"
#include "text/text.h"

namespace tool {
namespace {

constexpr const char* kFooter = R"(
The key is the text that the key fields make, one behind the other, each padded to its length; a shorter text finds the
first key that begins with it. Where the first key field is a number, date or logical, its value will do: 12.5,
2004-03-17, true. Put -- before a key that begins with a dash. Deleted records are passed over unless --deleted shows
them.

Nothing is changed, so that this may run beside the program.

Examples:
  tellira db seek CUSTOMER BYNAME "Silva"
  tellira db seek SALES BYDATE 2026-03-15 --soft --json
  tellira db seek SALES BYPRICE -- -12.50

Exit status: 0 found, 1 not found (with --soft the next greater key's record is shown all the same), or there is no such
table or index, 2 wrong usage.)";

struct SeekOptions {
  std::string table, index, key;
  bool soft = false, deleted = false, json = false;
};

struct Landing {
  bool found = false;
  std::optional<std::uint32_t> position;
};

[[noreturn]] void refuse(const std::string& key, const ControlFieldTBL& field, const std::string& why,
                         const char* next) {
  throw Failure(kUsage, "\"" + key + "\" " + why + " the key field " + shown(field.FieldName) + ", which is " +
                            typeText(field) + ".\n  next: " + next);
}

std::string numberKey(const ControlFieldTBL& field, const std::string& key) {
  double value = 0;
  if (readNumber(key, value)) {
    const char* why = misfit(field, value);
    if (why != nullptr) refuse(key, field, why, "no record can have it; write another number.");
    return vorne::NumberKey(field, value);
  }
  // Text of the key as it is stored: the number with blanks before it, and then the other fields.
  const auto head = std::string_view(key).substr(0, static_cast<std::size_t>(vorne::KeyRoom(field)));
  if (head.find_first_not_of(" +-.0123456789") == std::string_view::npos) return {};
  refuse(key, field, "is no number for", "write it like 1234.50.");
}

std::string dateKey(const ControlFieldTBL& field, const std::string& key) {
  double value = 0;
  if (readDate(key, value)) return vorne::DateKey(value);
  const auto head = std::string_view(key).substr(0, static_cast<std::size_t>(vorne::KeyRoom(field)));
  if (head.find_first_not_of(" 0123456789") == std::string_view::npos) return {};
  refuse(key, field, "is no date for", "write it like 2004-03-17, or its beginning as stored, like 200403.");
}

/// A value of the first key field as it stands in keys; empty when the key is taken as it is written.
std::string firstKeyValue(const ControlFieldTBL& field, const std::string& key) {
  if (key.empty()) return {};
  const std::string word = upperCase(key);
  switch (field.FieldType) {
    case TBLNUM:
      return numberKey(field, key);
    case TBLDATE:
      return dateKey(field, key);
    case TBLBOOL:
      if (word != "TRUE" && word != "FALSE") refuse(key, field, "is no logical for", "write true or false.");
      return std::string(1, word == "TRUE" ? '\1' : '\0');
    default:
      return {};
  }
}

/// The key's bytes, cut to what the index has.
std::string keyBytes(const Dictionary::Table& table, const vorne::IndexDescription& index, const std::string& key) {
  const vorne::Fields fields = table.fields();
  const std::uint32_t number = index.keyFields.front().KeyField;
  std::string bytes;
  if (number >= 1 && number <= fields.size()) bytes = firstKeyValue(fields[number - 1], key);
  try {
    if (bytes.empty()) bytes = latin1FromUtf8(key);
  } catch (const ConversionError& error) {
    throw Failure(kUsage,
                  "no key can be \"" + key + "\": " + error.what() + ".\n  next: write it with other characters.");
  }
  return bytes.substr(0, static_cast<std::size_t>(index.keyLength));
}

/// The first of the entries whose record is to be seen.
std::optional<std::uint32_t> firstSeen(vorne::TableReader& table, const vorne::KeyList& list, bool deleted) {
  vorne::Row row(table);
  vorne::StoredRows rows;
  for (std::size_t entry = 0; entry < list.count(); ++entry) {
    const std::uint32_t position = list.position(entry);
    // One by one and without memo texts: the first or second record is nearly always the one.
    table.read({&position, 1}, false, rows);
    if (rows.places.empty()) continue;
    row.load(rows, 0);
    if (deleted || !row.isDeleted()) return position;
  }
  return std::nullopt;
}

Landing sought(vorne::TableReader& table, const std::string& index, const std::string& key,
               const SeekOptions& options) {
  const std::size_t number = indexNumber(table, index);
  Landing landing;
  landing.position = firstSeen(table, table.find(number, {{key, key}}), options.deleted);
  landing.found = landing.position.has_value();
  if (!landing.found && options.soft)
    landing.position = firstSeen(table, table.find(number, {{key, ""}}), options.deleted);
  return landing;
}

void printJsonLanding(const vorne::TableReader& table, const vorne::Row* row, const Landing& landing, bool deleted) {
  std::string text = std::string("{\"found\":") + (landing.found ? "true" : "false");
  if (row != nullptr) {
    text += ",\"recno\":" + std::to_string(*landing.position + 1) + ",\"record\":";
    appendJsonRecord(text, table, *row, {deleted, true});
  }
  printRaw(text + "}\n");
}

void printRecord(const vorne::TableReader& table, const vorne::Row& row) {
  print(styled(Style::kBold, "record " + std::to_string(row.position() + 1)) + (row.isDeleted() ? ", deleted" : "") +
        "\n");
  std::size_t widest = 0;
  for (const vorne::TableField& field : table.fields()) widest = std::max(widest, field.name.size());
  for (std::size_t i = 0; i < table.fields().size(); ++i) {
    const std::string& name = table.fields()[i].name;
    print("  " + shown(name) + std::string(widest + 2 - name.size(), ' ') + valueText(table, row, i) + "\n");
  }
}

int runSeek(const DbOptions& group, const SeekOptions& options) {
  const std::string directory = group.checkedDirectory();
  const ReadTable opened = openedToRead(directory, options.table, options.index);
  const Dictionary::Table& table = opened.table;
  const vorne::IndexDescription& index = opened.index;
  const std::string key = keyBytes(table, index, options.key);
  return reading([&] {
    vorne::TableReader& reader = *opened.reader;
    const Landing landing = sought(reader, index.name, key, options);
    vorne::Row row(reader);
    vorne::StoredRows rows;
    if (landing.position) reader.read({&*landing.position, 1}, true, rows);
    const bool seen = !rows.places.empty();
    if (seen) row.load(rows, 0);
    if (options.json)
      printJsonLanding(reader, seen ? &row : nullptr, landing, options.deleted);
    else if (seen)
      printRecord(reader, row);
    if (!landing.found && !options.json)
      note("no record of " + shown(table.name) + " has the key \"" + options.key + "\" in " + shown(index.name) +
           (seen ? "; shown is the one with the next greater key." : "."));
    return landing.found ? kDone : kNo;
  });
}

}  // namespace

void addDbSeek(Verb& group, const SharedDbOptions& shared) {
  auto options = std::make_shared<SeekOptions>();
  Verb verb = group.verb("seek", "Find a record by its key in an index");
  verb.argument("TABLE", options->table, "Name of the table");
  verb.argument("INDEX", options->index, "Name of the index");
  verb.argument("KEY", options->key, "Key, or the beginning of one");
  verb.flag("--soft", options->soft, "When there is none, show the record with the next greater key");
  verb.flag("--deleted", options->deleted, "See deleted records too");
  verb.flag("--json", options->json, "Print a JSON object");
  verb.footer(kFooter);
  verb.action([shared, options] { return runSeek(*shared, *options); });
}

}  // namespace tool
