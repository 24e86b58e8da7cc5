// `tellira db export`: the records of a table as CSV or JSON.
#include <algorithm>
#include <array>

#include "db/db.h"
#include "db/dictionary.h"
#include "db/read_table.h"
#include "db/record_text.h"
#include "db/words.h"
#include "edge/console.h"
#include "edge/csv.h"
#include "edge/output_file.h"
#include "edge/progress.h"
#include "text/text.h"

namespace tool {
namespace {

constexpr const char* kFooter = R"(
Texts are UTF-8, numbers have a point and their field's decimals, dates are like 2004-03-17, logicals true or false. The
empty date is nothing in CSV and null in JSON. Deleted records are left out unless --deleted shows them, with a column
_deleted. Card numbers are not masked: what is exported can be imported again, and is the same then.

Nothing is changed, so that this may run beside the program.

Examples:
  tellira db export CUSTOMER > customers.csv
  tellira db export CUSTOMER customers.jsonl --format jsonl --order BYNAME
  tellira db export CUSTOMER --format json | python3 -m json.tool

Exit status: 0 done, 1 there is no such table or index, or it is damaged, 2 wrong usage, 3 it cannot be written.)";

struct ExportOptions {
  std::string table;
  std::string file = "-";
  std::string format = "csv";
  std::string order;
  std::string separator = ",";
  bool deleted = false;
};

/// What stands around and between the records in one format.
struct Format {
  const char* name;
  const char* begin;
  const char* between;
  const char* end;  ///< when there were records
  const char* empty;
};
constexpr std::array<Format, 3> kFormats{{
    {"csv", "", "", "", ""},
    {"json", "[", ",\n ", "]\n", "[]\n"},
    {"jsonl", "", "\n", "\n", ""},
}};

class Exporter {
 public:
  Exporter(vorne::TableReader& table, const Format& format, RecordForm form, OutputFile& output)
      : table_(table), format_(format), form_(form), output_(output), csv_(std::string_view(format.name) == "csv") {}

  void run(const std::string& order) {
    if (csv_) appendCsvHead(output_.text(), table_, form_);
    const auto write = [this](const vorne::Row& row) { this->write(row); };
    if (order.empty())
      forEachRecord(table_, write);
    else
      forEachRecord(table_, positionsInOrder(table_, order), write);
    output_.text() += written_ > 0 ? format_.end : format_.empty;
    output_.finish();
  }

  std::uint64_t written() const { return written_; }

 private:
  void write(const vorne::Row& row) {
    ++seen_;
    if (seen_ % kBetweenLooks == 0) progress_.show(shown(table_.name()), seen_, table_.count());
    if (row.isDeleted() && !form_.deletedColumn) return;
    std::string& to = output_.text();
    if (csv_) {
      appendCsvRow(to, table_, row, form_);
    } else {
      to += written_ == 0 ? format_.begin : format_.between;
      appendJsonRecord(to, table_, row, form_);
    }
    ++written_;
    output_.flushMuch();
  }

  // Records between two looks at the clock: asking for each would cost more than writing it.
  static constexpr std::uint64_t kBetweenLooks = 4096;

  vorne::TableReader& table_;
  const Format& format_;
  RecordForm form_;
  OutputFile& output_;
  bool csv_;
  Progress progress_{"records", 1};
  std::uint64_t seen_ = 0, written_ = 0;
};

int runExport(const DbOptions& group, const ExportOptions& options) {
  const std::string directory = group.checkedDirectory();
  const ReadTable opened = openedToRead(directory, options.table, options.order);
  const auto* format =
      std::find_if(kFormats.begin(), kFormats.end(), [&](const Format& known) { return options.format == known.name; });
  return reading([&] {
    // Behind the opening: a table that cannot be read leaves no file.
    OutputFile output(options.file, directory + vorne::kDataDirectory);
    Exporter exporter(*opened.reader, *format, {options.deleted, false, separatorIn(options.separator)}, output);
    exporter.run(opened.index.name);
    if (options.file != "-") note(counted(exporter.written(), "record") + " exported to " + options.file + ".");
    return kDone;
  });
}

}  // namespace

void addDbExport(Verb& group, const SharedDbOptions& shared) {
  auto options = std::make_shared<ExportOptions>();
  Verb verb = group.verb("export", "Write the records of a table as CSV or JSON");
  verb.argument("TABLE", options->table, "Name of the table");
  verb.argument("FILE", options->file, "File to write (default: -, which is standard output)", Need::kOptional);
  verb.choice("--format", options->format, "NAME", "csv (default), json (one array) or jsonl (one object a line)",
              {"csv", "json", "jsonl"});
  verb.option("--order", options->order, "INDEX",
              "Index whose order the records come in (default: as they are stored)");
  verb.option("--separator", options->separator, "C", "Character between cells of CSV, or tab (default: comma)");
  verb.flag("--deleted", options->deleted, "Deleted records too, with a column _deleted");
  verb.footer(kFooter);
  verb.action([shared, options] { return runExport(*shared, *options); });
}

}  // namespace tool
