// What all verbs begin with.
#include <utility>

#include "db/field_definitions.h"
#include "synchost/open_sql.h"
#include "synchost/verbs.h"
#include "text/text.h"

namespace synchost {

Store OpenStore(const StoreName& name) {
  return Store(OpenSql(*name));
}

Table TableNamed(Store& store, const std::string& name) {
  std::string names;
  for (Table& table : store.tables()) {
    if (table.name == tool::upperCase(name)) return std::move(table);
    names += (names.empty() ? "" : ", ") + table.name;
  }
  tool::refuse("there is no table \"" + name + "\"",
               names.empty() ? "make one by `tellira synchost table create`" : "the tables are " + names);
}

}  // namespace synchost
