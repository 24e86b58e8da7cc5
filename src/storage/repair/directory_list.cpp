// What a directory holds by the catalogue and the files' headers alone: quick, and changed by no damage behind them.
#include "storage/format/names.h"
#include "storage/repair/check_catalog.h"
#include "storage/repair/check_database.h"

namespace vorne {

namespace {

// A file that cannot be read is listed with zeros: a list must not end where the damage begins.
DatabaseReport listedDatabase(const DataDirectory& directory, const DatabaseHdrType& entry) {
  DatabaseReport report;
  report.entry = entry;
  report.name = NameOf(entry);
  const FileHeader header = FileHeaderOf(directory.read(report.name, kHeaderSize).bytes());
  report.kind = static_cast<DatabaseKind>(header.Type);
  report.appInfoBytes = header.AppInfoLen;
  report.records = header.NumberOfRecords;
  report.dataFileBytes = directory.sizeOf(report.name);
  report.offsetsFileBytes = header.Type == kVariableDatabase ? directory.sizeOf(OffsetsName(report.name)) : 0;
  return report;
}

std::vector<DatabaseReport> listedDatabases(const DataDirectory& directory) {
  std::vector<DatabaseReport> databases;
  const RawFile catalog = directory.read(kCatalogName);
  for (const DatabaseHdrType& entry : CatalogEntries(catalog))
    if (IsDatabaseName(NameOf(entry)) && directory.kindOf(NameOf(entry)) == FileKind::kRegular)
      databases.push_back(listedDatabase(directory, entry));
  return databases;
}

}  // namespace

DirectoryReport ListDirectory(const std::string& directory) {
  const DataDirectory data(directory + kDataDirectory);
  DirectoryReport report;
  report.exists = data.exists();
  report.databases = listedDatabases(data);
  return report;
}

std::optional<DatabaseReport> DescribeDatabase(const std::string& directory, const std::string& name) {
  const DataDirectory data(directory + kDataDirectory);
  for (const DatabaseReport& found : listedDatabases(data)) {
    if (FoldedName(found.name) != FoldedName(name)) continue;
    DatabaseFiles files;
    files.data = data.read(found.name);
    if (data.kindOf(OffsetsName(found.name)) == FileKind::kRegular) files.offsets = data.read(OffsetsName(found.name));
    Findings ignored(found.name);
    return ReportOf(found.entry, files, CheckDatabase(found.entry.type, files, ignored, ignored));
  }
  return std::nullopt;
}

}  // namespace vorne
