// One pass over a record both tells its faults and, when asked to, puts the mended bytes together.
#include "storage/repair/check_records.h"

#include <algorithm>
#include <bit>

#include "runtime/cursor.h"
#include "storage/files/diagnostic_log.h"
#include "storage/format/record_bytes.h"

namespace vorne {

namespace {

std::endian storedOrder() {
  return (bswapnum != 0) == (std::endian::native == std::endian::little) ? std::endian::big : std::endian::little;
}

class RecordCheck {
 public:
  RecordCheck(std::span<const char> record, std::uint32_t memoTexts, std::string* mended)
      : record_(record),
        // Without the mark at the end: a text that lacks its zero must not take it for one of its own.
        from_(record.first(record.size() - std::min<std::size_t>(record.size(), kEndMarkSize))),
        memoTexts_(memoTexts),
        mended_(mended) {}

  std::vector<FieldFault> run(Fields fields) {
    for (const ControlFieldTBL& field : fields.first(fields.size() - 1)) checkField(field);
    checkMark();
    return std::move(faults_);
  }

 private:
  void checkField(const ControlFieldTBL& field) {
    if (field.FieldType == TBLSTRING || field.FieldType > TBLMEMO) return checkText(field);
    const auto room = static_cast<std::size_t>(BufferRoom(field));
    const std::span<const char> bytes = from_.take(room);
    if (bytes.size() != room) {
      endsIn(field);
      return put(std::string(room, '\0'));
    }
    const std::string fault = faultOf(field, bytes);
    if (fault.empty()) return put({bytes.data(), bytes.size()});
    tell(field, fault, kindOf(field.FieldType));
    // A mended logical says what programs have read all along.
    put(field.FieldType == TBLBOOL ? std::string(1, '\1') : std::string(room, '\0'));
  }

  static FieldFault::Kind kindOf(FType type) {
    if (type == TBLMEMO) return FieldFault::kReference;
    return type == TBLBOOL ? FieldFault::kLogical : FieldFault::kValue;
  }

  std::string faultOf(const ControlFieldTBL& field, std::span<const char> bytes) const {
    ByteReader value(bytes);
    switch (field.FieldType) {
      case TBLNUM:
      case TBLDATE: {
        const double number = std::bit_cast<double>(value.number<std::uint64_t>(storedOrder()));
        if (IsValueOf(field.FieldType, number)) return "";
        return field.FieldType == TBLNUM ? "no number" : "no date that exists";
      }
      case TBLMEMO: {
        const auto reference = value.number<std::uint32_t>(storedOrder());
        return reference <= memoTexts_ ? "" : Message("memo text %u, of which there are %u", reference, memoTexts_);
      }
      default:
        return static_cast<unsigned char>(bytes[0]) <= 1 ? "" : "neither true nor false";
    }
  }

  void checkText(const ControlFieldTBL& field) {
    ByteReader::Bytes text;
    const auto room = static_cast<std::size_t>(field.FieldLen);
    if (!from_.takeUntil('\0', text)) {
      endsIn(field);
      // Where the next field begins cannot be told: from here on all of them are missing.
      text = from_.rest();
      from_.fail();
    } else if (text.size() > room) {
      tell(field, Message("a text of %zu characters, it has room for %zu", text.size(), room), FieldFault::kLayout);
    }
    put({text.data(), std::min(text.size(), room)});
    put({"", 1});
  }

  // What has no end mark at its end may have it where it stood before the record got longer.
  void checkMark() {
    const std::span<const char> behind = record_.subspan(record_.size() - std::min(record_.size(), markBytes()));
    std::size_t used = 0;
    char mark = '\0';
    for (const char c : behind.first(behind.size() - (behind.empty() ? 0 : 1)))
      if (c != '\0') ++used, mark = c;
    const bool known = mark == kLive || mark == kDeleted;
    if (!known)
      faults_.push_back({"its deletion mark is missing", FieldFault::kEndMark});
    else if (used != 1 || behind.back() != '\0')
      faults_.push_back({"bytes that belong to no field stand behind its last one", FieldFault::kEndMark});
    put({mark == kDeleted ? "*" : "!", kEndMarkSize});
  }

  std::size_t markBytes() const { return from_.rest().size() + kEndMarkSize; }

  void endsIn(const ControlFieldTBL& field) {
    if (!ended_) tell(field, "no end in the record", FieldFault::kLayout);
    ended_ = true;
  }
  void tell(const ControlFieldTBL& field, const std::string& words, FieldFault::Kind kind) {
    faults_.push_back({"field " + std::string(field.FieldName) + " holds " + words, kind});
  }
  void put(std::string_view bytes) {
    if (mended_ != nullptr) mended_->append(bytes);
  }

  std::span<const char> record_;
  ByteReader from_;
  std::uint32_t memoTexts_;
  // Where the record goes as it ought to be, field by field; null when nobody wants it.
  std::string* mended_;
  // The record's end was told: every field behind it is missing for the same reason.
  bool ended_ = false;
  std::vector<FieldFault> faults_;
};

}  // namespace

std::vector<FieldFault> CheckRecord(Fields fields, std::span<const char> record, std::uint32_t memoTexts,
                                    std::string* mended) {
  return RecordCheck(record, memoTexts, mended).run(fields);
}

}  // namespace vorne
