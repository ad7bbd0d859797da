#pragma once

// HKObserverQuery: a long-running query whose update handler runs whenever samples of its type
// (matching its predicate, and that the app may read) are saved or deleted. It says nothing
// about what changed: the app runs another query, typically an anchored one, to find out.
//
// While the application is in the background (UIApplication's state), the handler runs only for
// types with background delivery enabled (HKHealthStore::enableBackgroundDeliveryForType), as
// HealthKit wakes an app only for those, and at most as often as the frequency asked for:
// immediate wakes the app for every change; hourly, daily and weekly at most once per hour,
// 24 hours or 7 days of the environment's clock, per type (an observer query of the type that is
// told of the change that woke the app is called in the same wake). A change that may not wake
// the app is held back: one call delivers it with the next change that may wake the app (the
// clock having moved on) or when the app next becomes active, whichever comes first. The
// simulator has no timer, so a held change never wakes the app by itself once the period is
// over. On iOS HealthKit also caps some types (step count among them) at hourly whatever the
// app asks for; the simulator does not.
// As on an iPhone the handler also runs once right after execution (see
// SimulatedHealthDevice::setObserverQueriesFireOnExecute); that call and the one when the app
// becomes active are not wakes and are never held back by the frequency.
//
// Observer queries carry no health data, so they keep running while the device is locked.
//
// The handler receives a completion handler, which the app calls when it has processed the
// update (it may call it later, from any thread); the device records whether it was called
// (SimulatedHealthDevice::observerInvocations). An app that leaves three background calls in a
// row unanswered loses background delivery for the type, as HealthKit stops waking it. The
// handler runs on the query's worker queue.
// Thread-safe.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

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

  // Calls the update handler unless the app is in the background and may not be woken now.
  // `change` (its latest anchor) is the database change that calls, nullopt when the call is
  // the one after execution or the one when the app becomes active; only changes count against
  // the background-delivery frequency.
  void fire(const platform::healthkit::QueryExecution& execution,
            std::optional<std::uint64_t> change);

  const UpdateHandler updateHandler_;
  // A change arrived while the app was suspended and could not wake it (no background delivery,
  // or too soon after the last wake). Touched only on the query's queue.
  bool heldBackWhileSuspended_ = false;
};
