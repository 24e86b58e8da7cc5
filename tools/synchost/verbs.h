// The verbs of `tellira synchost`.
#pragma once

#include <memory>
#include <string>

#include "edge/cli.h"
#include "synchost/store.h"

namespace synchost {

/// Where the verbs find the store: the option --store.
using StoreName = std::shared_ptr<std::string>;

Store OpenStore(const StoreName& name);
/// @throws tool::Failure (kUsage) when there is none of that name
Table TableNamed(Store& store, const std::string& name);

/// The program's own verb, which serves, with all others below it.
void AddSynchost(tool::Verb& top);
void AddStatus(tool::Verb& group, const StoreName& store);
void AddDevice(tool::Verb& group, const StoreName& store);
void AddTable(tool::Verb& group, const StoreName& store);
void AddRows(tool::Verb& group, const StoreName& store);
void AddTask(tool::Verb& group, const StoreName& store);

}  // namespace synchost
