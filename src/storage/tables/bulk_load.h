// Inside the storage floor: adding many records to the end of an open table, all of them or none.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "storage/tables/areas.h"

namespace vorne {

/// Records are stored as they come, in constant memory. What must not stay is cut off the end of the table again, so a
/// process that is killed leaves a sound table with the records that it had come to.
class BulkLoad {
 public:
  /// @param area of the open table; it stays the caller's, and nobody else writes to the table meanwhile
  explicit BulkLoad(int area);

  /// The fields, the deletion mark included, and the buffer that holds their values.
  Fields fields() const { return fields_; }
  char* buffer() { return rdd_.TBL_buff; }

  /// Makes the buffer a blank record's.
  void begin();
  /// Stores the text and lets the memo field, by its number from 0, refer to it. False when it cannot be stored.
  bool storeMemo(std::size_t field, std::string_view text);
  /// Stores the buffer as a new record. False when it cannot be.
  bool add();
  /// Puts what the indexes have waiting in its place; to be called behind the last record. What fails for want of room
  /// fails here, where everything can still be taken back.
  void finish();
  /// Removes all records that were added, with their memo texts; the indexes become what they were. Also when the
  /// runtime has ended meanwhile. False when that could not be done.
  bool takeBack();

  std::uint64_t added() const { return added_; }

 private:
  int area_;
  VORNE_RDD& rdd_;
  Fields fields_;
  std::string name_;
  std::string memo_;
  bool hasMemo_;
  std::uint32_t firstRecord_, firstMemo_;
  std::uint64_t added_ = 0;
};

}  // namespace vorne
