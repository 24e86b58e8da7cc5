#include "db/field_definitions.h"
#include "edge/console.h"
#include "synchost/verbs.h"

namespace synchost {
namespace {

constexpr std::size_t kLongestName = 255;  // that devices can send

struct DeviceOptions {
  std::string id;
  std::vector<std::string> groups;  // the last one counts; none: as it was
  bool takesHeld = false;
};

int put(const StoreName& name, const DeviceOptions& options, bool enabled) {
  Store store = OpenStore(name);
  const auto known = store.device(options.id);
  const std::string before = known ? known->group : "";
  if (!enabled && !known)
    tool::refuse("there is no device \"" + options.id + "\"", "look at `tellira synchost status`");
  if (options.id.empty() || options.id.size() > kLongestName)
    tool::refuse("a device needs a name of 1 to " + std::to_string(kLongestName) + " bytes",
                 "take the one that it sends, its identification");
  store.putDevice({options.id, options.groups.empty() ? before : options.groups.back(), enabled});
  store.commit();
  return tool::kDone;
}

int remove(const StoreName& name, const std::string& id, bool takesHeld) {
  Store store = OpenStore(name);
  const std::int64_t held = store.countHeld(id);
  if (held != 0 && !takesHeld)
    tool::refuse("rows of an upload of \"" + id + "\" that was cut are held: " + std::to_string(held),
                 "let it synchronise, which tells whether they come again; or, if it never will, add --take-held");
  const bool known = store.removeDevice(id);
  store.commit();
  if (!known) tool::complain("there was no device \"" + id + "\".");
  return known ? tool::kDone : tool::kNo;
}

}  // namespace

void AddDevice(tool::Verb& group, const StoreName& store) {
  auto options = std::make_shared<DeviceOptions>();
  tool::Verb device = group.verb("device", "Say which devices are served");
  tool::Verb add = device.verb("add", "Serve a device; one that was blocked is served again");
  add.argument("ID", options->id, "Identification that the device sends");
  add.option("--group", options->groups, "GROUP",
             "Group that it must send, in any letters; \"\" for any [any, or what it was]");
  add.action([store, options] { return put(store, *options, true); });
  tool::Verb block = device.verb("block", "Refuse a device until it is added again");
  block.argument("ID", options->id, "Identification that the device sends");
  block.action([store, options] { return put(store, *options, false); });
  tool::Verb gone = device.verb("remove", "Forget a device and what it has");
  gone.argument("ID", options->id, "Identification that the device sends");
  gone.flag("--take-held", options->takesHeld, "Take the rows that are held for it into the tables");
  gone.action([store, options] { return remove(store, options->id, options->takesHeld); });
}

}  // namespace synchost
