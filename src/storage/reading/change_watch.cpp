// Every process that writes has a journal of its own with a counter; a directory without one is judged by its own time.
#include "storage/reading/change_watch.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <thread>
#include <utility>

#include "storage/files/system.h"

namespace vorne {

namespace {

using namespace std::chrono_literals;

// File times move in steps of the system's clock tick, of up to 10 ms: a directory changed within the last two steps
// may change once more without showing it.
constexpr std::int64_t kTimeSteps = 20'000'000;
// How long a change must stand still before its writer is suspected to be dead.
constexpr auto kSuspicion = 20ms;
constexpr auto kBetweenLooks = 50us;
constexpr int kLooksWithoutSleep = 20;

std::int64_t nanoseconds(const timespec& time) {
  return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

// A time in the future is no recent change but a clock that was set back.
bool isRecent(std::int64_t time) {
  timespec now = {};
  ::clock_gettime(CLOCK_REALTIME, &now);
  const std::int64_t age = nanoseconds(now) - time;
  return age >= 0 && age < kTimeSteps;
}

}  // namespace

ChangeWatch::ChangeWatch(std::string directory) : directory_(std::move(directory)) {
  files_.fill(-1);
}

ChangeWatch::~ChangeWatch() {
  rest();
}

void ChangeWatch::rest() {
  for (int& file : files_)
    if (file >= 0) fileSystem.close(std::exchange(file, -1));
}

std::string ChangeWatch::pathOf(std::size_t journal) const {
  return directory_ + "/" + std::string(kJournalNames[journal]);
}

ChangeWatch::Counter ChangeWatch::counterOf(std::size_t journal) {
  struct stat found;
  Counter counter;
  const std::string path = pathOf(journal);
  if (fileSystem.stat(path.c_str(), &found) != 0 || !S_ISREG(found.st_mode)) return counter;
  counter.device = found.st_dev;
  counter.inode = found.st_ino;
  // Looked up by name each time: a new journal may have taken the old one's place, whose open file would go on telling
  // that nothing changes.
  int& file = files_[journal];
  if (file < 0 || counter.device != opened_[journal].device || counter.inode != opened_[journal].inode) {
    if (file >= 0) fileSystem.close(file);
    file = fileSystem.open(path.c_str(), O_RDONLY | O_NONBLOCK, 0);
    opened_[journal] = counter;
    if (file < 0 && errno != ENOENT)
      throw ReadFailure(ReadFailure::kRefused, path + " cannot be read: " + std::strerror(errno) +
                                                   "; without it nobody knows what the program is changing");
  }
  JournalHead head;
  // One that is just being made has no magic yet, and its writer has changed nothing.
  if (file < 0 || fileSystem.pread(file, &head, sizeof head, 0) != sizeof head || head.magic != kJournalMagic)
    return counter;
  counter.session = head.session;
  counter.changes = head.changes;
  counter.state = head.state;
  return counter;
}

ChangeWatch::State ChangeWatch::current() {
  // Loads of what was read stay before those of the counters, on every processor.
  __atomic_thread_fence(__ATOMIC_SEQ_CST);
  State state;
  struct stat found;
  if (fileSystem.stat(directory_.c_str(), &found) != 0 || !S_ISDIR(found.st_mode))
    throw ReadFailure(ReadFailure::kMissing,
                      directory_ + " is no directory with databases; name the directory that holds \"DB\"");
  // Files that come, go or are renamed change it: all that a writer does outside of its journal.
  state.directoryTime = nanoseconds(found.st_mtim);
  for (std::size_t i = 0; i < kJournals; ++i) state.journals[i] = counterOf(i);
  return state;
}

bool ChangeWatch::isSettled(const State& state) const {
  bool journal = false;
  for (std::size_t i = 0; i < kJournals; ++i) {
    if (!state.journals[i].isQuiet() && state.journals[i] != dead_[i]) return false;
    journal |= state.journals[i].inode != 0;
  }
  // Only one process writes at a time: while it lives, its counter says all there is to know.
  return journal || !isRecent(state.directoryTime);
}

// A change of which only the counter is left did no harm: the record did not count yet, or
// counts as a whole.
void ChangeWatch::lookForDeadWriters(const State& state) {
  for (std::size_t i = 0; i < kJournals; ++i) {
    if (state.journals[i].isQuiet() || files_[i] < 0) continue;
    if (fileSystem.flock(files_[i], LOCK_SH | LOCK_NB) != 0) continue;  // its writer lives
    fileSystem.flock(files_[i], LOCK_UN);
    if (state.journals[i].state != 0)
      throw ReadFailure(ReadFailure::kInterrupted,
                        "a change was interrupted in " + directory_ +
                            "; run `tellira db check --repair` or open the tables once with the program");
    dead_[i] = state.journals[i];
  }
}

ChangeWatch::State ChangeWatch::settled(Clock::time_point deadline) {
  State state = current();
  Clock::time_point since = Clock::now();
  for (int looks = 0; !isSettled(state); ++looks) {
    // Most changes are over sooner than any sleep would be.
    if (looks < kLooksWithoutSleep)
      ::sched_yield();
    else
      std::this_thread::sleep_for(kBetweenLooks);
    const State now = current();
    const Clock::time_point time = Clock::now();
    if (now != state) {
      since = time;
    } else if (time - since >= kSuspicion) {
      lookForDeadWriters(state);
      since = time;
    }
    state = now;
    if (time >= deadline) throwBusy();
  }
  return state;
}

// Where the reader may not write, it waits for the writer's next pause.
void ChangeWatch::askForPause(std::chrono::microseconds takes) {
  // In microseconds. The writer looks at it when it begins its next change.
  const auto wish = static_cast<std::uint32_t>(takes.count());
  for (std::size_t i = 0; i < kJournals; ++i) {
    if (last_.journals[i].session == 0) continue;
    const int file = fileSystem.open(pathOf(i).c_str(), O_WRONLY | O_NONBLOCK, 0);
    struct stat found;
    if (file < 0) continue;
    // The name may be another journal's by now, whose writer nobody waits for.
    if (::fstat(file, &found) == 0 && found.st_ino == last_.journals[i].inode) {
      [[maybe_unused]] const ssize_t written = ::pwrite(file, &wish, sizeof wish, offsetof(JournalHead, readersWait));
    }
    fileSystem.close(file);
  }
}

void ChangeWatch::throwBusy() const {
  throw ReadFailure(ReadFailure::kInUse, "another process kept changing records in " + directory_ +
                                             " for ten seconds; try again when it is less busy");
}

}  // namespace vorne
