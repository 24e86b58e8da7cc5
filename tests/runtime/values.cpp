#include "values.h"

#include <cstdlib>
#include <sstream>

namespace {

std::string numberText(double v) {
  std::ostringstream out;
  out << v;
  return out.str();
}

std::string describeArray(const Arrays& header) {
  std::string all = "{";
  for (const Obj_Node* element = header.pFirst; element != nullptr; element = element->objpNext) {
    if (all.size() > 1) all += ',';
    all += describe(element);
  }
  all += '}';
  return all;
}

Obj_Node* parse(const char*& in) {
  if (*in == '{') {
    Obj_Node* array = __fcpObj_CT(vArray);
    for (++in; *in != '}'; in += *in == ',') __AAdd(array, parse(in));
    ++in;
    return array;
  }
  if (*in == '\'') {
    const char* begin = ++in;
    in = std::strchr(begin, '\'') + 1;
    return text({begin, static_cast<std::size_t>(in - 1 - begin)});
  }
  if (*in == 'N') return in += 3, in[-1] == 'L' && in[-2] == 'U' ? __INIT_NUL() : __INIT_NIL();
  if (*in == 'T' || *in == 'F') return __INIT_BOOL(*in++ == 'T');
  const bool date = *in == 'd';
  char* end;
  const double v = std::strtod(in + date, &end);
  in = end;
  return date ? __INIT_DATE(v) : number(v);
}

}  // namespace

std::string describe(const Obj_Node* n) {
  if (n == nullptr) return "-";
  switch (n->objVarType) {
    case varString:
      return std::string("'").append(bytes(n)).append("'");
    case varNumber:
      return numberText(n->objData.mdbl);
    case varDate:
      return std::string("d").append(numberText(n->objData.mdt));
    case varBool:
      return n->objData.mbool != 0 ? "T" : "F";
    case varLong:
      return std::string("long").append(std::to_string(n->objData.mlong));
    case varNil:
      return "NIL";
    case varNul:
      return "NUL";
    case varArray:
      return n->objType == vArray ? describeArray(*n->objData.mArray) : describe(n->objData.mSubArray);
    default:
      return std::string("type").append(std::to_string(n->objVarType));
  }
}

Obj_Node* value(const std::string& word) {
  if (word == "-") return nullptr;
  if (word == "empty") return __INIT_CHARPTR("");
  if (word == "long") return __INIT_LONG(1);
  const char* in = word.c_str();
  return parse(in);
}

std::vector<std::vector<std::string>> rows(const char* table, std::size_t columns) {
  std::vector<std::vector<std::string>> all;
  std::istringstream words(table);
  for (std::string word; words >> word;) {
    if (all.empty() || all.back().size() == columns) all.emplace_back();
    all.back().push_back(word);
  }
  EXPECT_EQ(all.back().size(), columns);
  return all;
}
