#include "synchost/session_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>

#include "edge/console.h"
#include "edge/json_text.h"

namespace synchost {

SessionLog::SessionLog(std::string file) : name_(std::move(file)) {
  reopen();
  if (file_ < 0)
    throw tool::Failure(tool::kUsage, "the log " + name_ + " cannot be opened: " + std::strerror(errno) +
                                          ".\n  next: name a file in a directory that you may write to.");
}

SessionLog::~SessionLog() {
  if (file_ >= 0) ::close(file_);
}

void SessionLog::reopen() {
  const int opened =
      name_.empty() ? ::dup(STDOUT_FILENO) : ::open(name_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0640);
  if (opened < 0) return;  // the old one is better than none
  if (file_ >= 0) ::close(file_);
  file_ = opened;
}

void SessionLog::write(const SessionRecord& session) {
  const tool::Json line = {{"time", session.began},
                           {"device", session.device},
                           {"address", session.address},
                           {"result", session.result},
                           {"milliseconds", session.milliseconds},
                           {"rows_sent", session.rowsSent},
                           {"rows_received", session.rowsReceived},
                           {"rows_passed_over", session.rowsPassedOver},
                           {"bytes_sent", session.bytesSent},
                           {"bytes_received", session.bytesReceived}};
  const std::string text = line.text() + "\n";
  // In one piece, so that several processes can share a file; a full disk is no reason to end sessions.
  if (::write(file_, text.data(), text.size()) < 0 && errno != EPIPE)
    tool::note("the log could not be written: " + std::string(std::strerror(errno)));
}

std::string TimeText(std::int64_t secondsSince1970) {
  const auto time = static_cast<std::time_t>(secondsSince1970);
  std::tm parts = {};
  ::gmtime_r(&time, &parts);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text;
}

}  // namespace synchost
