// Changes on their way up: packets of the records that the host has not got, made before the session connects.
#include <algorithm>
#include <utility>

#include "runtime/arguments.h"
#include "storage/databases/tempdb.h"
#include "storage/format/names.h"
#include "storage/format/record_bytes.h"
#include "storage/records/records.h"
#include "sync/catalog_tables.h"
#include "sync/compression.h"
#include "sync/dirty_marks.h"
#include "sync/missing_records.h"
#include "sync/received_packets.h"
#include "sync/state_lines.h"
#include "sync/table_areas.h"
#include "sync/table_making.h"
#include "sync/wire.h"

using namespace vorne;

namespace {

constexpr char kToHost[] = "TOHOST", kTableField[] = "TBL_NAME", kCountField[] = "RECORDS";
constexpr int kNameLength = 30, kCountLength = 9;
// What none of whose packets can be sent: reading it for sending fails.
constexpr std::size_t kTooLong = kLargestFrame + 1;

// One table's dirty records on their way into its 'H' database, which is made for the first of them.
class Preparation {
 public:
  Preparation(const std::string& name, const TableArea& area)
      : name_(name),
        area_(area),
        fields_(area.fields()),
        buffer_(static_cast<std::size_t>(area.rdd().TBL_tam_max_buff)) {}
  Preparation(const Preparation&) = delete;
  Preparation& operator=(const Preparation&) = delete;
  ~Preparation() {
    if (packets_ != nullptr) DmCloseDatabase(packets_);
  }

  bool add(UInt32 position) {
    std::vector<char> one;
    if (!makeContent(position, one) || one.size() > kLargestContent) {
      Tell(SyncText::RecordTooLarge, static_cast<int>(position + 1), name_.c_str(), static_cast<int>(one.size()),
           static_cast<int>(kLargestContent));
      return flush() && store(std::vector<char>(kTooLong));
    }
    if (content_.size() + one.size() > kLargestContent && !flush()) return false;
    content_.insert(content_.end(), one.begin(), one.end());
    ++waiting_;
    return true;
  }
  bool flush() {
    if (waiting_ == 0) return true;
    const int count = std::exchange(waiting_, 0);
    const bool stored =
        open() && CompressAndWrite(packets_, content_.data(), static_cast<int>(content_.size()), count) != 0;
    content_.clear();
    return stored;
  }

 private:
  bool open() {
    if (packets_ == nullptr) packets_ = OpenTemporary(name_, kPacketsToSend, IfExists::Replace);
    return packets_ != nullptr;
  }
  bool store(const std::vector<char>& bytes) { return open() && TryAppendRecord(packets_, bytes); }

  // The record as a packet has it: fields packed, without what it keeps from when it was longer, and its memo texts.
  // False when a part of it is too long for any.
  bool makeContent(UInt32 position, std::vector<char>& content) {
    LoadFields(fields_, BytesOf(area_.database(), position), bswapnum, buffer_.data());
    memos_.clear();
    for (const ControlFieldTBL& field : fields_) {
      char* at = buffer_.data() + field.iOffset;
      if (field.FieldType == TBLMEMO) takeMemo(at);
      // What a program has divided by nothing: other desks would have damaged tables of it.
      if ((field.FieldType == TBLNUM || field.FieldType == TBLDATE) && !IsValueOf(field.FieldType, Load<double>(at)))
        Store(at, 0.0);
    }
    record_.resize(StoredSize(fields_, buffer_.data()));
    if (record_.empty()) return false;
    StoreFields(fields_, buffer_.data(), bswapnum, record_.data(), record_.size());
    SentRecord sent{record_, {}};
    for (const std::string& memo : memos_) sent.memos.push_back(memo);
    return AppendToContent(sent, content);
  }
  void takeMemo(char* at) {
    const UInt32 reference = Load<UInt32>(at);
    const Bytes stored = reference == 0 ? Bytes() : BytesOf(area_.rdd().TBL_memo, reference - 1);
    const std::string_view text(stored.data(), stored.size());
    memos_.emplace_back(text.substr(0, text.find('\0')));
    Store(at, UInt32{0});
  }

  std::string name_;
  const TableArea& area_;
  Fields fields_;
  std::vector<char> buffer_, record_, content_;
  std::vector<std::string> memos_;
  int waiting_ = 0;
  DmOpenRef packets_ = nullptr;
};

bool makeToHost() {
  __begin_context();
  Obj_Node* rows = __Array(__INIT_DOUBLE(0), nullptr);
  const auto add = [rows](const char* name, const char* type, int length) {
    __AAdd(rows, __CreateArray(__INIT_CHARPTR(name), __INIT_CHARPTR(type), __INIT_DOUBLE(length), __INIT_DOUBLE(0),
                               __INIT_NUL()));
  };
  add(kTableField, "C", kNameLength);
  add(kCountField, "N", kCountLength);
  const bool made = IsTrue(__DBCREATE(__INIT_CHARPTR(kToHost), rows));
  __end_context(nullptr);
  return made;
}

// Adds a row to TOHOST.
bool noteTable(const TableArea& area, const std::string& name, int records) {
  __begin_context();
  Obj_Node* number = __INIT_DOUBLE(area.number());
  __DBAPPEND(number);
  __SetField(number, __INIT_CHARPTR(kTableField), __INIT_CHARPTR(name.c_str()));
  __SetField(number, __INIT_CHARPTR(kCountField), __INIT_DOUBLE(records));
  const bool stored = __WriteRecord(area.number(), 'P', 0) == 1;
  __end_context(nullptr);
  return stored;
}

int toHostArea() {
  return ng != nullptr && IsNumber(&ng->ToHostArea) ? ToInt(ng->ToHostArea.objData.mdbl) : -1;
}

}  // namespace

int CompressAndWrite(DmOpenRef packets, const void* content, int size, int count) {
  if (packets == nullptr || content == nullptr || size <= 0 || size > kFrameRoom || count < 1) return 0;
  const Bytes plain(static_cast<const char*>(content), static_cast<std::size_t>(size));
  const bool mayCompress = ng == nullptr || ng->bHasZlib != 0;
  const std::vector<char> deflated = mayCompress ? Deflate(plain) : std::vector<char>();
  const bool gains = !deflated.empty() && deflated.size() < plain.size();
  const std::vector<char> packet = MakeSent(
      {gains, static_cast<std::uint16_t>(size), static_cast<std::uint16_t>(count), gains ? Bytes(deflated) : plain});
  return TryAppendRecord(packets, packet);
}

int GetRecsDirty(const char* name) {
  if (name == nullptr) return 0;
  DeleteTemporary(name, kPacketsToSend);
  if (HasDirty(name) == 0) return 0;
  if (!WhatDiffers(name).empty()) {
    // What the host would not understand stays dirty until the fields are those that it knows.
    NoteMissing(FoldedName(name));
    return 0;
  }
  // What the host sent before is applied first: it would put older values over what has gone up, which the host does
  // not send back.
  if (HasPartToApply(name)) return 0;
  const TableArea area(name);
  if (!area.isOpen()) return 0;
  // Nor does anything go up while what came cannot be applied at all.
  if (HasWholeToApply(name) && !OpenIndexes(name, area.number())) return 0;
  bool stored = true;
  int records = 0;
  {
    Preparation preparation(name, area);
    const UInt32 count = DmNumRecords(area.database());
    for (UInt32 i = 0; i < count && stored; ++i) {
      UInt16 attributes = 0;
      if (DmRecordInfo(area.database(), i, &attributes) != errNone || (attributes & kDirty) == 0) continue;
      stored = preparation.add(i);
      MarkPrepared(area.database(), i);
      ++records;
    }
    stored = stored && preparation.flush();
  }
  if (stored) return records;
  // A part of them must not pass for all.
  DeleteTemporary(name, kPacketsToSend);
  return -1;
}

int BatchUpload() {
  for (const CatalogTable& table : CatalogTables()) FinishClearing(table.name.c_str());
  // What an earlier session has made ready is older than the records are by now.
  DeleteTemporaries(kPacketsToSend);
  if (!makeToHost()) return 0;
  const TableArea toHost(kToHost);
  if (!toHost.isOpen()) return 0;
  for (const CatalogTable& table : CatalogTables()) {
    const int records = GetRecsDirty(table.name.c_str());
    if (records < 0 || (records > 0 && !noteTable(toHost, table.name, records))) return 0;
  }
  return 1;
}

int OpenToHostArea() {
  if (ng == nullptr) return 0;
  const int area = OpenTableArea(kToHost);
  __InitObjNode(&ng->ToHostArea, varNumber);
  ng->ToHostArea.objData.mdbl = area;
  return area >= 0;
}

int DeleteToHostTables() {
  const int area = toHostArea();
  if (AreaAt(area) == nullptr) return 0;
  bool well = true;
  {
    RecordValues values(FieldsOf(*AreaAt(area)));
    const DmOpenRef tables = DatabaseOf(*AreaAt(area));
    for (UInt32 i = 0; i < DmNumRecords(tables); ++i) {
      values.load(BytesOf(tables, i));
      const std::string name = values.text(kTableField);
      if (!IsTaken(name)) continue;
      well = (HasDirty(name.c_str()) == 0 || ClearDirtyMarks(name.c_str(), kPrepared)) && well;
      if (well) DeleteTemporary(name, kPacketsToSend);
    }
  }
  __CloseTBL(area);
  ng->ToHostArea.objData.mdbl = -1;
  __TBL_DeleteDatabase(__INIT_CHARPTR(kToHost));
  return well;
}
