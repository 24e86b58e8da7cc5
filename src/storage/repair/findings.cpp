// All are counted, the first of them listed.
#include "storage/repair/findings.h"

namespace vorne {

namespace {

void append(std::vector<Problem>& to, const std::vector<Problem>& from, std::uint64_t count, bool repaired,
            bool byHand) {
  for (Problem problem : from) {
    problem.repaired = repaired;
    problem.byHand = byHand;
    to.push_back(std::move(problem));
  }
  // One line for all that were not kept.
  if (count > from.size())
    to.push_back({from.front().file, -1,
                  Message("... and %llu more of this kind", static_cast<unsigned long long>(count - from.size())),
                  repaired, byHand});
}

}  // namespace

void Findings::add(std::vector<Problem>& list, std::uint64_t& count, std::string text, std::int64_t record) {
  if (++count <= most_) list.push_back({file_, record, std::move(text), false});
}

void Findings::tell(DirectoryReport& report, bool repaired, bool byHand) const {
  append(report.problems, problems_, problemCount_, repaired, byHand);
  append(report.notes, notes_, noteCount_, false, false);
}

}  // namespace vorne
