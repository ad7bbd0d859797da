#include "HealthKit/HKStatisticsCollection.h"

#include <algorithm>

#include "HealthKit/internal/IntervalGrid.h"

HKStatisticsCollection::HKStatisticsCollection(
    std::shared_ptr<const HKQuantityType> quantityType, HKStatisticsOptions options,
    std::shared_ptr<const platform::healthkit::IntervalGrid> grid,
    std::map<long, std::shared_ptr<const HKStatistics>> populated)
    : quantityType_(std::move(quantityType)),
      options_(options),
      grid_(std::move(grid)),
      populated_(std::move(populated)) {}

std::shared_ptr<const HKStatistics> HKStatisticsCollection::statisticsForInterval(
    long index) const {
  auto found = populated_.find(index);
  if (found != populated_.end()) return found->second;
  return std::make_shared<const HKStatistics>(
      quantityType_, grid_->startOfInterval(index), grid_->startOfInterval(index + 1),
      HKStatistics::Values{}, std::vector<HKStatistics::SourceValues>{});
}

std::shared_ptr<const HKStatistics> HKStatisticsCollection::statisticsForDate(NSDate date) const {
  return statisticsForInterval(grid_->indexContaining(date));
}

void HKStatisticsCollection::enumerateStatisticsFromDate(
    NSDate startDate, NSDate endDate,
    const std::function<void(std::shared_ptr<const HKStatistics> result, bool* stop)>& block)
    const {
  if (!block || endDate < startDate) return;
  const long last = grid_->indexContaining(endDate);
  bool stop = false;
  for (long index = grid_->indexContaining(startDate); index <= last && !stop; ++index) {
    block(statisticsForInterval(index), &stop);
  }
}

std::vector<std::shared_ptr<const HKStatistics>> HKStatisticsCollection::statistics() const {
  std::vector<std::shared_ptr<const HKStatistics>> all;
  all.reserve(populated_.size());
  for (const auto& entry : populated_) all.push_back(entry.second);
  return all;
}

std::vector<std::shared_ptr<const HKSource>> HKStatisticsCollection::sources() const {
  std::vector<std::shared_ptr<const HKSource>> all;
  if (!(options_ & HKStatisticsOptionSeparateBySource)) return all;
  // In order of first appearance, each interval listing its sources best first.
  for (const auto& entry : populated_) {
    const auto sources = entry.second->sources();
    for (std::size_t position = 0; position < sources.size(); ++position) {
      const bool known = std::any_of(all.begin(), all.end(), [&](const auto& source) {
        return source->bundleIdentifier() == sources[position]->bundleIdentifier();
      });
      if (!known) all.push_back(sources[position]);
    }
  }
  return all;
}
