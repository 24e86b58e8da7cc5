// The two entrances; the walk itself is Inspection.
#include "storage/repair/directory_check.h"

#include <unistd.h>

#include <algorithm>

#include "storage/format/names.h"
#include "storage/repair/in_use.h"
#include "storage/repair/inspection.h"

namespace vorne {

namespace {

bool isSame(const Problem& a, const Problem& b) {
  return !a.repaired && a.file == b.file && a.record == b.record && a.problem == b.problem;
}

}  // namespace

// Beside a program files come and go, and an entry without its file may have it an instant later: what looks like
// damage then is looked at again.
DirectoryReport CheckDirectory(const std::string& directory, const CheckOptions& options) {
  constexpr int kLooks = 5;
  constexpr useconds_t kBetweenLooks = 100'000;
  const std::string path = directory + kDataDirectory;
  for (int look = 1;; ++look) {
    // Names, sizes and kinds of files before and after: equal ones mean that nobody has come or gone meanwhile.
    const DataDirectory before(path);
    DirectoryReport report = Inspection(directory, options, false).run();
    report.inUse = report.inUse || IsInUse(path);
    const bool isStill = !report.inUse && DataDirectory(path).files() == before.files();
    if (report.sound || isStill || look == kLooks) return report;
    ::usleep(kBetweenLooks);
  }
}

DirectoryReport RepairDirectory(const std::string& directory, const CheckOptions& options) {
  DirectoryReport repaired = Inspection(directory, options, true).run();
  if (!repaired.changed) return repaired;
  // A second look tells what the files are like now, not what the repair believes to have done.
  DirectoryReport left = CheckDirectory(directory, options);
  std::vector<Problem> problems = std::move(repaired.problems);
  for (Problem& problem : left.problems)
    if (std::none_of(problems.begin(), problems.end(), [&](const Problem& known) { return isSame(known, problem); }))
      problems.push_back(std::move(problem));
  left.problems = std::move(problems);
  left.notes = std::move(repaired.notes);
  left.changed = true;
  left.inUse = false;  // who has come since has not kept anything from being repaired
  left.refused = left.refused || repaired.refused;
  left.copies = std::move(repaired.copies);
  // What is lost the first walk alone can tell: repaired files lack nothing.
  left.lostRecords = repaired.lostRecords;
  left.lostValues = repaired.lostValues;
  left.lostDatabases = repaired.lostDatabases;
  left.lostMore = repaired.lostMore;
  return left;
}

}  // namespace vorne
