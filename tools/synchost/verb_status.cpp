#include <map>
#include <utility>

#include "edge/console.h"
#include "edge/json_text.h"
#include "edge/text_table.h"
#include "synchost/verbs.h"

namespace synchost {
namespace {

/// Counts what waits for devices; what is the same for all of them once.
class Waiting {
 public:
  explicit Waiting(Store& store) : store_(&store), tables_(store.tables()) {}

  std::int64_t of(const std::string& device) {
    std::int64_t waiting = 0;
    for (const Table& table : tables_) {
      if (table.direction == Direction::kUp) continue;
      const Lack lack = store_->lackOf(device, table);
      const std::int64_t changed = store_->countChanged(table, device, lack);
      waiting += changed != 0 && lack.whole ? live(table) : changed;
    }
    return waiting;
  }

 private:
  std::int64_t live(const Table& table) {
    const auto [found, isNew] = live_.try_emplace(table.number, 0);
    if (isNew) found->second = store_->countLive(table);
    return found->second;
  }

  Store* store_;
  std::vector<Table> tables_;
  std::map<std::int64_t, std::int64_t> live_;
};

struct DeviceStatus {
  Device device;
  SessionRecord last;
  std::int64_t waiting, held, tasks;
};

std::vector<DeviceStatus> statusOf(Store& store) {
  std::map<std::string, SessionRecord> last;
  for (SessionRecord& session : store.lastSessions()) last[session.device] = std::move(session);
  Waiting waiting(store);
  std::vector<DeviceStatus> all;
  for (const Device& device : store.devices())
    all.push_back({device, last[device.id], waiting.of(device.id), store.countHeld(device.id),
                   static_cast<std::int64_t>(store.tasks(device.id).size())});
  return all;
}

tool::Json jsonOf(const DeviceStatus& status) {
  tool::Json last;
  if (!status.last.began.empty())
    last = {{"began", status.last.began},
            {"address", status.last.address},
            {"result", status.last.result},
            {"milliseconds", status.last.milliseconds},
            {"rows_sent", status.last.rowsSent},
            {"rows_received", status.last.rowsReceived},
            {"rows_passed_over", status.last.rowsPassedOver}};
  return {{"device", status.device.id},     {"group", status.device.group}, {"enabled", status.device.enabled},
          {"rows_waiting", status.waiting}, {"rows_held", status.held},     {"tasks_waiting", status.tasks},
          {"last_session", std::move(last)}};
}

int runStatus(const StoreName& name, bool json) {
  Store store = OpenStore(name);
  const std::vector<DeviceStatus> all = statusOf(store);
  if (json) {
    tool::Json list = tool::Json::array();
    for (const DeviceStatus& status : all) list.push_back(jsonOf(status));
    tool::printJson(list);
    return tool::kDone;
  }
  tool::TextTable<9> table{
      {"Device", "Group", "Last session", "Result", "Sent", "Received", "Passed over", "Waiting", "Held"}};
  for (const auto& [device, last, waiting, held, tasks] : all)
    table.add({device.id + (device.enabled ? "" : " (blocked)"), device.group, last.began.empty() ? "-" : last.began,
               last.began.empty() ? "-" : last.result, std::to_string(last.rowsSent), std::to_string(last.rowsReceived),
               std::to_string(last.rowsPassedOver), std::to_string(waiting), std::to_string(held)});
  table.print();
  return tool::kDone;
}

}  // namespace

void AddStatus(tool::Verb& group, const StoreName& store) {
  const auto json = std::make_shared<bool>(false);
  tool::Verb verb = group.verb("status", "Show devices, their last sessions and the rows that wait for them");
  verb.flag("--json", *json, "Print a JSON array");
  verb.footer(
      "\nHeld rows came from a device that did not go on afterwards; its next session tells whether they come again.\n"
      "Rows passed over were changed by the device in a table that only the host changes.");
  verb.action([store, json] { return runStatus(store, *json); });
}

}  // namespace synchost
