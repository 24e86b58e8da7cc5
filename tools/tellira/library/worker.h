// Calls into the library, made in a child process because the library ends its process on an error.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>

namespace tool {

/// One call of ExecInClientDLL.
struct Request {
  int command = 0;        ///< command number; 999 and 997 ask for versions
  std::string parameter;  ///< parameter text, encoded unless `plain`
  int outBytes = 65536;   ///< size of the output buffer, 0 to kMostOutBytes
  bool plain = false;     ///< switch the encoding off for this call
};

inline constexpr int kMostOutBytes = 16 << 20;

/// How a call ended.
enum class Ending {
  kAnswered,
  kNoDirectory,  ///< the working directory could not be entered
  kNotLoaded,    ///< the library could not be loaded
  kNoExport,     ///< the library lacks a function that the tool calls
  kExited,       ///< the process ended itself; `number` is its exit status
  kSignalled,    ///< the process was ended by signal `number`
  kTimedOut,     ///< no answer in time; the process was killed
  kInterrupted,  ///< the tool was asked to end while the answer was awaited; the process was killed
  kNoProcess,    ///< the child process could not be made
};

struct Answer {
  Ending ending = Ending::kNoProcess;
  int returned = 0;    ///< what ExecInClientDLL returned
  int number = 0;      ///< exit status or signal
  std::string output;  ///< the output text up to its end, bytes as the library wrote them
  std::string words;   ///< what the library printed, ISO-8859-1
  std::string detail;  ///< the system's reason when something could not be loaded or made
};

/// A child process that loads the library when first asked and then makes one call after the other, so that vendor
/// libraries keep what they hold in memory between the calls of a sale. After an ending other than kAnswered the next
/// call starts a new process.
class Worker {
 public:
  /// @param library   absolute path of the library
  /// @param directory directory to work in; vendor libraries are looked for there
  Worker(std::string library, std::string directory);
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  /// Makes one call and waits for it no longer than `timeout`, and only for a moment more once the tool was asked to
  /// end. Shows on a terminal that it waits.
  /// @param name of the command, to be shown
  Answer call(const Request& request, std::chrono::milliseconds timeout, const std::string& name);

 private:
  using Clock = std::chrono::steady_clock;

  bool start(std::string& reason);
  void sendRequest(const Request& request, std::chrono::milliseconds timeout);
  Answer await(const Request& request, Clock::time_point deadline, const std::string& name);
  void pump(std::string& frames, std::size_t mostFrame, std::string& words, std::chrono::milliseconds wait);
  void drainWords(std::string& words);
  void finish();

  std::string library_;
  std::string directory_;
  pid_t child_ = -1;
  int calls_ = -1;  ///< socket: requests out, answers in
  int words_ = -1;  ///< pipe: the child's standard output and standard error
};

}  // namespace tool
