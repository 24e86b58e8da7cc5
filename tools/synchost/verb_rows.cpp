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

constexpr std::int64_t kPage = 5000;
constexpr unsigned kPause = 10'000;  // microseconds

struct RowOptions {
  std::string table, file, encoding = "utf8", output = "-";
  bool replace = false;
  tool::ValueRules rules;
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

/// What was put so far stands, and others get their turn: a host has devices that wait.
void commitPortion(Store& store) {
  store.commit();
  ::usleep(kPause);
}

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
    commitPortion(store);
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
  tool::ValueRules rules = options.rules;
  if (options.encoding != "utf8")
    rules.encoding = options.encoding == "latin1" ? tool::Encoding::kLatin1 : tool::Encoding::kCp1252;
  CsvRecords rows(table, reader, rules);
  // Without a key what was imported in part would come twice when the import is done again: it stands whole or not at
  // all. With one it can be done again at any time, and what the file does not have goes last.
  if (options.replace && !table.hasKey()) store.clear(table);
  std::set<Blob> keys;
  std::vector<KeptRecord> some;
  std::int64_t count = 0;
  const auto put = [&] {
    if (!some.empty()) store.put(table, "", some);
    if (table.hasKey()) commitPortion(store);
    count += static_cast<std::int64_t>(some.size());
    some.clear();
  };
  try {
    while (auto record = rows.next()) {
      if (options.replace && table.hasKey()) keys.insert(record->key);
      some.push_back(std::move(*record));
      if (some.size() == static_cast<std::size_t>(kPage)) put();
    }
  } catch (const tool::Failure&) {
    if (table.hasKey() && count != 0) tool::note(counted(count) + " before this one imported into " + table.name + ".");
    throw;
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
  in.choice("--encoding", options->encoding, "NAME", "utf8, latin1, or cp1252 for files from Windows [utf8]",
            {"utf8", "latin1", "cp1252"});
  in.flag("--truncate", options->rules.truncate,
          "Cut texts that are too long, and take numbers wider than their field");
  in.flag("--round", options->rules.round, "Round numbers to the decimals of their field");
  in.flag("--replace", options->replace, "Delete the records that the file does not have");
  in.footer(
      "\nA record with the key of one that is there takes its place; without a key records are added.\n"
      "A large file comes into a table with a key in portions; when that is interrupted import it again.");
  in.action([store, options] { return import(store, *options); });
  tool::Verb out = group.verb("export", "Write a table's records as CSV");
  out.argument("TABLE", options->table, "Its name");
  out.option("--output", options->output, "FILE", "Where to [standard output]");
  out.action([store, options] { return exportRows(store, *options); });
}

}  // namespace synchost
