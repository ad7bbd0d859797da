#include "HealthKit/HKObserverQuery.h"

#include "HealthKit/HKError.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "HealthKit/internal/QueryExecution.h"

HKObserverQuery::HKObserverQuery(std::shared_ptr<const HKSampleType> sampleType,
                                 std::shared_ptr<const NSPredicate> predicate,
                                 UpdateHandler updateHandler)
    : HKQuery(std::move(sampleType), std::move(predicate)),
      updateHandler_(std::move(updateHandler)) {}

void HKObserverQuery::run(const platform::healthkit::QueryExecution& execution) {
  if (execution.state().observerQueriesFireOnExecute()) fire(execution, std::nullopt);
}

void HKObserverQuery::databaseDidChange(const platform::healthkit::QueryExecution& execution,
                                        const platform::healthkit::DatabaseChange& change) {
  const std::string& type = objectType()->identifier();
  const auto filter = execution.state().readFilter(execution.reader, predicate());
  bool relevant = false;
  try {
    for (const auto& added : change.added) {
      if (*added.typeIdentifier == type && filter(*added.object, *added.owner)) {
        relevant = true;
        break;
      }
    }
    for (const auto& deleted : change.deleted) {
      if (relevant) break;
      if (*deleted.typeIdentifier == type && filter(*deleted.former, *deleted.owner))
        relevant = true;
    }
  } catch (const std::exception& error) {
    if (updateHandler_) {
      updateHandler_(
          std::static_pointer_cast<HKObserverQuery>(shared_from_this()), [] {},
          platform::healthkit::makeHealthKitError(HKErrorInvalidArgument, error.what()));
    }
    return;
  }
  if (relevant) fire(execution, change.latestAnchor());
}

void HKObserverQuery::applicationDidBecomeActive(
    const platform::healthkit::QueryExecution& execution) {
  if (heldBackWhileSuspended_) fire(execution, std::nullopt);
}

void HKObserverQuery::fire(const platform::healthkit::QueryExecution& execution,
                           std::optional<std::uint64_t> change) {
  const bool inBackground =
      UIApplication::sharedApplication()->applicationState() == UIApplicationStateBackground;
  auto& state = execution.state();
  const std::string& type = objectType()->identifier();
  if (inBackground) {
    const auto frequency = state.backgroundDelivery(execution.reader, type);
    if (!frequency) {
      heldBackWhileSuspended_ = true;  // HealthKit does not wake the app for this type
      return;
    }
    if (state.unansweredBackgroundInvocations(execution.reader, type) >= kUnansweredLimit) {
      // The app never calls its completion handler: HealthKit gives up on waking it.
      state.setBackgroundDelivery(execution.reader, type, std::nullopt);
      heldBackWhileSuspended_ = true;
      return;
    }
    if (change &&
        !state.admitBackgroundWake(execution.reader, type, *frequency, *change, NSDate::date())) {
      // Woken for this type less than a period ago: the change waits for the next wake.
      heldBackWhileSuspended_ = true;
      return;
    }
  }
  heldBackWhileSuspended_ = false;
  auto completion = state.recordObserverInvocation(execution.reader, type, inBackground);
  if (updateHandler_) {
    updateHandler_(std::static_pointer_cast<HKObserverQuery>(shared_from_this()), completion,
                   nullptr);
  }
}
