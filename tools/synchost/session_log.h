// One line of JSON for every connection that ended, with what came of it.
#pragma once

#include <string>

#include "synchost/store.h"

namespace synchost {

class SessionLog {
 public:
  /// @param file that is added to; empty: standard output
  /// @throws tool::Failure (kUsage) when it cannot be opened
  explicit SessionLog(std::string file);
  SessionLog(const SessionLog&) = delete;
  SessionLog& operator=(const SessionLog&) = delete;
  ~SessionLog();

  void write(const SessionRecord& session);
  /// After the file was moved away, as when logs are rotated.
  void reopen();

 private:
  std::string name_;
  int file_ = -1;
};

/// A moment as in 2026-03-17T09:30:00Z.
std::string TimeText(std::int64_t secondsSince1970);

}  // namespace synchost
