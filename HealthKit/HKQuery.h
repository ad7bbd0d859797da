#pragma once

// HKQuery: the base of HealthKit's queries, and HealthKit's predicate factories.
//
// A query is made by the app, run with HKHealthStore::executeQuery() and ended with stopQuery();
// the subclasses say what their handlers receive. Every handler runs on the query's own serial
// worker queue: never on the main queue, never inside executeQuery(), and one at a time for a
// query, in order. A query runs once: executing it again throws std::invalid_argument. After
// stopQuery() returns none of its handlers runs any more (see HKHealthStore). While the device is
// locked, queries that read samples deliver HKErrorDatabaseInaccessible to their handlers instead
// of results (SimulatedHealthDevice::lock() says which and when).
//
// The predicate factories return NSPredicates that the queries evaluate against samples, with
// HealthKit's matching rules: predicateForSamplesWithStartDate(start, end, HKQueryOptionNone)
// matches samples with endDate >= start and startDate < end (any overlap; a sample ending
// exactly at `start` matches, one starting exactly at `end` does not); a missing bound is
// dropped.
//
// Thread-safe. A running query keeps the device it runs on alive.

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/NSComparisonPredicate.h"
#include "Foundation/NSError.h"
#include "Foundation/NSPredicate.h"
#include "Foundation/NSUUID.h"
#include "HealthKit/HKObjectType.h"
#include "HealthKit/HKQuantity.h"
#include "HealthKit/HKSource.h"
#include "HealthKit/HKWorkoutActivityType.h"

namespace platform::healthkit {
class DeviceState;
class HandlerGate;
struct DatabaseChange;
struct QueryExecution;
}  // namespace platform::healthkit

enum HKQueryOptions : unsigned long {
  HKQueryOptionNone = 0,
  HKQueryOptionStrictStartDate = 1 << 0,
  HKQueryOptionStrictEndDate = 1 << 1,
};

constexpr HKQueryOptions operator|(HKQueryOptions a, HKQueryOptions b) {
  return static_cast<HKQueryOptions>(static_cast<unsigned long>(a) | static_cast<unsigned long>(b));
}

class HKQuery : public NSObject {
 public:
  ~HKQuery() override;

  std::shared_ptr<const HKObjectType> objectType() const { return objectType_; }
  // The object type as a sample type (nullptr for other kinds of type).
  std::shared_ptr<const HKSampleType> sampleType() const;
  const std::shared_ptr<const NSPredicate>& predicate() const { return predicate_; }

  // --- Predicates ---

  static std::shared_ptr<const NSPredicate> predicateForSamplesWithStartDate(
      std::optional<NSDate> startDate, std::optional<NSDate> endDate, HKQueryOptions options);
  // Objects that have the metadata key at all.
  static std::shared_ptr<const NSPredicate> predicateForObjectsWithMetadataKey(
      const std::string& key);
  // Objects whose value for the key is one of `allowedValues`.
  static std::shared_ptr<const NSPredicate> predicateForObjectsWithMetadataKey(
      const std::string& key, const std::vector<NSAny>& allowedValues);
  // Objects whose value for the key compares with `value` by the operator.
  static std::shared_ptr<const NSPredicate> predicateForObjectsWithMetadataKey(
      const std::string& key, NSPredicateOperatorType operatorType, const NSAny& value);
  static std::shared_ptr<const NSPredicate> predicateForObjectsFromSource(
      const std::shared_ptr<const HKSource>& source);
  static std::shared_ptr<const NSPredicate> predicateForObjectsFromSources(
      const std::vector<std::shared_ptr<const HKSource>>& sources);
  static std::shared_ptr<const NSPredicate> predicateForObjectWithUUID(const NSUUID& uuid);
  static std::shared_ptr<const NSPredicate> predicateForObjectsWithUUIDs(
      const std::vector<NSUUID>& uuids);
  // Samples that are not part of a correlation.
  static std::shared_ptr<const NSPredicate> predicateForObjectsWithNoCorrelation();
  static std::shared_ptr<const NSPredicate> predicateForQuantitySamplesWithOperatorType(
      NSPredicateOperatorType operatorType, const std::shared_ptr<const HKQuantity>& quantity);
  static std::shared_ptr<const NSPredicate> predicateForCategorySamplesWithOperatorType(
      NSPredicateOperatorType operatorType, long value);
  static std::shared_ptr<const NSPredicate> predicateForWorkoutsWithWorkoutActivityType(
      HKWorkoutActivityType workoutActivityType);

 protected:
  HKQuery(std::shared_ptr<const HKObjectType> objectType,
          std::shared_ptr<const NSPredicate> predicate);

  // Runs once, on the query's queue, after executeQuery(): computes and delivers the first
  // results. A one-shot query calls finish() when done.
  virtual void run(const platform::healthkit::QueryExecution& execution) = 0;
  // Runs on the query's queue for every database change while the query is registered.
  virtual void databaseDidChange(const platform::healthkit::QueryExecution& execution,
                                 const platform::healthkit::DatabaseChange& change);
  // Runs on the query's queue when the app comes back to the foreground while the query is
  // registered. Does nothing unless a subclass has something held back for that moment.
  virtual void applicationDidBecomeActive(const platform::healthkit::QueryExecution& execution);

  // Whether execution has begun (handlers set afterwards are refused by some subclasses).
  bool hasExecuted() const { return executed_.load(); }
  // Ends a query that has nothing more to deliver: it leaves the device's running queries.
  void finish(const platform::healthkit::QueryExecution& execution);

 private:
  friend class HKHealthStore;
  friend class platform::healthkit::DeviceState;

  // Called by HKHealthStore::executeQuery(): refuses a second execution.
  void execute(std::shared_ptr<platform::healthkit::QueryExecution> execution);
  // Called by HKHealthStore::stopQuery() and by the device.
  void stop();
  // Queues databaseDidChange() on the query's queue.
  void notifyChange(std::shared_ptr<const platform::healthkit::DatabaseChange> change);
  // Queues applicationDidBecomeActive() on the query's queue.
  void notifyApplicationDidBecomeActive();
  // The execution, or nullptr before execute.
  std::shared_ptr<platform::healthkit::QueryExecution> currentExecution() const;

  const std::shared_ptr<const HKObjectType> objectType_;
  const std::shared_ptr<const NSPredicate> predicate_;
  std::atomic<bool> executed_{false};
  // Every handler runs through it; stop() closes it. Held by pointer so that this header does not
  // expose the simulator's internals.
  const std::unique_ptr<platform::healthkit::HandlerGate> gate_;
  mutable std::mutex executionMutex_;  // guards execution_
  std::shared_ptr<platform::healthkit::QueryExecution> execution_;
};
