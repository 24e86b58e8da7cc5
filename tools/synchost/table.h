// A synchronised table as the host knows it, and its records in the form in which they travel and are kept: whoever
// stores them never takes them apart again to send them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "storage/format/description.h"
#include "sync/wire.h"

namespace synchost {

using Blob = std::vector<char>;

enum class Direction { kBoth, kDown, kUp };  // seen from the host: down to the devices, up from them

struct TableIndex {
  std::string name;
  std::vector<std::string> fields;
};

struct Table {
  std::int64_t number = 0;
  std::string name;
  char type = 'P';  ///< 'T': always sent whole
  Direction direction = Direction::kBoth;
  std::string keyIndex;  ///< that tells records apart; empty: the first index
  std::string fieldTexts;
  std::string indexTexts;
  std::vector<ControlFieldTBL> fields;  ///< the deletion mark is the last one; with their places in a buffer
  std::vector<TableIndex> indexes;
  std::vector<IDX_Indexes> keyFields;  ///< none: nothing tells records apart, they are only ever added
  std::size_t memoFields = 0;

  bool hasKey() const { return !keyFields.empty(); }
  /// True when records of a table of these fields are laid out as its own; devices take them for the same, too.
  bool hasFields(const std::string& texts) const;
};

/// A table from its words: fields as in "CODE:N:8 NAME:C:30", indexes as in "BYCODE:CODE BYNAME:NAME,CODE".
/// @throws tool::Failure (kUsage) for what cannot be one
Table MakeTable(const std::string& name, const std::string& fieldTexts, const std::string& indexTexts,
                const std::string& keyIndex);

/// A record that is kept: what tells it apart, and what stands for it in a packet's content.
struct KeptRecord {
  Blob key;  ///< empty without a key
  Blob content;
  bool deleted;
};

/// A record as it is sent, and where it stands among the others.
struct SentContent {
  Blob key;
  std::int64_t change = 0;
  Blob content;
};

/// One record of a table, field by field.
class RecordBuffer {
 public:
  explicit RecordBuffer(const Table& table);

  char* bytes() { return bytes_.data(); }
  const char* bytes() const { return bytes_.data(); }
  void clear();
  /// Takes a record as a table stores it. False for bytes that are none of the table's; the buffer is then as it was.
  bool load(vorne::Bytes record);
  /// Sets the field of that number from 0.
  void setText(std::size_t field, std::string_view latin1);
  void setNumber(std::size_t field, double number);

  /// The record with its memo texts, made anew from the fields: whatever was loaded, devices get one that is well
  /// formed. None when it is longer than a packet can be.
  std::optional<KeptRecord> kept(const std::vector<vorne::Bytes>& memos);

 private:
  const Table& table_;
  std::vector<char> bytes_;
  std::vector<char> record_;
  std::vector<std::uint32_t> memosAt_;
};

/// The record in a kept content, and its memo texts.
vorne::SentRecord RecordIn(const Table& table, vorne::Bytes content);

}  // namespace synchost
