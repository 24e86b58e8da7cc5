// Two streams connect the tool with its child: a socket with requests and replies in frames, and a pipe with everything
// that the library prints. The child lives as long as its calls are answered, so that a device stays open between them;
// one that ends, or does not answer in time, is gone with what it had open.
#include "library/worker.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <utility>

#include "edge/interrupts.h"
#include "edge/progress.h"
#include "library/worker_child.h"

namespace tool {
namespace {

constexpr std::size_t kMostWords = 64 * 1024;  // more than this the library does not get to say
constexpr std::size_t kMostDetail = 4096;
constexpr std::chrono::milliseconds kTick{50};      // a child's end is seen no later, even if others hold its pipes
constexpr std::chrono::milliseconds kTickAtEnd{1};  // once its socket is closed the child is about to end
constexpr std::chrono::milliseconds kPatienceAtEnd{2000};
constexpr std::chrono::milliseconds kPatienceWhenAsked{2000};  // what a device has begun it may still finish

/// Appends what is there to read, never more than `most` in all; what is beyond is read and dropped.
/// @returns false at the end of the stream
bool readSome(int from, std::string& to, std::size_t most) {
  std::array<char, 16384> piece;
  const ssize_t got = read(from, piece.data(), piece.size());
  // Nothing there just now: the stream goes on.
  if (got < 0) return errno == EINTR || errno == EAGAIN;
  to.append(piece.data(), std::min(static_cast<std::size_t>(got), most - std::min(most, to.size())));
  return got > 0;
}

Ending endingOf(Reply kind) {
  switch (kind) {
    case Reply::kAnswered:
      return Ending::kAnswered;
    case Reply::kNoDirectory:
      return Ending::kNoDirectory;
    case Reply::kNotLoaded:
      return Ending::kNotLoaded;
    default:
      return Ending::kNoExport;
  }
}

/// Fills `answer` from a whole frame; false while bytes are missing.
bool readFrame(const std::string& frames, Answer& answer) {
  ReplyHead head{};
  if (frames.size() < sizeof head) return false;
  std::memcpy(&head, frames.data(), sizeof head);
  // By subtraction: the number comes from another process.
  if (head.bytes > frames.size() - sizeof head) return false;
  answer.ending = endingOf(head.kind);
  answer.returned = head.returned;
  (answer.ending == Ending::kAnswered ? answer.output : answer.detail) = frames.substr(sizeof head, head.bytes);
  return true;
}

void closeOne(int& descriptor) {
  if (descriptor >= 0) close(descriptor);
  descriptor = -1;
}

}  // namespace

Worker::Worker(std::string library, std::string directory)
    : library_(std::move(library)), directory_(std::move(directory)) {}

Worker::~Worker() {
  finish();
}

Answer Worker::call(const Request& request, std::chrono::milliseconds timeout, const std::string& name) {
  Answer answer;
  const auto deadline = Clock::now() + timeout;
  if (child_ < 0 && !start(answer.detail)) return answer;
  sendRequest(request, timeout);  // a child that is gone already shows itself while its answer is awaited
  return await(request, deadline, name);
}

bool Worker::start(std::string& reason) {
  std::array<int, 2> calls{-1, -1};
  std::array<int, 2> words{-1, -1};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, calls.data()) != 0 || pipe2(words.data(), O_CLOEXEC) != 0) {
    reason = std::strerror(errno);
    closeOne(calls[0]);
    closeOne(calls[1]);
    return false;
  }
  std::fflush(nullptr);  // the child must not say again what is still in the buffers
  child_ = fork();
  if (child_ == 0) {
    Interrupts::leaveToParent();    // a payment that is under way must come to its end
    std::signal(SIGPIPE, SIG_DFL);  // a vendor library finds what a host would give it
    close(calls[0]);
    close(words[0]);
    serveCalls(library_, directory_, calls[1], words[1]);
  }
  if (child_ < 0) reason = std::strerror(errno);
  close(calls[1]);
  close(words[1]);
  calls_ = calls[0];
  words_ = words[0];
  fcntl(words_, F_SETFL, O_NONBLOCK);
  if (child_ < 0) finish();
  return child_ >= 0;
}

void Worker::sendRequest(const Request& request, std::chrono::milliseconds timeout) {
  const timeval patience{static_cast<time_t>(timeout.count() / 1000), 0};  // for a child that stopped reading
  setsockopt(calls_, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
  const RequestHead head{request.command, request.outBytes, request.plain ? 1 : 0,
                         static_cast<std::uint32_t>(request.parameter.size())};
  std::string bytes(reinterpret_cast<const char*>(&head), sizeof head);
  bytes += request.parameter;
  for (std::size_t at = 0; at < bytes.size();) {
    const ssize_t sent = send(calls_, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return;
    at += static_cast<std::size_t>(sent);
  }
}

Answer Worker::await(const Request& request, Clock::time_point deadline, const std::string& name) {
  Answer answer;
  Progress progress;
  bool isAsked = false;
  std::string frames;
  const std::size_t mostFrame = sizeof(ReplyHead) + static_cast<std::size_t>(request.outBytes) + kMostDetail;
  while (Clock::now() < deadline && !Interrupts::askedAgain()) {
    progress.show("waiting for " + name);
    if (Interrupts::asked() && !std::exchange(isAsked, true))
      deadline = std::min(deadline, Clock::now() + kPatienceWhenAsked);
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    pump(frames, mostFrame, answer.words, std::min(left, calls_ < 0 ? kTickAtEnd : kTick));
    int status = 0;
    const bool ended = waitpid(child_, &status, WNOHANG) == child_;
    if (ended) {
      child_ = -1;
      // What it wrote just before its end still lies in the socket.
      pump(frames, mostFrame, answer.words, {});
    }
    const bool answered = readFrame(frames, answer);
    // It printed before it answered: all of that is in the pipe by now, and belongs to this call.
    if (answered || ended) drainWords(answer.words);
    if (!answered && ended) {
      answer.ending = WIFSIGNALED(status) ? Ending::kSignalled : Ending::kExited;
      answer.number = WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status);
    }
    if (ended || (answered && answer.ending != Ending::kAnswered)) finish();
    if (answered || ended) return answer;
  }
  kill(child_, SIGKILL);
  drainWords(answer.words);
  finish();
  answer.ending = isAsked ? Ending::kInterrupted : Ending::kTimedOut;
  return answer;
}

void Worker::pump(std::string& frames, std::size_t mostFrame, std::string& words, std::chrono::milliseconds wait) {
  std::array<pollfd, 2> streams{{{calls_, POLLIN, 0}, {words_, POLLIN, 0}}};  // poll passes over closed ones
  if (poll(streams.data(), streams.size(), static_cast<int>(wait.count())) <= 0) return;
  if (streams[0].revents != 0 && !readSome(calls_, frames, mostFrame)) closeOne(calls_);
  if (streams[1].revents != 0 && !readSome(words_, words, kMostWords)) closeOne(words_);
}

void Worker::drainWords(std::string& words) {
  for (pollfd stream{words_, POLLIN, 0}; words_ >= 0 && poll(&stream, 1, 0) > 0;) {
    if (!readSome(words_, words, kMostWords)) closeOne(words_);
    stream.fd = words_;
  }
}

void Worker::finish() {
  closeOne(calls_);  // the child reads the end of its requests and leaves as a host does
  const auto deadline = Clock::now() + kPatienceAtEnd;
  std::string unheard;
  while (child_ >= 0 && waitpid(child_, nullptr, WNOHANG) == 0) {
    if (Clock::now() >= deadline) kill(child_, SIGKILL);
    // Read until then: a child that prints into a full pipe would never end.
    pump(unheard, 0, unheard, kTickAtEnd);
  }
  child_ = -1;
  closeOne(words_);
}

}  // namespace tool
