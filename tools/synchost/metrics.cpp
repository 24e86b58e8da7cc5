#include "synchost/metrics.h"

#include <cstdio>

namespace synchost {
namespace {

struct Row {
  const char* name;
  const char* kind;
  const char* help;
  std::uint64_t Metrics::*value;
};
constexpr Row kRows[] = {
    {"connections_total", "counter", "Connections that devices made.", &Metrics::connections},
    {"turned_away_total", "counter", "Connections for which there was no room.", &Metrics::turnedAway},
    {"open_connections", "gauge", "Connections that are open now.", &Metrics::open},
    {"logins_refused_total", "counter", "Connections that ended without a login.", &Metrics::refused},
    {"sessions_done_total", "counter", "Sessions that ended with a farewell.", &Metrics::done},
    {"sessions_cut_total", "counter", "Sessions that ended otherwise.", &Metrics::cut},
    {"store_failures_total", "counter", "Times that the store did not do what it was asked for.",
     &Metrics::storeFailures},
    {"rows_sent_total", "counter", "Rows that went to devices.", &Metrics::rowsSent},
    {"rows_received_total", "counter", "Rows that came from devices.", &Metrics::rowsReceived},
    {"bytes_sent_total", "counter", "Bytes that went to devices.", &Metrics::bytesSent},
    {"bytes_received_total", "counter", "Bytes that came from devices.", &Metrics::bytesReceived},
};

std::string numberText(double number) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", number);
  return text;
}

std::string head(const std::string& name, const char* kind, const char* help) {
  return "# HELP synchost_" + name + " " + help + "\n# TYPE synchost_" + name + " " + kind + "\n";
}

}  // namespace

void Metrics::countSession(double tookSeconds) {
  for (std::size_t i = 0; i < kSeconds.size(); ++i) within[i] += tookSeconds <= kSeconds[i];
  ++sessions;
  seconds += tookSeconds;
}

std::string MetricsText(const Metrics& metrics) {
  std::string text;
  for (const Row& row : kRows)
    text +=
        head(row.name, row.kind, row.help) + "synchost_" + row.name + " " + std::to_string(metrics.*row.value) + "\n";
  text += head("session_seconds", "histogram", "How long sessions took.");
  const std::string bucket = "synchost_session_seconds_bucket{le=\"";
  for (std::size_t i = 0; i < Metrics::kSeconds.size(); ++i)
    text += bucket + numberText(Metrics::kSeconds[i]) + "\"} " + std::to_string(metrics.within[i]) + "\n";
  text += bucket + "+Inf\"} " + std::to_string(metrics.sessions) + "\n";
  text += "synchost_session_seconds_sum " + numberText(metrics.seconds) + "\n";
  return text + "synchost_session_seconds_count " + std::to_string(metrics.sessions) + "\n";
}

}  // namespace synchost
