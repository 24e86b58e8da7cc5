// `tellira db import`: rows of a CSV file into a table.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>

#include "db/db.h"
#include "db/table_loader.h"
#include "db/words.h"
#include "edge/console.h"
#include "edge/csv.h"
#include "edge/interrupts.h"
#include "edge/progress.h"
#include "text/text.h"

namespace tool {
namespace {

constexpr const char* kFooter = R"(
The first line names fields, in any order; fields that it leaves out stay empty. Numbers have a point, dates are like
2004-03-17, logicals true or false; nothing stands for 0, the empty date and false. A column _deleted tells which
records are deleted. Cells may stand in quotes; lines end with LF, CRLF or CR. A number with more decimals than its
field is refused unless --round rounds it.

Either every row is appended or none: a row that cannot be stored is named, and the table is as it was. Only a process
that is killed leaves the rows that it had come to.

Examples:
  tellira db import CUSTOMER customers.csv
  tellira db import CUSTOMER old.csv --encoding latin1 --separator ';'
  zcat customers.csv.gz | tellira db import CUSTOMER -

Exit status: 0 done, 1 there is no such table, or it was interrupted, 2 wrong usage or input, or the databases are in
use, 3 the rows cannot be stored (a full disk).)";

// Rows between two looks at the clock and at Ctrl-C.
constexpr std::uint64_t kRowsBetweenLooks = 1024;

struct ImportOptions {
  std::string table;
  std::string file;
  std::string encoding = "utf8";
  std::string separator;
  bool truncate = false;
  bool round = false;
};

const std::map<std::string, Encoding> kEncodings{
    {"utf8", Encoding::kUtf8}, {"latin1", Encoding::kLatin1}, {"cp1252", Encoding::kCp1252}};

class InputFile {
 public:
  explicit InputFile(const std::string& name) : name_(name == "-" ? "standard input" : name) {
    file_ = name == "-" ? STDIN_FILENO : ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat found = {};
    if (file_ < 0 || ::fstat(file_, &found) != 0) fail(std::strerror(errno));
    if (S_ISDIR(found.st_mode)) fail("it is a directory");
    // 0 where nobody knows, as of a pipe.
    size_ = S_ISREG(found.st_mode) ? static_cast<std::uint64_t>(found.st_size) : 0;
  }
  ~InputFile() {
    if (file_ > STDIN_FILENO) ::close(file_);
  }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  int file() const { return file_; }
  std::uint64_t size() const { return size_; }
  const std::string& name() const { return name_; }

 private:
  [[noreturn]] void fail(const std::string& why) const {
    throw Failure(kUsage, name_ + " cannot be read: " + why + ".\n  next: name a CSV file, or - for standard input.");
  }

  std::string name_;
  int file_ = -1;
  std::uint64_t size_ = 0;
};

/// What to do when the first line looks as if another character stood between its cells.
std::string separatorHint(const CsvReader& reader) {
  if (reader.cells().size() != 1) return {};
  const std::string_view line = reader.cells().front();
  const std::size_t at = line.find_first_of(",;\t|:");
  if (at == std::string_view::npos) return {};
  return "\n  or: the cells seem to stand between " +
         (line[at] == '\t' ? "tabs: --separator tab"
                           : "other characters: --separator '" + std::string(1, line[at]) + "'") +
         ".";
}

/// The fields that the first line names.
std::vector<std::size_t> readHeader(CsvReader& reader, const Dictionary::Table& table, bool latin1) {
  if (!reader.next())
    throw Failure(kUsage, reader.name() + " is empty.\n  next: its first line must name fields of the table.");
  std::vector<std::string> names;
  for (const std::string_view cell : reader.cells())
    names.push_back(latin1 ? utf8FromLatin1(trimmed(cell)) : std::string(trimmed(cell)));
  try {
    return columnsOf(table, names);
  } catch (const Failure& failure) {
    throw Failure(failure.status, reader.place() + ": " + failure.what() + separatorHint(reader));
  }
}

/// Says which fields had no column.
std::string leftEmpty(const Dictionary::Table& table, const std::vector<std::size_t>& columns) {
  std::string text;
  for (std::size_t field = 0; field < table.fields().size(); ++field)
    if (std::find(columns.begin(), columns.end(), field) == columns.end())
      text += (text.empty() ? "; fields left empty: " : ", ") + shown(table.fields()[field].FieldName);
  return text;
}

/// @throws Failure for the first row that cannot be stored
void load(CsvReader& reader, TableLoader& loader, std::uint64_t size) {
  Progress progress;
  // A read that waits for a pipe has to come back when the user wants to end.
  const Interrupts interrupts(Interrupts::kReturns);
  while (reader.next()) {
    const std::string problem = loader.add(reader.cells());
    if (!problem.empty()) throw Failure(kUsage, reader.place() + ", " + problem);
    if (loader.added() % kRowsBetweenLooks != 0) continue;
    progress.show(counted(loader.added(), "row"), reader.bytes(), size);
    if (Interrupts::asked()) throw Failure(kNo, "interrupted at " + reader.place() + ".");
  }
  // Ctrl-C ends whatever writes into the pipe as well: what looks like the end of the rows is only where that came to.
  if (Interrupts::asked()) throw Failure(kNo, "interrupted at the end of " + reader.name() + ".");
  loader.finish();
}

void loadOrTakeBack(CsvReader& reader, TableLoader& loader, std::uint64_t size, const std::string& table) {
  try {
    load(reader, loader, size);
  } catch (const Failure& failure) {
    bool takenBack = false;
    try {
      const Working shown("taking " + counted(loader.added(), "row") + " back out of " + table);
      takenBack = loader.takeBack();
    } catch (const Failure&) {
      // It is told below.
    }
    throw Failure(failure.status,
                  failure.what() + ("\n  " + (takenBack ? "Nothing was imported; " + table + " is as it was."
                                                        : counted(loader.added(), "row") + " that " + table +
                                                              " already has could not be taken back.")));
  }
}

int runImport(const DbOptions& group, const ImportOptions& options) {
  const std::string directory = group.checkedDirectory();
  const ValueRules rules{kEncodings.at(options.encoding), options.truncate, options.round};
  const InputFile input(options.file);
  const Dictionary::Table table = Dictionary(directory).table(options.table, Use::kWrites);
  CsvReader reader(input.file(), input.name(), separatorIn(options.separator));
  // Before the session: the first line may be long in coming through a pipe, and a mistake in it must not hold up
  // another tool.
  const std::vector<std::size_t> columns = readHeader(reader, table, rules.encoding != Encoding::kUtf8);
  TableSession session(directory);
  TableLoader loader(session, table, columns, rules);
  loadOrTakeBack(reader, loader, input.size(), shown(table.name));
  session.close();
  const std::string rounded = loader.rounded() == 0 ? "" : "; " + counted(loader.rounded(), "number") + " rounded";
  note(counted(loader.added(), "row") + " imported into " + shown(table.name) + rounded + leftEmpty(table, columns) +
       ".");
  return kDone;
}

}  // namespace

void addDbImport(Verb& group, const SharedDbOptions& shared) {
  auto options = std::make_shared<ImportOptions>();
  Verb verb = group.verb("import", "Append the rows of a CSV file to a table");
  verb.argument("TABLE", options->table, "Name of the table");
  verb.argument("FILE", options->file, "CSV file, - for standard input");
  verb.choice("--encoding", options->encoding, "NAME", "utf8 (default), latin1, or cp1252 for files from Windows",
              {"utf8", "latin1", "cp1252"});
  verb.option("--separator", options->separator, "C",
              "Character between cells, or tab (default: comma, semicolon or tab, as the first line has it)");
  verb.flag("--truncate", options->truncate, "Cut texts that are too long, and take numbers wider than their field");
  verb.flag("--round", options->round, "Round numbers to the decimals of their field");
  verb.footer(kFooter);
  verb.action([shared, options] { return runImport(*shared, *options); });
}

}  // namespace tool
