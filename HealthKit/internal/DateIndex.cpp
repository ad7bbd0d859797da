#include "HealthKit/internal/DateIndex.h"

#include <iterator>

namespace platform::healthkit {

std::vector<DateIndex::Run>::iterator DateIndex::runFor(const Entry& entry) {
  auto run =
      std::lower_bound(runs_.begin(), runs_.end(), entry,
                       [](const Run& one, const Entry& value) { return one.back() < value; });
  return run == runs_.end() ? std::prev(run) : run;
}

void DateIndex::insert(const Entry& entry) {
  if (runs_.empty()) {
    runs_.push_back(Run{entry});
    return;
  }
  auto run = runFor(entry);
  run->insert(std::upper_bound(run->begin(), run->end(), entry), entry);
  if (run->size() <= kLongestRun) return;
  // Split in two; the first half is sized exactly, as saves in date order never reach it again.
  const auto half = run->begin() + static_cast<std::ptrdiff_t>(run->size() / 2);
  Run second(half, run->end());
  run->erase(half, run->end());
  run->shrink_to_fit();
  runs_.insert(std::next(run), std::move(second));
}

void DateIndex::erase(const Entry& entry) {
  if (runs_.empty()) return;
  auto run = runFor(entry);
  auto found = std::lower_bound(run->begin(), run->end(), entry);
  if (found == run->end() || found->anchor != entry.anchor) return;
  run->erase(found);
  if (run->empty()) runs_.erase(run);
}

}  // namespace platform::healthkit
