#include "synchost/plan.h"

#include <algorithm>

#include "synchost/catalogue.h"

namespace synchost {
namespace {

constexpr std::size_t kImagesAtOnce = 5;  // they go out in one piece

std::vector<PlannedTask> imageTasks(const std::vector<QueuedTask>& queued) {
  std::vector<PlannedTask> plan;
  for (const QueuedTask& task : queued) {
    if (task.kind != TaskKind::kImages) continue;
    if (plan.empty() || plan.back().queued.size() == kImagesAtOnce) plan.push_back({Step::kImages});
    plan.back().queued.push_back(task);
  }
  return plan;
}

// The device may still have the table that was dropped: what it would send is not for the one that was made since then.
bool mayHoldForerunner(const Table& table, const std::vector<QueuedTask>& queued) {
  return std::any_of(queued.begin(), queued.end(), [&](const QueuedTask& task) {
    return task.kind == TaskKind::kDelete && task.name == table.name && !task.fields.empty() &&
           !table.hasFields(task.fields);
  });
}

}  // namespace

std::vector<PlannedTask> PlanFor(Store& store, const std::string& device, const std::vector<Table>& tables,
                                 std::int64_t catalogue) {
  std::vector<PlannedTask> plan;
  bool hasCatalogue = true;
  for (const Table& table : CatalogueTables())
    hasCatalogue = hasCatalogue && store.confirmed(device, table.number) == catalogue;
  for (std::size_t i = 0; i < kCatalogueTables && !hasCatalogue; ++i) plan.push_back({Step::kCatalogue, i});
  const std::vector<QueuedTask> queued = store.tasks(device);
  for (std::size_t i = 0; i < tables.size(); ++i)
    if (!mayHoldForerunner(tables[i], queued)) plan.push_back({Step::kUpload, i});
  for (const QueuedTask& task : queued)
    if (task.kind != TaskKind::kImages)
      plan.push_back({task.kind == TaskKind::kDelete ? Step::kDelete : Step::kInstall, 0, {task}});
  for (std::size_t i = 0; i < tables.size(); ++i)
    if (tables[i].direction != Direction::kUp) plan.push_back({Step::kDownload, i});
  for (PlannedTask& images : imageTasks(queued)) plan.push_back(std::move(images));
  return plan;
}

}  // namespace synchost
