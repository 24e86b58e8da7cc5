#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "db/field_definitions.h"
#include "edge/console.h"
#include "edge/text_table.h"
#include "synchost/names.h"
#include "synchost/packing.h"
#include "synchost/verbs.h"
#include "text/text.h"

namespace synchost {
namespace {

constexpr std::size_t kImageHead = 8;  // of a frame, beside the name and the image itself

struct TaskOptions {
  std::string name, device, group;
  bool all = false;
};

constexpr const char* kKinds[] = {"delete", "image", "install"};

std::vector<std::string> targets(Store& store, const TaskOptions& options) {
  if (options.device.empty() && options.group.empty() && !options.all)
    tool::refuse("nothing says which devices are meant", "add --device ID, --group GROUP or --all");
  std::vector<std::string> ids;
  for (const Device& device : store.devices())
    if (options.all || device.id == options.device || (!options.group.empty() && device.group == options.group))
      ids.push_back(device.id);
  if (ids.empty()) tool::refuse("there is no such device", "look at `tellira synchost status`");
  return ids;
}

bool isPlainName(const std::string& name) {
  try {
    return vorne::IsPlainFileName(tool::latin1FromUtf8(name));
  } catch (const tool::ConversionError&) {
    return false;
  }
}

/// Keeps an image under its file's name; returns that.
std::string keepImage(Store& store, const std::string& file) {
  const std::string name = std::filesystem::path(file).filename();
  std::error_code error;
  std::ifstream stream;
  if (!std::filesystem::is_directory(file, error)) stream.open(file, std::ios::binary);
  if (!stream.is_open()) tool::refuse("the image " + file + " cannot be read", "name a file");
  const Blob bytes{std::istreambuf_iterator<char>(stream), {}};
  if (!isPlainName(name))
    tool::refuse("devices take no file named \"" + name + "\"",
                 "give it a name of letters and digits that does not begin with a point or end in .so");
  if (bytes.size() + name.size() + kImageHead > kLargestFrame)
    tool::refuse("the image has " + std::to_string(bytes.size()) + " bytes, and devices take it in one frame of " +
                     std::to_string(kLargestFrame),
                 "make it smaller");
  store.putImage(name, bytes);
  return name;
}

int add(const StoreName& name, TaskKind kind, const TaskOptions& options) {
  Store store = OpenStore(name);
  const std::vector<std::string> ids = targets(store, options);
  std::string what = kind == TaskKind::kDelete ? tool::upperCase(options.name) : options.name;
  if (kind == TaskKind::kDelete) CheckDeletion(what, store.tables());
  if (kind == TaskKind::kInstall) CheckComponent(what);
  if (kind == TaskKind::kImages) what = keepImage(store, options.name);
  for (const std::string& id : ids) store.addTask(id, kind, what);
  store.commit();
  return tool::kDone;
}

int list(const StoreName& name) {
  Store store = OpenStore(name);
  tool::TextTable<3> rows{{"Device", "Task", "Name"}};
  for (const Device& device : store.devices())
    for (const QueuedTask& task : store.tasks(device.id))
      rows.add({device.id, kKinds[static_cast<std::size_t>(task.kind)], task.name});
  rows.print();
  return tool::kDone;
}

}  // namespace

void AddTask(tool::Verb& group, const StoreName& store) {
  auto options = std::make_shared<TaskOptions>();
  tool::Verb task = group.verb("task", "Have devices do something in their next session");
  tool::Verb adding = task.verb("add", "Queue a task");
  struct Kind {
    TaskKind kind;
    const char *argument, *description, *words;
  };
  constexpr Kind kAll[] = {
      {TaskKind::kDelete, "TABLE", "Delete a table on devices; one that is kept here comes anew", "Name of the table"},
      {TaskKind::kImages, "FILE", "Send an image to devices", "The image's file"},
      {TaskKind::kInstall, "NAME", "Name a component to be installed", "Name of the component"}};
  for (const Kind& kind : kAll) {
    tool::Verb verb = adding.verb(kKinds[static_cast<std::size_t>(kind.kind)], kind.description);
    verb.argument(kind.argument, options->name, kind.words);
    verb.option("--device", options->device, "ID", "For this device");
    verb.option("--group", options->group, "GROUP", "For the devices of this group");
    verb.flag("--all", options->all, "For all devices");
    verb.action([store, options, which = kind.kind] { return add(store, which, *options); });
  }
  task.verb("list", "List the tasks that wait").action([store] { return list(store); });
}

}  // namespace synchost
