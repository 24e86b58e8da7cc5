// The page that a Prometheus server fetches.
#pragma once

#include <list>
#include <memory>
#include <string>

#include "synchost/line.h"
#include "synchost/metrics.h"

namespace synchost {

class MetricsPage {
 public:
  MetricsPage(uv_loop_t* loop, const std::string& address, const Metrics& metrics);
  ~MetricsPage();
  MetricsPage(const MetricsPage&) = delete;
  MetricsPage& operator=(const MetricsPage&) = delete;

  std::string address() const { return listener_.address(); }
  void close();

 private:
  class Visit;

  void take(uv_stream_t* listener);

  const Metrics* metrics_;
  std::list<std::unique_ptr<Visit>> visits_;
  Listener listener_;
};

}  // namespace synchost
