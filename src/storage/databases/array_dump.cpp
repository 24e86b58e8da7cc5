// One walk writes and one reads, in the same order: a count, then that many items, depth first. Nothing else tells
// where an array ends, so what cannot be written whole is told as not saved.
#include "storage/databases/array_dump.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "runtime/internal.h"
#include "runtime/latin1.h"
#include "storage/databases/tempdb.h"
#include "storage/files/diagnostic_log.h"

namespace vorne {

namespace {

constexpr int kDeepest = 64;

// A node as it stands in the memory of a 32-bit system, pointers as 0.
struct NodeImage {
  std::uint32_t next;
  std::int32_t objType;
  std::int32_t objVarType;
  std::int32_t objLength;
  char data[8];
  std::int16_t objRefCount;
  std::int16_t objContext;
};
static_assert(sizeof(NodeImage) == 28 && offsetof(NodeImage, data) == 16 && offsetof(NodeImage, objContext) == 26);

// The bytes of ObjData that mean something outside this process.
std::size_t dataSize(int type) {
  switch (type) {
    case varNumber:
    case varDate:
      return sizeof(double);
    case varBool:
      return sizeof(Boolean);
    case varLong:
      return sizeof(std::int32_t);
    default:
      return 0;
  }
}

class Dump {
 public:
  explicit Dump(DmOpenRef db) : db_(db) {}

  // Only its rows: a value that stands among them was never saved.
  bool top(const Obj_Node* array) {
    bool whole = count(array);
    for (const Obj_Node* at = array->objData.mArray->pFirst; at != nullptr && whole; at = at->objpNext)
      if (IsElementWithArray(at)) whole = nested(at->objData.mSubArray, 1);
    return whole;
  }

 private:
  bool nested(const Obj_Node* array, int depth) {
    if (depth > kDeepest || array->objData.mArray == nullptr || !count(array)) return false;
    for (const Obj_Node* at = array->objData.mArray->pFirst; at != nullptr; at = at->objpNext) {
      if (at->objType != vElArray) return true;
      if (!(IsElementWithArray(at) ? nested(at->objData.mSubArray, depth + 1) : scalar(at))) return false;
    }
    return true;
  }

  bool count(const Obj_Node* array) {
    const std::int32_t items = array->objData.mArray->amntItens;
    return AppendRecord(db_, {reinterpret_cast<const char*>(&items), sizeof items});
  }

  bool scalar(const Obj_Node* node) {
    NodeImage image = {0, node->objType, node->objVarType, node->objLength, {}, node->objRefCount, node->objContext};
    std::memcpy(image.data, &node->objData, dataSize(node->objVarType));
    std::string record(reinterpret_cast<const char*>(&image), sizeof image);
    if (HasText(node) && node->objLength > 0) {
      const auto length = static_cast<std::size_t>(node->objLength);
      record.append(node->objData.mbuff, std::min(length, TextRoom(node)));
      // The length field may promise more than the text has: zeros stand for the rest.
      record.resize(sizeof image + length);
    }
    // A text too long for a record keeps its beginning.
    record.resize(std::min<std::size_t>(record.size(), kLargestRecord));
    return AppendRecord(db_, record);
  }

  DmOpenRef db_;
};

class Restore {
 public:
  explicit Restore(DmOpenRef db) : db_(db), left_(DmNumRecords(db)) {}

  Obj_Node* top() {
    std::int32_t items = 0;
    if (!takeCount(items)) return nullptr;
    return array(items, 0);
  }

 private:
  // Counts come from a file: no more items are made than there are records, nor deeper ones than were written.
  Obj_Node* array(std::int32_t items, int depth) {
    Obj_Node* made = __fcpObj_CT(vArray);
    for (; items > 0 && left_ > 0; --items) {
      const std::span<const char> record = peek();
      std::int32_t inner = 0;
      if (record.size() >= sizeof(NodeImage)) {
        next();
        append(made, record);
      } else if (depth < kDeepest && takeCount(inner)) {
        __AAdd(made, array(inner, depth + 1));
      } else {
        break;
      }
    }
    return made;
  }

  void append(Obj_Node* to, std::span<const char> record) {
    NodeImage image;
    std::memcpy(&image, record.data(), sizeof image);
    const std::span<const char> text = record.subspan(sizeof image);
    __AAdd(to, image.objVarType == varString ? textOf(image, text) : scalarOf(image));
  }

  static Obj_Node* textOf(const NodeImage& image, std::span<const char> text) {
    const auto length = std::clamp<std::int64_t>(image.objLength, 0, static_cast<std::int64_t>(text.size()));
    Obj_Node* made = __ALLOC_CHARPTR(static_cast<int>(length));
    std::memcpy(made->objData.mbuff, text.data(), static_cast<std::size_t>(length));
    // At least 1: a length field counts the text's zero.
    made->objLength = static_cast<std::int32_t>(std::max<std::int64_t>(length, 1));
    return made;
  }

  static Obj_Node* scalarOf(const NodeImage& image) {
    switch (image.objVarType) {
      case varNumber:
        return __INIT_DOUBLE(Load<double>(image.data));
      case varDate:
        return __INIT_DATE(Load<double>(image.data));
      case varBool:
        return __INIT_BOOL(static_cast<short>(Load<Boolean>(image.data) != 0));
      case varLong:
        return __INIT_LONG(Load<std::int32_t>(image.data));
      default:
        return __INIT_NIL();
    }
  }

  std::span<const char> peek() { return RecordBytes(db_, at_); }
  void next() {
    ++at_;
    --left_;
  }
  bool takeCount(std::int32_t& items) {
    const std::span<const char> record = left_ == 0 ? std::span<const char>() : peek();
    if (record.size() < sizeof items || record.size() >= sizeof(NodeImage)) return false;
    std::memcpy(&items, record.data(), sizeof items);
    next();
    return true;
  }

  DmOpenRef db_;
  UInt32 at_ = 0;
  // Records that have not been read; at_ and left_ together are all there are.
  UInt32 left_;
};

}  // namespace

bool SaveArray(const char* name, Obj_Node* array) {
  const DmOpenRef db = OpenTemporary(name, kList, IfExists::Replace);
  const bool whole = db != nullptr && Dump(db).top(array);
  if (db != nullptr) DmCloseDatabase(db);
  if (!whole) Logar(Message("A matriz %s não foi gravada por inteiro"_l1, name).c_str());
  return whole;
}

Obj_Node* RestoreArray(const char* name) {
  const DmOpenRef db = FindTemporary(name, kList);
  if (db == nullptr) return nullptr;
  Obj_Node* restored = Restore(db).top();
  DmCloseDatabase(db);
  DeleteTemporary(name, kList);
  return restored;
}

}  // namespace vorne
