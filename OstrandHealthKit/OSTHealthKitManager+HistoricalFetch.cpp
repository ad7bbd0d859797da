// The historical fetch: on the host's request, six months of daily activity (routine fetch),
// six months of workouts (anchored sample fetch) and the last seven days of minute-by-minute
// steps (intraday fetch), all in historical mode, after read permission on their types. The
// paths run at once; a dispatch group joins them and the merged counts go to the caller.

#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

#include "Foundation/Dispatch.h"
#include "Foundation/NSDictionary.h"
#include "Foundation/NSPredicate.h"
#include "HealthKit/HKSample.h"
#include "OstrandHealthKit/Categories/NSCalendar+Ostrand.h"
#include "OstrandHealthKit/OSTBackgroundTask.h"
#include "OstrandHealthKit/OSTHealthKitManager.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"
#include "OstrandHealthKit/OSTSynchronized.h"

namespace {

// An error of the library's own domain, code 0, with `message` for people.
std::shared_ptr<const NSError> historicalError(const char* message) {
  return NSError::errorWithDomain(
      kOSTHealthKitErrorDomain, 0,
      NSDictionary::dictionaryWithDictionary({{NSLocalizedDescriptionKey, message}}));
}

bool containsSet(const std::vector<NSInteger>& sets, OSTHealthKitHistoricalSet set) {
  return std::find(sets.begin(), sets.end(), set) != sets.end();
}

NSDate startOfDay(const NSCalendar& calendar, NSDate date) {
  return calendar.startOfDayForDate(date).value_or(date);
}

// The starts of the seven whole days before `today`, oldest first. Walked with the calendar
// (one second into each day, so a day whose midnight a clock change skips still counts), not in
// 24-hour steps.
std::vector<NSDate> intradayDayStarts(const NSCalendar& calendar, NSDate today) {
  const NSDate firstDay = startOfDay(
      calendar, calendar.dateByAddingUnit(NSCalendarUnitDay, -7, today, {}).value_or(today));
  NSDateComponents probe;
  probe.setHour(0);
  probe.setMinute(0);
  probe.setSecond(1);
  std::vector<NSDate> days;
  calendar.enumerateDatesStartingAfterDate(
      firstDay, probe, NSCalendarMatchNextTime, [&](std::optional<NSDate> date, bool, bool* stop) {
        if (!date || date->compare(today) != NSOrderedAscending) {
          *stop = true;  // today itself is never fetched historically
          return;
        }
        days.push_back(startOfDay(calendar, *date));
      });
  return days;
}

}  // namespace

void OSTHealthKitManager::mergeHistoricalPartialResults(const OSTFetchResult& partial,
                                                        OSTFetchResult& result) {
  for (const auto& [recordType, count] : partial) result[recordType] += count;
}

void OSTHealthKitManager::fetchHistoricalSets(const std::vector<NSInteger>& sets,
                                              OSTHistoricalFetchCompletion completion) {
  if (sets.empty()) {
    if (completion) completion(std::nullopt, historicalError("Historical sets not specified"));
    return;
  }
  const auto calendar = ost_gregorianCalendar();
  const NSDate today = startOfDay(*calendar, NSDate::date());
  const NSDate rangeStart =
      calendar->dateByAddingUnit(NSCalendarUnitMonth, -6, today, {}).value_or(today);

  // Every set is checked before anything is asked or fetched.
  HKSampleTypeSet types;
  for (const NSInteger set : sets) {
    if (set < OSTHealthKitHistoricalSetRoutine || set > OSTHealthKitHistoricalSetIntradaySteps) {
      if (completion) completion(std::nullopt, historicalError("Invalid historical set specified"));
      return;
    }
    const auto members = OSTHealthKitSubscription::sampleTypesForHistoricalSet(set);
    types.insert(members->begin(), members->end());
  }

  // One-shot: the engine stays alive until HealthKit has answered. The rest runs on the main
  // queue, where the engine's state and the session are touched, and where the completion is
  // promised.
  auto self = std::static_pointer_cast<OSTHealthKitManager>(shared_from_this());
  authorizeSubscriptions(types, [self, sets, today, rangeStart, completion](
                                    bool success, std::shared_ptr<const NSError> error) {
    dispatch_async(dispatch_get_main_queue(), [=] {
      if (!success) {
        if (completion) {
          completion(std::nullopt,
                     error
                         ? error
                         : historicalError("User cancelled authorization for Health sample types"));
        }
        return;
      }
      self->runHistoricalFetches(sets, today, rangeStart, completion);
    });
  });
}

void OSTHealthKitManager::runHistoricalFetches(const std::vector<NSInteger>& sets, NSDate today,
                                               NSDate rangeStart,
                                               const OSTHistoricalFetchCompletion& completion) {
  const auto task = OSTBackgroundTask::begin();
  const dispatch_group_t group = dispatch_group_create();
  const auto result = std::make_shared<OSTSynchronized<OSTFetchResult>>();
  // Each path's completion: merge under the result's lock, then leave.
  const OSTFetchCompletion merge = [result, group](const OSTFetchResult& partial) {
    result->withLock([&](auto& merged) { mergeHistoricalPartialResults(partial, merged); });
    dispatch_group_leave(group);
  };

  // The calls, gathered first so that the group counts every one of them and the final step is
  // registered before any query runs.
  std::vector<std::function<void()>> fetches;
  if (containsSet(sets, OSTHealthKitHistoricalSetRoutine)) {
    // Not narrowed to the subscriptions: a historical fetch covers the whole set.
    const auto members =
        OSTHealthKitSubscription::sampleTypesForHistoricalSet(OSTHealthKitHistoricalSetRoutine);
    const HKSampleTypeSet routineTypes(members->begin(), members->end());
    fetches.push_back([this, routineTypes, rangeStart, today, merge] {
      fetchRoutineForSampleTypes(routineTypes, rangeStart, today, true, merge);
    });
  }
  if (containsSet(sets, OSTHealthKitHistoricalSetFitness)) {
    // Samples ending from six months ago up to, not including, today's start.
    const auto predicate = NSPredicate::predicateWithFormat(
        "%K >= %@ AND %K < %@",
        {HKPredicateKeyPathEndDate, rangeStart, HKPredicateKeyPathEndDate, today});
    for (const auto& type :
         *OSTHealthKitSubscription::sampleTypesForHistoricalSet(OSTHealthKitHistoricalSetFitness)) {
      // No end date: it would only move the query date, which a historical fetch leaves alone.
      fetches.push_back([this, type, predicate, merge] {
        fetchSampleType(type, predicate, std::nullopt, true, nullptr, merge);
      });
    }
  }
  if (containsSet(sets, OSTHealthKitHistoricalSetIntradaySteps) && processIntraday()) {
    const auto calendar = ost_gregorianCalendar();
    NSDateComponents oneDay;
    oneDay.setDay(1);
    for (const NSDate dayStart : intradayDayStarts(*calendar, today)) {
      const NSDate dayEnd = calendar->dateByAddingComponents(oneDay, dayStart, {}).value_or(today);
      fetches.push_back([this, dayStart, dayEnd, merge] {
        fetchIntradayForStepsFromDate(dayStart, dayEnd, true, merge);
      });
    }
  }

  for (std::size_t i = 0; i < fetches.size(); ++i) dispatch_group_enter(group);
  // With no fetch (set 2 alone while intraday is off) this runs at once, with an empty result.
  dispatch_group_notify(group, dispatch_get_main_queue(), [task, result, completion] {
    // Called before the background task ends, so the host's work in it is still covered.
    if (completion) completion(result->copy(), nullptr);
    task->end();
  });
  for (const auto& fetch : fetches) fetch();
}
