#include "values.h"

#include <cstdlib>
#include <sstream>

namespace {

std::string describeArray(const Arrays& header) {
  std::string all = "{";
  int count = 0;
  const Obj_Node* last = nullptr;
  for (const Obj_Node* element = header.pFirst; element != nullptr; element = element->objpNext, ++count) {
    if (count != 0) all += ',';
    all += describe(last = element);
  }
  EXPECT_EQ(header.amntItens, count);
  EXPECT_EQ(header.pLast, last);
  return all + '}';
}

Obj_Node* parse(const char*& in) {
  if (*in == '{') {
    Obj_Node* array = __fcpObj_CT(vArray);
    for (++in; *in != '}'; in += *in == ',') __AAdd(array, parse(in));
    return ++in, array;
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
  const varTypes type = n->objVarType;
  std::ostringstream out;
  out.precision(10);
  if (type == varNumber) out << n->objData.mdbl;
  if (type == varDate) out << 'd' << n->objData.mdt;
  if (type == varLong) out << "long" << n->objData.mlong;
  if (type == varVoidPtr) out << "pointer";
  if (type == varString) out << '\'' << bytes(n) << '\'';
  if (type == varBool) out << (n->objData.mbool != 0 ? 'T' : 'F');
  if (type == varNil || type == varNul) out << (type == varNil ? "NIL" : "NUL");
  if (type == varArray)
    out << (n->objType == vArray ? describeArray(*n->objData.mArray) : describe(n->objData.mSubArray));
  return out.str();
}

Obj_Node* value(const std::string& word) {
  if (word == "-") return nullptr;
  if (word == "empty") return __INIT_CHARPTR("");
  if (word == "long") return __INIT_LONG(1);
  if (word == "const") return __INIT_CHARCONST("ab");
  if (word[0] == 'v') return variable(value(word.substr(1)));
  if (word[0] == 'e' || word[0] == 's') {
    Obj_Node* array = value(std::string("{").append(word, 1).append("}"));
    return word[0] == 'e' ? __GET_OBJ_ARRAY_EL(array, 0) : __GET_ARRAY_EL(array, 0);
  }
  if (word[0] == 'r') return S_GLOB->mRetVal[std::stoi(word.substr(1))];
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
