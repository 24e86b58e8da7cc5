#include "db/new_names.h"

#include "db/words.h"
#include "edge/console.h"
#include "text/text.h"

namespace tool {

namespace {

bool isThere(const Dictionary& dictionary, std::string_view table) {
  return dictionary.database(utf8FromLatin1(table)) != nullptr;
}

/// What may be dropped to free its name; empty for what belongs to a table.
std::string droppable(const Dictionary& dictionary, const vorne::StoredDatabase& database) {
  const std::string_view suffix = vorne::kMemoSuffix, name = database.name;
  if (database.entry.type == vorne::kTypeData) return "the table";
  if (database.entry.type == vorne::kTypeMemo && name.size() > suffix.size() && name.ends_with(suffix) &&
      !isThere(dictionary, name.substr(0, name.size() - suffix.size())))
    return "these memo texts of no table";
  if (database.entry.type == vorne::kTypeIndex && !(database.index && isThere(dictionary, database.index->table)))
    return "this index of no table";
  return {};
}

}  // namespace

void refuseTaken(const Dictionary& dictionary, const std::string& name) {
  if (const auto* taken = dictionary.database(name)) {
    const std::string what = droppable(dictionary, *taken), lost = dictionary.lostTableOf(*taken);
    std::string other;
    if (!lost.empty())
      other = ", or let `tellira db check --repair` find the table " + shown(lost) +
              " first: its file is there, but the catalogue does not name it";
    else if (!what.empty())
      other = ", or drop " + what + " first (`tellira db drop " + shown(taken->name) + "`)";
    throw Failure(
        kUsage, "there is a database \"" + shown(taken->name) + "\" already.\n  next: take another name" + other + ".");
  }
  const std::string suffix = vorne::kOffsetsSuffix;
  const auto* other = dictionary.database(name + suffix);
  if (other == nullptr && name.ends_with(suffix))
    other = dictionary.database(name.substr(0, name.size() - suffix.size()));
  if (const std::string stored = storedName(name); other == nullptr && stored.ends_with(suffix))
    if (const std::string lost = stored.substr(0, stored.size() - suffix.size()); dictionary.isLost(lost))
      throw Failure(kUsage, "the name " + shown(stored) + " is that of a file of \"" + shown(lost) +
                                "\", which is there without an entry in the catalogue.\n  next: take another name, or "
                                "let `tellira db check --repair` see to that first.");
  if (other != nullptr)
    throw Failure(kUsage, "the name " + shown(name) + " clashes with the database \"" + shown(other->name) +
                              "\": the two would have a file in common.\n  next: take another name.");
}

}  // namespace tool
