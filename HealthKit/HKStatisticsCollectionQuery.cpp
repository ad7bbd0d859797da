#include "HealthKit/HKStatisticsCollectionQuery.h"

#include <stdexcept>

#include "HealthKit/HKError.h"
#include "HealthKit/internal/PredicateDateBounds.h"
#include "HealthKit/internal/QueryAnswerTimer.h"
#include "HealthKit/internal/QueryExecution.h"
#include "HealthKit/internal/StatisticsCalculator.h"

namespace {

void checkOptions(const HKQuantityType& type, HKStatisticsOptions options) {
  constexpr unsigned long discrete = HKStatisticsOptionDiscreteAverage |
                                     HKStatisticsOptionDiscreteMin | HKStatisticsOptionDiscreteMax;
  constexpr unsigned long known =
      discrete | HKStatisticsOptionCumulativeSum | HKStatisticsOptionSeparateBySource;
  if (options & (HKStatisticsOptionMostRecent | HKStatisticsOptionDuration)) {
    throw std::invalid_argument(
        "HKStatisticsCollectionQuery: the most-recent and duration options are not supported");
  }
  if (options & ~known) {
    throw std::invalid_argument("HKStatisticsCollectionQuery: unknown statistics options " +
                                std::to_string(static_cast<unsigned long>(options)));
  }
  const bool cumulativeType = type.aggregationStyle() == HKQuantityAggregationStyleCumulative;
  if (cumulativeType && (options & discrete)) {
    throw std::invalid_argument("HKStatisticsCollectionQuery: statistics option " +
                                std::to_string(static_cast<unsigned long>(options)) +
                                " is not compatible with cumulative data type " +
                                type.identifier());
  }
  if (!cumulativeType && (options & HKStatisticsOptionCumulativeSum)) {
    throw std::invalid_argument("HKStatisticsCollectionQuery: statistics option " +
                                std::to_string(static_cast<unsigned long>(options)) +
                                " is not compatible with discrete data type " + type.identifier());
  }
}

}  // namespace

HKStatisticsCollectionQuery::HKStatisticsCollectionQuery(
    std::shared_ptr<const HKQuantityType> quantityType,
    std::shared_ptr<const NSPredicate> quantitySamplePredicate, HKStatisticsOptions options,
    NSDate anchorDate, NSDateComponents intervalComponents)
    : HKQuery(quantityType, std::move(quantitySamplePredicate)),
      quantityType_(std::move(quantityType)),
      options_(options),
      anchorDate_(anchorDate),
      intervalComponents_(std::move(intervalComponents)) {
  checkOptions(*quantityType_, options_);
  // Refuses components that cannot lay out intervals now, not later on a worker.
  platform::healthkit::IntervalGrid(
      anchorDate_, intervalComponents_,
      NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian));
}

void HKStatisticsCollectionQuery::setInitialResultsHandler(InitialResultsHandler handler) {
  std::lock_guard<std::mutex> lock(handlersMutex_);
  initialResultsHandler_ = std::move(handler);
}

HKStatisticsCollectionQuery::InitialResultsHandler
HKStatisticsCollectionQuery::initialResultsHandler() const {
  std::lock_guard<std::mutex> lock(handlersMutex_);
  return initialResultsHandler_;
}

void HKStatisticsCollectionQuery::setStatisticsUpdateHandler(StatisticsUpdateHandler handler) {
  std::lock_guard<std::mutex> lock(handlersMutex_);
  updateHandler_ = std::move(handler);
}

HKStatisticsCollectionQuery::StatisticsUpdateHandler
HKStatisticsCollectionQuery::statisticsUpdateHandler() const {
  std::lock_guard<std::mutex> lock(handlersMutex_);
  return updateHandler_;
}

std::shared_ptr<const HKStatisticsCollection> HKStatisticsCollectionQuery::collect(
    const platform::healthkit::QueryExecution& execution) const {
  auto& state = execution.state();
  platform::healthkit::QueryAnswerTimer timer(state);
  platform::healthkit::IntervalGrid grid(anchorDate_, intervalComponents_, state.calendar());
  const auto samples = state.database().objects(quantityType_->identifier(),
                                                platform::healthkit::dateBoundsOf(predicate()),
                                                state.readFilter(execution.reader, predicate()));
  auto statistics = platform::healthkit::computeStatistics(
      quantityType_, options_, grid, samples, state.sourceRanks(quantityType_->identifier()));
  // The constructor is private to this class, so make_shared cannot reach it.
  return std::shared_ptr<const HKStatisticsCollection>(new HKStatisticsCollection(
      quantityType_, options_,
      std::make_shared<const platform::healthkit::IntervalGrid>(std::move(grid)),
      std::move(statistics)));
}

void HKStatisticsCollectionQuery::run(const platform::healthkit::QueryExecution& execution) {
  auto self = std::static_pointer_cast<HKStatisticsCollectionQuery>(shared_from_this());
  std::shared_ptr<const HKStatisticsCollection> collection;
  std::shared_ptr<const NSError> error = execution.state().readError();  // locked device
  if (!error) {
    started_ = true;
    try {
      collection = collect(execution);
    } catch (const std::exception& failure) {
      error = platform::healthkit::makeHealthKitError(HKErrorInvalidArgument, failure.what());
    }
  }
  // A query whose initial results failed because the device is locked ends there.
  if (!statisticsUpdateHandler() || !started_) finish(execution);
  if (auto handler = initialResultsHandler()) handler(self, collection, error);
}

void HKStatisticsCollectionQuery::databaseDidChange(
    const platform::healthkit::QueryExecution& execution,
    const platform::healthkit::DatabaseChange& change) {
  auto handler = statisticsUpdateHandler();
  if (!started_ || !handler) return;
  // The first change of this type that the app may see decides which interval's statistics
  // are passed along; changes it may not see do not wake it.
  std::optional<NSDate> changed;
  const std::string& type = quantityType_->identifier();
  auto& state = execution.state();
  const auto filter = state.readFilter(execution.reader, predicate());
  try {
    for (const auto& added : change.added) {
      if (!changed && *added.typeIdentifier == type && filter(*added.object, *added.owner)) {
        changed = std::static_pointer_cast<const HKSample>(added.object)->startDate();
      }
    }
    for (const auto& deleted : change.deleted) {
      if (!changed && *deleted.typeIdentifier == type && filter(*deleted.former, *deleted.owner)) {
        changed = std::static_pointer_cast<const HKSample>(deleted.former)->startDate();
      }
    }
  } catch (const std::exception&) {
    return;  // the initial results already reported that the predicate cannot be evaluated
  }
  if (!changed) return;
  auto self = std::static_pointer_cast<HKStatisticsCollectionQuery>(shared_from_this());
  if (auto error = state.readError()) {  // the device is locked
    handler(self, nullptr, nullptr, error);
    return;
  }
  try {
    auto collection = collect(execution);
    handler(self, collection->statisticsForDate(*changed), collection, nullptr);
  } catch (const std::exception& failure) {
    handler(self, nullptr, nullptr,
            platform::healthkit::makeHealthKitError(HKErrorInvalidArgument, failure.what()));
  }
}
