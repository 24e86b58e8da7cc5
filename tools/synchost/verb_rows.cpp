#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>

#include "db/field_definitions.h"
#include "edge/console.h"
#include "edge/output_file.h"
#include "storage/format/record_bytes.h"
#include "synchost/csv_rows.h"
#include "synchost/verbs.h"

namespace synchost {
namespace {

constexpr std::int64_t kPage = 1000;

struct RowOptions {
  std::string table, file, encoding = "utf8", output = "-";
  bool replace = false;
};

class OpenFile {
 public:
  explicit OpenFile(const std::string& name)
      : file_(name == "-" ? ::dup(0) : ::open(name.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (file_ < 0)
      tool::refuse(name + " cannot be read: " + std::strerror(errno), "name a file, or - for standard input");
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  ~OpenFile() { ::close(file_); }
  int descriptor() const { return file_; }

 private:
  int file_;
};

/// Marks the records deleted whose keys are not among these; how many.
std::int64_t deleteOthers(Store& store, const Table& table, const std::set<Blob>& keys) {
  std::int64_t deleted = 0;
  RecordBuffer buffer(table);
  Blob after;
  for (;;) {
    const std::vector<SentContent> page = store.live(table, after, kPage);
    if (page.empty()) return deleted;
    after = page.back().key;
    std::vector<KeptRecord> gone;
    for (const SentContent& one : page) {
      if (keys.contains(one.key)) continue;
      const vorne::SentRecord record = RecordIn(table, one.content);
      buffer.load(record.record);
      vorne::MarkDeleted(table.fields, buffer.bytes(), true);
      gone.push_back(*buffer.kept(record.memos));
    }
    if (!gone.empty()) store.put(table, "", gone);
    deleted += static_cast<std::int64_t>(gone.size());
  }
}

std::string counted(std::int64_t records) {
  return std::to_string(records) + (records == 1 ? " record" : " records");
}

int import(const StoreName& name, const RowOptions& options) {
  Store store = OpenStore(name);
  const Table table = TableNamed(store, options.table);
  const OpenFile file(options.file);
  tool::CsvReader reader(file.descriptor(), options.file);
  const tool::Encoding encoding = options.encoding == "latin1" ? tool::Encoding::kLatin1 : tool::Encoding::kUtf8;
  CsvRecords rows(table, reader, {encoding, false, false});
  if (options.replace && !table.hasKey()) store.clear(table);
  std::set<Blob> keys;
  std::vector<KeptRecord> some;
  std::int64_t count = 0;
  const auto put = [&] {
    if (!some.empty()) store.put(table, "", some);
    some.clear();
  };
  while (auto record = rows.next()) {
    if (options.replace && table.hasKey()) keys.insert(record->key);
    some.push_back(std::move(*record));
    ++count;
    if (some.size() == static_cast<std::size_t>(kPage)) put();
  }
  put();
  const std::int64_t deleted = options.replace && table.hasKey() ? deleteOthers(store, table, keys) : 0;
  store.commit();
  tool::note(counted(count) + " imported into " + table.name +
             (deleted == 0 ? "." : ", " + counted(deleted) + " that it does not have deleted."));
  return tool::kDone;
}

int exportRows(const StoreName& name, const RowOptions& options) {
  Store store = OpenStore(name);
  const Table table = TableNamed(store, options.table);
  tool::OutputFile out(options.output);
  RecordBuffer buffer(table);
  AppendHead(out.text(), table);
  for (Blob after;;) {
    const std::vector<SentContent> page = store.live(table, after, kPage);
    if (page.empty()) break;
    for (const SentContent& one : page) AppendRow(out.text(), table, buffer, one.content);
    out.flushMuch();
    after = page.back().key;
  }
  out.finish();
  return tool::kDone;
}

}  // namespace

void AddRows(tool::Verb& group, const StoreName& store) {
  auto options = std::make_shared<RowOptions>();
  tool::Verb in = group.verb("import", "Take the records of a CSV file; devices get them in their next session");
  in.argument("TABLE", options->table, "Its name");
  in.argument("FILE", options->file, "CSV with a first line that names fields; - for standard input");
  in.choice("--encoding", options->encoding, "utf8|latin1", "Of the file's texts [utf8]", {"utf8", "latin1"});
  in.flag("--replace", options->replace, "Delete the records that the file does not have");
  in.footer("\nA record with the key of one that is there takes its place; without a key records are added.");
  in.action([store, options] { return import(store, *options); });
  tool::Verb out = group.verb("export", "Write a table's records as CSV");
  out.argument("TABLE", options->table, "Its name");
  out.option("--output", options->output, "FILE", "Where to [standard output]");
  out.action([store, options] { return exportRows(store, *options); });
}

}  // namespace synchost
