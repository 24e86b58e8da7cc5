// Runs something that may end the process in a child, and tells how it ended and what it printed.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <thread>

/// Something that this process and its children see alike.
template <class T>
T& shared() {
  void* at = mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (at == MAP_FAILED) std::abort();
  return *new (at) T{};
}

struct ChildResult {
  int status = -1;     // exit status, or 1000 + signal
  std::string output;  // standard output, as bytes
};

/// Kills it after `patience`, unless that is 0.
inline ChildResult runChild(const std::function<void()>& body, std::chrono::microseconds patience = {}) {
  int ends[2];
  ChildResult result;
  std::fflush(stdout);
  if (pipe(ends) != 0) return result;
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
    body();
    std::fflush(stdout);
    _exit(77);  // came back
  }
  close(ends[1]);
  if (patience.count() != 0) {
    std::this_thread::sleep_for(patience);
    kill(child, SIGKILL);
  }
  char buffer[4096];
  for (ssize_t n; (n = read(ends[0], buffer, sizeof buffer)) > 0;)
    result.output.append(buffer, static_cast<std::size_t>(n));
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
  return result;
}

/// Status of a child whose body came back.
inline constexpr int kCameBack = 77;
