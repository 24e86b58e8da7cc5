#include "db/new_names.h"

#include "db/words.h"
#include "edge/console.h"

namespace tool {

namespace {

// Memo texts whose table is gone.
bool isOrphan(const Dictionary& dictionary, const vorne::StoredDatabase& database) {
  const std::string_view suffix = vorne::kMemoSuffix, name = database.name;
  return database.entry.type == vorne::kTypeMemo && name.size() > suffix.size() && name.ends_with(suffix) &&
         dictionary.database(shown(name.substr(0, name.size() - suffix.size()))) == nullptr;
}

}  // namespace

void refuseTaken(const Dictionary& dictionary, const std::string& name) {
  if (const auto* taken = dictionary.database(name)) {
    const bool isTable = taken->entry.type == vorne::kTypeData;
    const std::string dropping =
        std::string(isTable ? ", or drop the table" : ", or drop these memo texts of no table") +
        " first (`tellira db drop " + shown(taken->name) + "`)";
    throw Failure(kUsage, "there is a database \"" + shown(taken->name) + "\" already.\n  next: take another name" +
                              (isTable || isOrphan(dictionary, *taken) ? dropping : "") + ".");
  }
  const std::string suffix = vorne::kOffsetsSuffix;
  const auto* other = dictionary.database(name + suffix);
  if (other == nullptr && name.ends_with(suffix))
    other = dictionary.database(name.substr(0, name.size() - suffix.size()));
  if (other != nullptr)
    throw Failure(kUsage, "the name " + shown(name) + " clashes with the database \"" + shown(other->name) +
                              "\": the two would have a file in common.\n  next: take another name.");
}

}  // namespace tool
