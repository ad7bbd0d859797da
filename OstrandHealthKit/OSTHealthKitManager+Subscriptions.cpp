// The engine's control path: subscribing, authorization, background delivery, observation with
// the observer's handler, the routine listener and the per-type choice of fetch.

#include "OstrandHealthKit/OSTHealthKitManager.h"

#include <algorithm>
#include <stdexcept>

#include "Foundation/Dispatch.h"
#include "Foundation/NSArray.h"
#include "Foundation/NSLog.h"
#include "HealthKit/HKSample.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "OstrandCore/OSTLog.h"
#include "OstrandHealthKit/Categories/NSCalendar+Ostrand.h"
#include "OstrandHealthKit/Categories/OSTSession+HealthKit.h"
#include "OstrandHealthKit/OSTBackgroundTask.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"

// Saves of the session data (query dates, anchors) report a failure by logging it in the session
// extension; the change stays in memory and is written by the next save that succeeds, so the
// engine goes on without checking again.

namespace {

// The first moment of the date's day in the library's calendar.
NSDate startOfDay(NSDate date) {
  return ost_gregorianCalendar()->startOfDayForDate(date).value_or(date);
}

std::shared_ptr<const HKQuantityType> stepCountType() {
  return HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierStepCount);
}

// Step counts are also fetched minute by minute; the engine tells the type by identity (type
// objects are shared, one per identifier).
bool isStepCountType(const OSTSampleTypePointer& type) { return type == stepCountType(); }

bool isRoutineType(const OSTSampleTypePointer& type) {
  return OSTHealthKitSubscription::recordTypeForSampleType(*type) == OSTRecordTypeRoutine;
}

// The type an identifier string names, or nullptr. Quantity, correlation and category types go
// by their identifier's prefix; workouts by the exact string "HKWorkoutType" (not HealthKit's
// workout identifier), as hosts have always passed it.
OSTSampleTypePointer sampleTypeForIdentifier(const std::string& identifier) {
  const std::string prefix = identifier.substr(0, identifier.find("Identifier"));
  if (prefix == "HKQuantityType") return HKObjectType::quantityTypeForIdentifier(identifier);
  if (prefix == "HKCorrelationType") return HKObjectType::correlationTypeForIdentifier(identifier);
  if (prefix == "HKCategoryType") return HKObjectType::categoryTypeForIdentifier(identifier);
  if (identifier == "HKWorkoutType") return HKObjectType::workoutType();
  return nullptr;
}

std::shared_ptr<const NSArray> arrayOfTypes(const OSTSampleTypeArray& types) {
  std::vector<NSAny> values(types.begin(), types.end());
  return NSArray::arrayWithArray(std::move(values));
}

}  // namespace

// --- Subscriptions ---

void OSTHealthKitManager::setSubscriptionsFromIdentifiers(
    const std::vector<std::string>& identifiers, OSTSubscriptionCompletion completion) {
  OSTSampleTypeArray types;
  for (const auto& identifier : identifiers) {
    auto type = sampleTypeForIdentifier(identifier);
    if (!type) {
      throw std::invalid_argument("setSubscriptionsFromIdentifiers: no sample type for '" +
                                  identifier + "'");
    }
    types.push_back(std::move(type));
  }
  setSubscriptions(types, std::move(completion));
}

void OSTHealthKitManager::setSubscriptions(const OSTSampleTypeArray& types,
                                           OSTSubscriptionCompletion completion) {
  const auto bloodPressure =
      HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierBloodPressure);
  const auto food = HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierFood);

  // The blood-pressure correlation stands for its two quantity types, which are subscribed too.
  HKSampleTypeSet subscribed(types.begin(), types.end());
  if (subscribed.contains(bloodPressure)) {
    subscribed.insert(
        HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierBloodPressureSystolic));
    subscribed.insert(
        HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierBloodPressureDiastolic));
  }
  // HealthKit authorizes no correlation type: reading its members is what counts.
  HKSampleTypeSet authorized = subscribed;
  authorized.erase(food);
  authorized.erase(bloodPressure);

  const auto routineTypes =
      OSTHealthKitSubscription::sampleTypesForSubscriptionSet(OSTHealthKitSubscriptionSetRoutine);
  const bool subscribesRoutine =
      std::any_of(routineTypes->begin(), routineTypes->end(),
                  [&](const OSTSampleTypePointer& type) { return subscribed.contains(type); });
  if (!subscribesRoutine) {
    setRoutineQueryTimestamp(*session_, std::nullopt);
    setRoutineFetchTimestamp(*session_, std::nullopt);
  }
  // Asking for steps restarts the intraday fetch from its first defaults.
  if (std::any_of(types.begin(), types.end(), isStepCountType)) {
    setIntradayStepsQueryTimestamp(*session_, std::nullopt);
    setIntradayStepsFetchTimestamp(*session_, std::nullopt);
  }

  if (authorized.empty()) {
    // Nothing to subscribe: every subscription ends.
    (void)setQueryDates(*session_, {});
    (void)setAnchors(*session_, {});
    updateBackgroundDeliveryForSubscriptons(subscribed);
    updateObservationForSubscriptons(subscribed);
    if (completion) completion();
    return;
  }

  // One-shot: the engine stays alive until HealthKit has answered.
  auto self = std::static_pointer_cast<OSTHealthKitManager>(shared_from_this());
  const char* const method = __func__;
  authorizeSubscriptions(authorized, [self, method, types, subscribed, completion](
                                         bool success, std::shared_ptr<const NSError> error) {
    dispatch_async(dispatch_get_main_queue(), [=] {
      self->finishSubscribing(method, types, subscribed, success, error, completion);
    });
  });
}

void OSTHealthKitManager::finishSubscribing(const char* method, const OSTSampleTypeArray& requested,
                                            const HKSampleTypeSet& types, bool success,
                                            const std::shared_ptr<const NSError>& error,
                                            const OSTSubscriptionCompletion& completion) {
  if (!success) {
    OSTLog::log(OSTLog::Info, "%s Healthkit subscription failed: %@", method,
                error ? error->localizedDescription() : std::string("(null)"));
    if (completion) completion();
    return;
  }
  // The query dates' key set is the subscription list: from here on it is `types`.
  (void)setQueryDates(*session_, queryDatesForSubscriptions(types));
  updateBackgroundDeliveryForSubscriptons(types);
  updateObservationForSubscriptons(types);
  OSTLog::log(OSTLog::Info, "%s Healthkit subscription request succeeded: %@", method,
              arrayOfTypes(requested));
  if (completion) completion();
}

OSTQueryDateDictionary OSTHealthKitManager::queryDatesForSubscriptions(
    const HKSampleTypeSet& types) {
  const auto old = queryDates(*session_);
  OSTQueryDateDictionary dates;
  for (const auto& type : types) {
    if (const auto found = old.find(type); found != old.end()) {
      dates[type] = found->second;  // its anchor stays too
      // Asking for steps again cleared the minute-step timestamps so that they restart from
      // their first defaults; a type that stays subscribed gets no first defaults below, so it
      // gets them here. Left empty, the intraday fetch would never run again.
      if (isStepCountType(type) && !intradayStepsQueryTimestamp(*session_) &&
          !intradayStepsFetchTimestamp(*session_)) {
        restartIntradaySteps(startOfDay(ost_yesterday()));
      }
      continue;
    }
    // New: its first fetch starts from a date, not from an anchor left by an earlier
    // subscription.
    (void)removeAnchorForKey(*session_, type);
    if (isRoutineType(type)) {
      // Daily activity is fetched from yesterday's day on by the routine fetch; the type's own
      // date only marks it subscribed.
      const NSDate yesterday = startOfDay(ost_yesterday());
      setRoutineQueryTimestamp(*session_, yesterday);
      setRoutineFetchTimestamp(*session_, yesterday);
      if (isStepCountType(type)) restartIntradaySteps(yesterday);
      dates[type] = NSDate::date();
    } else if (type->identifier() == HKQuantityTypeIdentifierHeartRate) {
      dates[type] = startOfDay(ost_yesterday());
    } else {
      dates[type] = startOfDay(NSDate::date());
    }
  }
  return dates;
}

void OSTHealthKitManager::restartIntradaySteps(NSDate from) {
  setIntradayStepsQueryTimestamp(*session_, from);
  setIntradayStepsFetchTimestamp(*session_, from);
}

// --- Authorization and background delivery ---

void OSTHealthKitManager::authorizeSubscriptions(const HKSampleTypeSet& types,
                                                 OSTAuthorizationCompletion completion) {
  store()->requestAuthorizationToShareTypes(
      {}, HKObjectTypeSet(types.begin(), types.end()),
      [completion](bool success, std::shared_ptr<const NSError> error) {
        if (error) NSLog("HealthKit Authorization Error: %@", error);
        if (completion) completion(success, error);
      });
}

void OSTHealthKitManager::updateBackgroundDeliveryForSubscriptons(const HKSampleTypeSet& types) {
  // Runs on HealthKit's threads and touches only the store.
  const auto store = this->store();
  store->disableAllBackgroundDeliveryWithCompletion([store, types](bool, auto) {
    for (const auto& type : types) {
      store->enableBackgroundDeliveryForType(
          type, HKUpdateFrequencyHourly, [](bool, std::shared_ptr<const NSError> error) {
            if (error) NSLog("Error enabling background delivery: %@", error);
          });
    }
  });
}

// --- Observation ---

void OSTHealthKitManager::updateObservationForSubscriptons(const HKSampleTypeSet& types) {
  stopAllQueries();
  for (const auto& type : types) {
    auto query = observerQueryForSampleType(type);
    store()->executeQuery(query);
    observerQueries()->push_back(std::move(query));
    if (isRoutineType(type)) listenToRoutineSampleType(type);
  }
}

void OSTHealthKitManager::stopAllQueries() {
  for (const auto& query : *observerQueries()) store()->stopQuery(query);
  observerQueries()->clear();
  for (const auto& [type, query] : *anchorQueries()) store()->stopQuery(query);
  anchorQueries()->clear();
  for (const auto& [type, query] : *routineAnchorQueries()) store()->stopQuery(query);
  routineAnchorQueries()->clear();
}

std::shared_ptr<HKObserverQuery> OSTHealthKitManager::observerQueryForSampleType(
    const OSTSampleTypePointer& type) {
  auto weak = weakSelf();
  // The error is not examined: a fetch is attempted whatever HealthKit says.
  return std::make_shared<HKObserverQuery>(
      type, nullptr,
      [weak](std::shared_ptr<HKObserverQuery> query,
             HKObserverQueryCompletionHandler completionHandler, auto) {
        const auto task = OSTBackgroundTask::begin();
        dispatch_async(dispatch_get_main_queue(), [weak, query, task] {
          if (const auto self = weak.lock()) {
            const auto sampleType = query->sampleType();
            // In the background HealthKit may have suspended the long-running query: replace it.
            if (UIApplication::sharedApplication()->applicationState() ==
                UIApplicationStateBackground) {
              self->stopAnchorQueryForSampleType(sampleType);
            }
            // In the foreground a running long-lived query delivers the change itself.
            if (!self->anchorQueries()->contains(sampleType)) {
              self->fetchUpdatedDataForSampleType(sampleType);
            }
          }
          task->end();
        });
        // HealthKit is answered at once; the fetch goes on under the background task.
        if (completionHandler) completionHandler();
      });
}

void OSTHealthKitManager::listenToRoutineSampleType(const OSTSampleTypePointer& type) {
  if (routineAnchorQueries()->contains(type)) return;
  const auto calendar = ost_gregorianCalendar();
  const NSDate today = startOfDay(NSDate::date());
  const NSDate start = calendar->dateByAddingUnit(NSCalendarUnitDay, -1, today, {}).value_or(today);
  const auto predicate =
      NSPredicate::predicateWithFormat("%K >= %@", {HKPredicateKeyPathEndDate, start});

  // A trigger only: whatever the query delivers, the routine fetch works out what is due.
  auto weak = weakSelf();
  const bool steps = isStepCountType(type);
  const HKAnchoredObjectQuery::ResultsHandler trigger = [weak, steps](auto, auto, auto, auto,
                                                                      auto) {
    dispatch_async(dispatch_get_main_queue(), [weak, steps] {
      const auto self = weak.lock();
      if (!self) return;
      self->fetchLatestRoutine();
      if (steps) self->fetchLatestIntraDaySteps();
    });
  };
  auto query = std::make_shared<HKAnchoredObjectQuery>(type, predicate, nullptr,
                                                       HKObjectQueryNoLimit, trigger);
  query->setUpdateHandler(trigger);
  (*routineAnchorQueries())[type] = query;
  store()->executeQuery(query);
}

// --- Choosing the fetch ---

void OSTHealthKitManager::fetchUpdatedDataForSampleType(const OSTSampleTypePointer& type) {
  const auto anchor = anchorForKey(*session_, type);
  const NSDate queryDate = queryDateForKey(*session_, type);

  if (isRoutineType(type)) {
    fetchLatestRoutine();
    if (isStepCountType(type)) fetchLatestIntraDaySteps();
    return;
  }
  if (OSTHealthKitSubscription::isHeartRateSample(*type)) {
    // Heart rate is summarised in whole past days, never for the running one.
    const NSDate from = startOfDay(queryDate);
    const NSDate to = startOfDay(NSDate::date());
    if (from.compare(to) == NSOrderedAscending) fetchHeartRateSamplesFromDate(from, to);
    return;
  }
  const auto predicate = predicateForType(type, queryDate, NSDate::date(), anchor);
  // The end date is taken afresh, a moment after the predicate's upper bound.
  fetchSampleType(type, predicate, NSDate::date(), false, anchor, nullptr);
}
