#pragma once

// HKStatisticsCollectionQuery: statistics of a quantity type per time interval (per day, per
// minute...). The intervals start at the anchor date plus whole multiples of the interval
// components, added in the device's calendar (SimulatedHealthDevice::calendar()), and extend
// from the anchor in both directions: a one-day interval anchored at midnight always starts at
// midnight, and is 23 or 25 hours long on a daylight-saving day.
//
// The initial results handler runs once with the collection over every sample that matches the
// predicate and that the app may read. With a statistics update handler the query keeps running
// and calls it after every change of the type, with the statistics of the interval the change
// falls in and the new collection. Handlers run one at a time on the query's worker queue.
//
// Options must suit the type: the cumulative sum only for cumulative types (steps, energy...),
// average, minimum and maximum only for discrete ones (heart rate, weight...); a mismatch, or an
// option this simulator does not compute (most recent, duration), throws std::invalid_argument
// when the query is made, as do interval components that cannot lay out intervals.
// Thread-safe.
//
//   NSDateComponents oneDay;
//   oneDay.setDay(1);
//   auto query = std::make_shared<HKStatisticsCollectionQuery>(steps, nullptr,
//       HKStatisticsOptionCumulativeSum, midnight, oneDay);
//   query->setInitialResultsHandler([](auto query, auto collection, auto error) {
//     collection->enumerateStatisticsFromDate(weekStart, now, [](auto day, bool* stop) { ... });
//   });
//   store->executeQuery(query);

#include <functional>
#include <memory>
#include <mutex>

#include "Foundation/NSDateComponents.h"
#include "HealthKit/HKQuery.h"
#include "HealthKit/HKStatistics.h"
#include "HealthKit/HKStatisticsCollection.h"

class HKStatisticsCollectionQuery : public HKQuery {
 public:
  // (query, collection or nullptr, error or nullptr).
  using InitialResultsHandler = std::function<void(
      std::shared_ptr<HKStatisticsCollectionQuery> query,
      std::shared_ptr<const HKStatisticsCollection> result, std::shared_ptr<const NSError> error)>;
  // (query, statistics of the changed interval, collection, error or nullptr).
  using StatisticsUpdateHandler =
      std::function<void(std::shared_ptr<HKStatisticsCollectionQuery> query,
                         std::shared_ptr<const HKStatistics> statistics,
                         std::shared_ptr<const HKStatisticsCollection> collection,
                         std::shared_ptr<const NSError> error)>;

  HKStatisticsCollectionQuery(std::shared_ptr<const HKQuantityType> quantityType,
                              std::shared_ptr<const NSPredicate> quantitySamplePredicate,
                              HKStatisticsOptions options, NSDate anchorDate,
                              NSDateComponents intervalComponents);

  NSDate anchorDate() const { return anchorDate_; }
  HKStatisticsOptions options() const { return options_; }
  const NSDateComponents& intervalComponents() const { return intervalComponents_; }

  void setInitialResultsHandler(InitialResultsHandler handler);
  InitialResultsHandler initialResultsHandler() const;
  void setStatisticsUpdateHandler(StatisticsUpdateHandler handler);
  StatisticsUpdateHandler statisticsUpdateHandler() const;

  std::string className() const override { return "HKStatisticsCollectionQuery"; }

 protected:
  void run(const platform::healthkit::QueryExecution& execution) override;
  void databaseDidChange(const platform::healthkit::QueryExecution& execution,
                         const platform::healthkit::DatabaseChange& change) override;

 private:
  // The collection as the database stands now; throws when the predicate cannot be evaluated.
  std::shared_ptr<const HKStatisticsCollection> collect(
      const platform::healthkit::QueryExecution& execution) const;

  const std::shared_ptr<const HKQuantityType> quantityType_;
  const HKStatisticsOptions options_;
  const NSDate anchorDate_;
  const NSDateComponents intervalComponents_;
  mutable std::mutex handlersMutex_;  // guards initialResultsHandler_ and updateHandler_
  InitialResultsHandler initialResultsHandler_;
  StatisticsUpdateHandler updateHandler_;
  bool started_ = false;  // touched only on the query's serial queue
};
