#include "db/new_names.h"

#include "db/words.h"
#include "edge/console.h"

namespace tool {

void refuseTaken(const Dictionary& dictionary, const std::string& name) {
  if (const auto* taken = dictionary.database(name))
    throw Failure(kUsage, "there is a database \"" + shown(taken->name) + "\" already.\n  next: take another name" +
                              (taken->entry.type == vorne::kTypeData
                                   ? ", or drop the table first (`tellira db drop " + shown(taken->name) + "`)."
                                   : "."));
  const std::string suffix = vorne::kOffsetsSuffix;
  const auto* other = dictionary.database(name + suffix);
  if (other == nullptr && name.ends_with(suffix))
    other = dictionary.database(name.substr(0, name.size() - suffix.size()));
  if (other != nullptr)
    throw Failure(kUsage, "the name " + shown(name) + " clashes with the database \"" + shown(other->name) +
                              "\": the two would have a file in common.\n  next: take another name.");
}

}  // namespace tool
