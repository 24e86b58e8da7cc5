#include "host_tables.h"

#include <cstdlib>
#include <sstream>

namespace {

std::vector<std::string> split(const std::string& text, char between) {
  std::vector<std::string> all;
  std::istringstream stream(text);
  for (std::string one; std::getline(stream, one, between);) all.push_back(one);
  return all;
}

}  // namespace

void host::receiveCatalogue(const std::vector<Table>& tables) {
  std::vector<Row> names, columns, keys;
  for (const Table& table : tables) {
    names.push_back({live(text(table.name) + text(table.type) + text(table.key))});
    int order = 0;
    for (const std::string& field : split(table.fields, ' ')) {
      std::vector<std::string> parts = split(field, ':');
      parts.resize(4, "0");
      columns.push_back({live(text(table.name) + number(++order) + text(parts[0]) + text(parts[1]) +
                              number(std::atof(parts[2].c_str())) + number(std::atof(parts[3].c_str())))});
    }
    int index = 0;
    for (const std::string& words : split(table.indexes, ' ')) {
      const std::size_t name = words.find('=');
      int part = 0;
      ++index;
      for (const std::string& field : split(words.substr(name + 1), '+'))
        keys.push_back(
            {live(text(table.name) + text(words.substr(0, name)) + number(index) + number(++part) + text(field))});
    }
  }
  receive("VRN_TBL", 'T', packets(names, 50));
  receive("VRN_COLS", 'T', packets(columns, 50));
  if (!keys.empty()) receive("VRN_IND", 'T', packets(keys, 50));
}
