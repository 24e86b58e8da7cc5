// The system with a call that fails: the n-th of its kind, once or from then on.
#pragma once

#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <ostream>
#include <string_view>
#include <type_traits>

#include "storage/files/system.h"

namespace failing {

/// Which call fails; put it in shared memory to see afterwards how many there were. Where the process is killed
/// instead, that is behind the call, or before it when it is to be for ever.
struct Plan {
  unsigned first = ~0u;  // counted from 0
  bool forever = false;
  unsigned calls = 0;
};
inline Plan* plan = nullptr;

/// `Made`: what fails is done nevertheless. Without an error the process is killed.
template <auto Place, int Error, bool Made = false>
struct Failing;
template <class Result, class... Arguments, Result (*vorne::System::*Place)(Arguments...), int Error, bool Made>
struct Failing<Place, Error, Made> {
  static Result call(Arguments... arguments) {
    const unsigned number = plan->calls++;
    const bool fails = number == plan->first || (plan->forever && number > plan->first);
    if (fails && Error == 0 && plan->forever) ::kill(getpid(), SIGKILL);
    if (!fails || Made) {
      const Result result = (vorne::kSystem.*Place)(arguments...);
      if (!fails) return result;
    }
    if (Error == 0) ::kill(getpid(), SIGKILL);
    errno = Error;
    if constexpr (std::is_pointer_v<Result>)
      return MAP_FAILED;
    else
      return -1;
  }
  static void install() { vorne::fileSystem.*Place = call; }
};

template <auto... Places>
void installKiller() {
  (Failing<Places, 0, true>::install(), ...);
}

struct Kind {
  const char* name;
  void (*install)();
};
/// How the names of the tests show the parameter.
inline void PrintTo(const Kind& kind, std::ostream* out) {
  *out << kind.name;
}
using vorne::System;
template <auto Place, int Error, bool Made = false>
inline constexpr auto fails = Failing<Place, Error, Made>::install;
inline constexpr Kind kKinds[] = {
    {"open", fails<&System::open, EMFILE>},
    {"close", fails<&System::close, EIO, true>},
    {"read", fails<&System::read, EIO>},
    {"write", fails<&System::write, ENOSPC>},
    {"lseek", fails<&System::lseek, EIO>},
    {"ftruncate", fails<&System::ftruncate, ENOSPC>},
    {"fallocate", fails<&System::fallocate, ENOSPC>},
    {"fsync", fails<&System::fsync, EIO>},
    {"mmap", fails<&System::mmap, ENOMEM>},
    {"mremap", fails<&System::mremap, ENOMEM>},
    {"msync", fails<&System::msync, EIO>},
    {"rename", fails<&System::rename, EIO>},
    {"unlink", fails<&System::unlink, EACCES>},
    {"mkdir", fails<&System::mkdir, ENOSPC>},
    {"stat", fails<&System::stat, EIO>},
    {"flock", fails<&System::flock, ENOLCK>},
    {"kill",
     installKiller<&System::open, &System::close, &System::read, &System::write, &System::lseek, &System::ftruncate,
                   &System::fallocate, &System::mmap, &System::mremap, &System::munmap, &System::msync, &System::rename,
                   &System::unlink, &System::mkdir, &System::stat, &System::flock, &System::link>}};

/// Lets the calls of that name fail as `when` tells; "kill": the process is killed at the call, whichever it is.
inline void install(std::string_view name, Plan& when) {
  plan = &when;
  for (const Kind& kind : kKinds)
    if (kind.name == name) kind.install();
}

}  // namespace failing
