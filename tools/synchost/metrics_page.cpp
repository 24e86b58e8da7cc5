#include "synchost/metrics_page.h"

#include <string_view>

namespace synchost {
namespace {

constexpr std::size_t kMostVisits = 16;
constexpr std::size_t kLongestRequest = 4096;

std::string answerTo(std::string_view request, const Metrics& metrics) {
  const bool isPage = request.starts_with("GET /metrics ") || request.starts_with("GET /metrics?");
  const std::string body = isPage ? MetricsText(metrics) : "See /metrics.\n";
  return std::string("HTTP/1.1 ") + (isPage ? "200 OK" : "404 Not Found") +
         "\r\nContent-Type: text/plain; version=0.0.4; charset=utf-8\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
}

}  // namespace

class MetricsPage::Visit : public Line::Owner {
 public:
  Visit(uv_stream_t* listener, MetricsPage& page) : page_(&page), line_(listener, *this) {}

  void received(std::span<const char> bytes) override {
    if (answered_) return;
    request_.append(bytes.data(), bytes.size());
    if (request_.size() > kLongestRequest) return line_.close();
    if (request_.find("\r\n\r\n") == std::string::npos) return;
    answered_ = true;
    const std::string answer = answerTo(request_, *page_->metrics_);
    line_.send({answer.begin(), answer.end()});
    line_.closeWhenSent();
  }
  void sent() override {}
  void cut() override { line_.close(); }
  void closed() override {
    page_->visits_.remove_if([this](const auto& visit) { return visit.get() == this; });
  }
  void close() { line_.close(); }

 private:
  MetricsPage* page_;
  Line line_;
  std::string request_;
  bool answered_ = false;
};

MetricsPage::MetricsPage(uv_loop_t* loop, const std::string& address, const Metrics& metrics)
    : metrics_(&metrics), listener_(loop, address, [this](uv_stream_t* listener) { take(listener); }) {}

MetricsPage::~MetricsPage() = default;

void MetricsPage::take(uv_stream_t* listener) {
  // Whoever comes and says nothing makes room for the next one.
  if (visits_.size() >= kMostVisits) visits_.front()->close();
  visits_.push_back(std::make_unique<Visit>(listener, *this));
}

void MetricsPage::close() {
  listener_.close();
  for (const auto& visit : visits_) visit->close();
}

}  // namespace synchost
