// What the benchmarks of stores share: measuring a step, and ending when it fails.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

template <class Step>
double Milliseconds(Step step) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  step();
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

inline double Median(std::vector<double> times) {
  const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
  std::nth_element(times.begin(), middle, times.end());
  return *middle;
}

/// Ends the program, telling what went wrong; a benchmark of failures would be worth nothing.
[[noreturn]] void Fail(const char* what, int code);
inline void Want(bool holds, const char* what, int code = 0) {
  if (!holds) Fail(what, code);
}
