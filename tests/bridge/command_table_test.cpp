// Every command through the host entry, against recording vendor libraries. What is expected comes from the command
// data in tests/data, not from the table that the library is made of.
#include <fstream>
#include <map>
#include <sstream>

#include "generated/adapters.h"
#include "generated/commands.h"
#include "host.h"
#include "runtime/vorneobjs.h"

namespace {

struct Row {
  std::string name, function, arguments, output;
};

/// In the order of comparison.
std::vector<Row> commandData() {
  std::map<int, Row> rows;
  std::ifstream file(TEST_DATA);
  for (std::string line; std::getline(file, line);) {
    std::istringstream columns(line);
    std::string library, arguments, output;
    if (line[0] == '#' || !std::getline(columns, library, '\t') || !std::getline(columns, arguments, '\t') ||
        !std::getline(columns, output, '\t'))
      continue;
    int place = 0;
    for (std::string word; columns >> word;) {
      if (std::isdigit(static_cast<unsigned char>(word[0]))) {
        place = std::stoi(word);
        continue;
      }
      const auto end = std::min(word.find('='), word.size());
      const std::string name = word.substr(0, end), function = end == word.size() ? name : word.substr(end + 1);
      rows[place++] = {name, library == "-" ? library : function, arguments, output};
    }
  }
  std::vector<Row> all;
  for (const auto& [place, row] : rows) all.push_back(row);
  return all;
}

/// Field k of the call: number fields get k * 11 (2, 3 ... differ in every place), text fields a text with accents.
std::string fieldText(char kind, int k) {
  return kind == 'N' || kind == 'H' ? std::to_string(k * 11) : "f" + std::to_string(k) + "\xE3\xFF";
}

struct Expected {
  std::string params, record, answer;
};

/// Works one row of the data out, place by place.
Expected expectation(const Row& row) {
  std::map<int, std::string> fields;
  std::string record, returned, echo, places = row.arguments;
  if (places == "none" || places == "-") places.clear();
  std::istringstream stream(places);
  int place = 0;
  const auto text = [&](int i) {
    return row.output == "trimmed-texts" ? "r" + std::to_string(i) : " r" + std::to_string(i) + " ";
  };
  for (std::string word; stream >> word; ++place) {
    const char kind = word[0];
    const bool back = word.back() == 'R';
    const int k = std::isdigit(static_cast<unsigned char>(word[1])) ? std::atoi(word.c_str() + 1) : 0;
    if (k != 0 && kind != 'L') fields[k] = fieldText(kind == 'B' ? 'S' : kind, k);
    std::string given, value;
    if (kind == 'N' || kind == 'H' || kind == 'Z') {
      const std::string number = kind == 'Z' ? "0" : fields[k];
      given = (back ? "&" : "") + number;
      value = back ? std::to_string(100 + place) : number;
      if (row.output == "two-digits") value = std::to_string(100 + place);
    } else if (kind == 'L') {
      given = std::to_string(base64(fields[k] + '\0').size());
    } else {
      given = "'" + (kind == 'X' ? "      "s : word == "nil" ? ""s : fields[k]) + "'";
      value = text(place);
    }
    // A place that the vendor sees as a reference although the row passes nothing there.
    if (row.name == "ECF_VerificaEstadoGaveta" && word == "nil") given = "&0";
    record += (place > 0 ? "," : "") + given;
    if (back) returned += (row.output == "two-digits" && !returned.empty() ? "" : "\x01") + value;
    echo += "\x01" + value;
  }
  Expected expected;
  expected.params = row.name;
  const int last = fields.empty() ? 1 : fields.rbegin()->first;
  for (int k = 2; k <= last; ++k) expected.params += "\x01" + (fields.contains(k) ? fields[k] : "unused");
  expected.params += "\x02\0"s;
  expected.record = row.function + "(" + record + ")";
  const std::string result = std::to_string(1000 + place);
  if (row.output == "echo") {
    expected.answer = result + echo;
  } else if (row.output == "texts-only") {
    expected.answer = returned.substr(1) + "\x01";
  } else {
    expected.answer = result + returned;
  }
  return expected;
}

using CommandTableTest = HostTest;

TEST_F(CommandTableTest, EveryCommandCallsItsFunctionAndAnswersInItsForm) {
  useMocks();
  const std::vector<Row> rows = commandData();
  ASSERT_EQ(rows.size(), 344U);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const Row& row = rows[i];
    SCOPED_TRACE(row.name);
    resetMocks();
    EXPECT_EQ(generated::kCommands[i].name, row.name);
    if (row.function == "-") {
      EXPECT_EQ(callRaw(row.name + "\x01 abc \x02").text, base64("0\x01"
                                                                 "abc\0"s));
      EXPECT_EQ(record(), "");
      continue;
    }
    const Expected expected = expectation(row);
    const HostAnswer answer = callRaw(expected.params);
    EXPECT_EQ(answer.returned, 1);
    EXPECT_EQ(record(), expected.record);
    EXPECT_EQ(answer.text, base64(expected.answer + '\0'));
  }
}

TEST_F(CommandTableTest, AdaptersWithoutACommandTakeTheirArguments) {
  useMocks();
  __BeginGlobal();
  __begin_context();
  // The mocks have these functions only where a command shares them; a missing one is the adapter's own message.
  Obj_Node* a = __SET_OBJECT(nullptr, __INIT_DOUBLE(5));
  EXPECT_EQ(SWEDA_250(a, __INIT_NIL(), __INIT_NIL())->objData.mdbl, 1003);
  EXPECT_EQ(a->objData.mdbl, 100);
  EXPECT_EQ(record(), "ECF_VerificaEstadoImpressora(&5,&0,&0)");
  static_assert(std::is_same_v<decltype(SWEDA_141), Obj_Node* (*const)(Obj_Node*)>);
  static_assert(std::is_same_v<decltype(SWEDA_247), Obj_Node* (*const)()>);
  static_assert(std::is_same_v<decltype(SWEDA_255), Obj_Node* (*const)(Obj_Node*, Obj_Node*, Obj_Node*, Obj_Node*)>);
  static_assert(std::is_same_v<decltype(SWEDA_264), Obj_Node* (*const)()>);
  static_assert(std::is_same_v<decltype(SWEDA_291), Obj_Node* (*const)()>);
  static_assert(std::is_same_v<decltype(SWE_ALTSIBM), Obj_Node* (*const)(Obj_Node*)>);
  __end_context(nullptr);
  __EndGlobal();
}

}  // namespace
