// What the host counts since it was started, and its text for Prometheus.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace synchost {

struct Metrics {
  static constexpr std::array<double, 8> kSeconds = {0.1, 0.3, 1, 3, 10, 30, 100, 300};

  std::uint64_t connections = 0, turnedAway = 0, refused = 0, cut = 0, done = 0, storeFailures = 0;
  std::uint64_t rowsSent = 0, rowsReceived = 0, bytesSent = 0, bytesReceived = 0;
  std::uint64_t open = 0;
  std::array<std::uint64_t, kSeconds.size()> within{};  ///< sessions that took at most so long
  std::uint64_t sessions = 0;
  double seconds = 0;

  /// A session of a device that logged in has ended.
  void countSession(double tookSeconds);
};

std::string MetricsText(const Metrics& metrics);

}  // namespace synchost
