#include "HealthKit/internal/IntervalStarts.h"

#include <cmath>
#include <limits>

namespace platform::healthkit {

namespace {

// Beyond this many calendar intervals (about 180 years of days) the table is not worth its
// memory; such a stretch has only a few samples in it.
constexpr long kMaxTable = 1L << 16;
// Lookups read a start or two around the estimated index; the table covers them too.
constexpr long kMargin = 3;

}  // namespace

IntervalStarts::IntervalStarts(const IntervalGrid& grid, double from, double to) : grid_(grid) {
  if (grid_.isElapsedTime() || !(from <= to)) return;
  first_ = grid_.estimatedIndex(NSDate::dateWithTimeIntervalSinceReferenceDate(from)) - kMargin;
  const long last =
      grid_.estimatedIndex(NSDate::dateWithTimeIntervalSinceReferenceDate(to)) + kMargin;
  if (last - first_ < kMaxTable) {
    table_.assign(static_cast<std::size_t>(last - first_ + 1),
                  std::numeric_limits<double>::quiet_NaN());
  }
}

double IntervalStarts::operator()(long index) {
  if (grid_.isElapsedTime()) return computed(index);
  const long offset = index - first_;
  if (offset >= 0 && offset < static_cast<long>(table_.size())) {
    double& start = table_[static_cast<std::size_t>(offset)];
    if (std::isnan(start)) start = computed(index);
    return start;
  }
  auto found = outside_.find(index);
  if (found == outside_.end()) found = outside_.emplace(index, computed(index)).first;
  return found->second;
}

long IntervalStarts::indexContaining(double date) {
  return grid_.indexContaining(
      NSDate::dateWithTimeIntervalSinceReferenceDate(date), [this](long index) {
        return NSDate::dateWithTimeIntervalSinceReferenceDate((*this)(index));
      });
}

double IntervalStarts::computed(long index) const {
  return grid_.startOfInterval(index).timeIntervalSinceReferenceDate();
}

}  // namespace platform::healthkit
