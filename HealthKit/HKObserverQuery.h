#pragma once

// HKObserverQuery: a long-running query whose update handler runs whenever samples of its type
// (matching its predicate, and that the app may read) are saved or deleted. It says nothing
// about what changed: the app runs another query, typically an anchored one, to find out.
//
// While the application is in the background (UIApplication's state), the handler runs only for
// types with background delivery enabled (HKHealthStore::enableBackgroundDeliveryForType), as
// HealthKit wakes an app only for those; a change it held back that way is delivered with one
// call when the app next becomes active. As on an iPhone the handler also runs once right after
// execution (see SimulatedHealthDevice::setObserverQueriesFireOnExecute).
//
// The handler receives a completion handler, which the app calls when it has processed the
// update (it may call it later, from any thread); the device records whether it was called
// (SimulatedHealthDevice::observerInvocations). An app that leaves three background calls in a
// row unanswered loses background delivery for the type, as HealthKit stops waking it. The
// handler runs on the query's worker queue.
// Thread-safe.

#include <functional>
#include <memory>

#include "HealthKit/HKQuery.h"

using HKObserverQueryCompletionHandler = std::function<void()>;

class HKObserverQuery : public HKQuery {
 public:
  // (query, completion handler, error or nullptr); runs on a worker thread per update.
  using UpdateHandler = std::function<void(std::shared_ptr<HKObserverQuery> query,
                                           HKObserverQueryCompletionHandler completionHandler,
                                           std::shared_ptr<const NSError> error)>;

  HKObserverQuery(std::shared_ptr<const HKSampleType> sampleType,
                  std::shared_ptr<const NSPredicate> predicate, UpdateHandler updateHandler);

  std::string className() const override { return "HKObserverQuery"; }

 protected:
  void run(const platform::healthkit::QueryExecution& execution) override;
  void databaseDidChange(const platform::healthkit::QueryExecution& execution,
                         const platform::healthkit::DatabaseChange& change) override;
  void applicationDidBecomeActive(const platform::healthkit::QueryExecution& execution) override;

 private:
  static constexpr int kUnansweredLimit = 3;

  // Calls the update handler unless the app is in the background without background delivery.
  void fire(const platform::healthkit::QueryExecution& execution);

  const UpdateHandler updateHandler_;
  // A change arrived while the app was suspended and could not wake it. Touched only on the
  // query's queue.
  bool heldBackWhileSuspended_ = false;
};
