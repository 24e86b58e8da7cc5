// The verbs of `tellira db`.
#pragma once

#include "db/options.h"
#include "edge/cli.h"

namespace tool {

/// Registers the group with all of its verbs.
void addDb(Verb& top);

/// Each registers one verb of the group, or a few that belong together.
void addDbList(Verb& group, const SharedDbOptions& options);
void addDbSchema(Verb& group, const SharedDbOptions& options);
void addDbCreate(Verb& group, const SharedDbOptions& options);  ///< create, drop
void addDbDescribe(Verb& group, const SharedDbOptions& options);
void addDbImport(Verb& group, const SharedDbOptions& options);
void addDbExport(Verb& group, const SharedDbOptions& options);
void addDbIndex(Verb& group, const SharedDbOptions& options);  ///< index create, index drop, reindex
void addDbSeek(Verb& group, const SharedDbOptions& options);
void addDbSql(Verb& group, const SharedDbOptions& options);
void addDbRecords(Verb& group, const SharedDbOptions& options);  ///< delete, recall, pack, zap
void addDbCheck(Verb& group, const SharedDbOptions& options);

}  // namespace tool
