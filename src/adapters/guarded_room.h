// Memory lent to vendor functions. It ends where an inaccessible page begins: a vendor that writes far past what it was
// given is stopped at once instead of damaging the host's memory unseen.
#pragma once

#include <cstddef>

namespace vorne {

class GuardedRoom {
 public:
  /// What the bytes of a new room hold.
  static constexpr char kFill = '\xFF';

  /// `size` bytes of kFill, aligned to 16 when `size` is. Error 5.
  explicit GuardedRoom(std::size_t size);
  GuardedRoom(const GuardedRoom&) = delete;
  GuardedRoom& operator=(const GuardedRoom&) = delete;
  ~GuardedRoom();

  char* data() const { return end_ - size_; }
  std::size_t size() const { return size_; }
  /// Says that only the first `size` bytes may hold anything but kFill (default: all).
  void setUsed(std::size_t size) { used_ = size; }

 private:
  char* end_;  // first byte of the inaccessible page
  std::size_t size_;
  std::size_t used_;
  std::size_t mapped_;  // accessible bytes in front of end_
};

}  // namespace vorne
