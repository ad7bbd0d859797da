// The routine fetch: a person's daily activity as one routine record per calendar day. Quantity
// types are summed per day by HealthKit (one statistics-collection query per type; steps twice,
// all steps and the hand-entered ones, so the record can tell them apart); category types (stand
// hours, mindful sessions) are fetched day by day with one sample query per day.
//
// Threads: the fetch is set up on the caller's thread (the main thread). The queries' handlers
// run on HealthKit's queues, possibly at the same time, and only append to the fetch's two
// result lists, each under its own mutex. The final step is registered on a dispatch group
// before any query runs and runs on the main queue once every handler has left the group:
// records are built, the notification posted, the records submitted and the fetch timestamp
// written there.

#include <mutex>
#include <utility>
#include <vector>

#include "Foundation/Dispatch.h"
#include "Foundation/NSCalendar.h"
#include "Foundation/NSComparisonPredicate.h"
#include "Foundation/NSCompoundPredicate.h"
#include "Foundation/NSDictionary.h"
#include "Foundation/NSNotificationCenter.h"
#include "HealthKit/HKMetadata.h"
#include "HealthKit/HKSample.h"
#include "HealthKit/HKSampleQuery.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandHealthKit/Categories/NSCalendar+Ostrand.h"
#include "OstrandHealthKit/Categories/OSTSession+HealthKit.h"
#include "OstrandHealthKit/Models/OSTRoutine+HealthKit.h"
#include "OstrandHealthKit/OSTBackgroundTask.h"
#include "OstrandHealthKit/OSTHealthKitManager.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"

namespace {

// The routine fetch runs at most once a minute, counted from the start of the last one.
constexpr NSTimeInterval kRoutineFetchInterval = 60.0;

NSDate startOfDay(NSDate date) {
  return ost_gregorianCalendar()->startOfDayForDate(date).value_or(date);
}

NSDateComponents oneDay() {
  NSDateComponents components;
  components.setDay(1);
  return components;
}

// Calls `visit` with 00:00:01 of each day after `after`'s 00:00:01 (for a day start: from that
// day on) whose 00:00:01 is before `before`, in order. One second past midnight is a point inside
// every day, however long the day is, so each day is visited exactly once; a day ending the range
// at its midnight is not visited.
void forEachDay(NSDate after, NSDate before, const std::function<void(NSDate day)>& visit) {
  NSDateComponents pastMidnight;
  pastMidnight.setHour(0);
  pastMidnight.setMinute(0);
  pastMidnight.setSecond(1);
  ost_gregorianCalendar()->enumerateDatesStartingAfterDate(
      after, pastMidnight, NSCalendarMatchNextTime,
      [&](std::optional<NSDate> date, bool, bool* stop) {
        if (!date || date->compare(before) != NSOrderedAscending) {
          *stop = true;
          return;
        }
        visit(*date);
      });
}

// What one fetch's queries found, appended from HealthKit's threads. Each list has its own
// mutex; no code holds both.
struct RoutineResults {
  std::mutex statisticsMutex;  // guards statistics
  std::vector<OSTDayStatistics> statistics;
  std::mutex categoryMutex;  // guards categorySamples
  std::vector<OSTDayCategorySamples> categorySamples;

  void appendStatistics(OSTDayStatistics days) {
    std::lock_guard lock(statisticsMutex);
    statistics.push_back(std::move(days));
  }
  void appendCategorySamples(OSTDayCategorySamples day) {
    std::lock_guard lock(categoryMutex);
    categorySamples.push_back(std::move(day));
  }
  // The records of everything found; the lists are taken one after the other.
  std::vector<std::shared_ptr<OSTRoutine>> records() {
    std::vector<OSTDayStatistics> allStatistics;
    {
      std::lock_guard lock(statisticsMutex);
      allStatistics = statistics;
    }
    std::vector<OSTDayCategorySamples> allCategorySamples;
    {
      std::lock_guard lock(categoryMutex);
      allCategorySamples = categorySamples;
    }
    return routineRecordsFromStatistics(allStatistics, allCategorySamples);
  }
};

// The samples of the query's range, those with an end date in [start, end): a day's statistics
// count the steps that ended in it.
std::shared_ptr<const NSPredicate> endDateRange(NSDate start, NSDate end) {
  return NSPredicate::predicateWithFormat(
      "%K >= %@ AND %K < %@", {HKPredicateKeyPathEndDate, start, HKPredicateKeyPathEndDate, end});
}

// The final step, on the main queue once every query has answered.
void finishRoutineFetch(OSTSession& session, RoutineResults& results, bool historical,
                        NSDate toDate, OSTBackgroundTask& task,
                        const OSTFetchCompletion& completion) {
  const auto routines = results.records();
  const NSUInteger count = routines.size();
  if (count > 0) {
    if (!historical) {
      NSNotificationCenter::defaultCenter().postNotificationName(
          kOSTHealthKitRecordsProcessedNotification, nullptr,
          NSDictionary::dictionaryWithDictionary(
              {{"recordType", static_cast<NSUInteger>(OSTRecordTypeRoutine)}, {"count", count}}));
    }
    const std::vector<std::shared_ptr<OSTRecord>> records(routines.begin(), routines.end());
    // The session keeps records it could not write, writes them with the next submission and
    // logs the failure itself.
    (void)session.submitRecords(records);
  }
  // The day before this one and this day are fetched again next time, so a day still running
  // is completed later.
  if (!historical) setRoutineFetchTimestamp(session, toDate);
  task.end();
  if (completion) completion({{OSTRecordTypeRoutine, count}});
}

}  // namespace

void OSTHealthKitManager::fetchLatestRoutine() {
  // A missing timestamp means no routine fetch is due (no routine type was ever subscribed).
  const auto queried = routineQueryTimestamp(*session_);
  if (!queried || !(queried->timeIntervalSinceDate(NSDate::date()) < -kRoutineFetchInterval)) {
    return;
  }
  const auto fetched = routineFetchTimestamp(*session_);
  if (!fetched) return;
  const NSDate firstDay = startOfDay(*fetched);
  const NSDate now = NSDate::date();
  // A fetch timestamp in a later day than now (the clock was put back) fetches nothing.
  if (firstDay.compare(now) != NSOrderedAscending) return;

  const auto routineTypes =
      OSTHealthKitSubscription::_sampleTypesForRecordType(OSTRecordTypeRoutine);
  HKSampleTypeSet types;
  for (const auto& type : subscriptions()) {
    if (routineTypes && routineTypes->contains(type)) types.insert(type);
  }
  fetchRoutineForSampleTypes(types, firstDay, now, false, nullptr);
}

void OSTHealthKitManager::fetchRoutineForSampleTypes(const HKSampleTypeSet& types, NSDate fromDate,
                                                     NSDate toDate, bool historical,
                                                     OSTFetchCompletion completion) {
  const auto task = OSTBackgroundTask::begin();
  // Written before any query starts, on the same thread as fetchLatestRoutine's guard, so a
  // second call within the minute is dropped.
  if (!historical) setRoutineQueryTimestamp(*session_, NSDate::date());

  // Every fetch also recomputes the whole day before `fromDate`'s day: its last hours may have
  // reached HealthKit late (a watch syncing after midnight).
  const NSDate fromDay = startOfDay(fromDate);
  const NSDate queryStart = ost_gregorianCalendar()
                                ->dateByAddingUnit(NSCalendarUnitDay, -1, fromDay, {})
                                .value_or(fromDay);
  const NSDateComponents interval = oneDay();

  auto results = std::make_shared<RoutineResults>();
  std::vector<std::shared_ptr<HKQuery>> queries;
  const dispatch_group_t group = dispatch_group_create();

  // A statistics query whose days, tagged with `source`, go to the statistics list.
  const auto statisticsQuery = [&](const std::shared_ptr<const HKQuantityType>& type,
                                   std::shared_ptr<const NSPredicate> predicate, NSInteger source) {
    dispatch_group_enter(group);
    queries.push_back(routineQueryForQuantityType(type, queryStart, toDate, std::move(predicate),
                                                  interval,
                                                  [results, group, source](OSTDayStatistics days) {
                                                    for (auto& [day, statistics] : days)
                                                      statistics.source = source;
                                                    results->appendStatistics(std::move(days));
                                                    dispatch_group_leave(group);
                                                  }));
  };

  for (const auto& type : types) {
    if (type->identifier() == HKQuantityTypeIdentifierStepCount) {
      // All steps, and the steps a person typed in: the record keeps the two apart.
      const auto steps = std::dynamic_pointer_cast<const HKQuantityType>(type);
      const auto range = endDateRange(queryStart, toDate);
      const auto userEntered = NSCompoundPredicate::andPredicateWithSubpredicates(
          {range, HKQuery::predicateForObjectsWithMetadataKey(
                      HKMetadataKeyWasUserEntered, NSEqualToPredicateOperatorType, true)});
      statisticsQuery(steps, range, OSTStatisticsSourceAll);
      statisticsQuery(steps, userEntered, OSTStatisticsSourceUserEntered);
    } else if (const auto category = std::dynamic_pointer_cast<const HKCategoryType>(type)) {
      // Category samples belong to the day they start in.
      forEachDay(queryStart, toDate, [&](NSDate day) {
        dispatch_group_enter(group);
        const NSDate dayStart = startOfDay(day);
        const NSDate dayEnd =
            ost_gregorianCalendar()->dateByAddingComponents(interval, dayStart, {}).value_or(day);
        const auto predicate = NSPredicate::predicateWithFormat(
            "%K >= %@ AND %K < %@ ",
            {HKPredicateKeyPathStartDate, dayStart, HKPredicateKeyPathStartDate, dayEnd});
        queries.push_back(std::make_shared<HKSampleQuery>(
            category, predicate, HKObjectQueryNoLimit,
            std::vector<std::shared_ptr<const NSSortDescriptor>>{},
            [results, group, dayStart](auto, std::vector<std::shared_ptr<const HKSample>> samples,
                                       auto) {
              if (!samples.empty())
                results->appendCategorySamples({{dayStart, std::move(samples)}});
              dispatch_group_leave(group);
            }));
      });
    } else if (const auto quantity = std::dynamic_pointer_cast<const HKQuantityType>(type)) {
      statisticsQuery(quantity, endDateRange(queryStart, toDate), OSTStatisticsSourceAll);
    }
    // Other kinds of type have no daily total.
  }

  // Registered before any query runs: with no query it runs at once (on the main queue).
  dispatch_group_notify(
      group, dispatch_get_main_queue(),
      [session = session_, results, historical, toDate, task, completion = std::move(completion)] {
        finishRoutineFetch(*session, *results, historical, toDate, *task, completion);
      });
  for (const auto& query : queries) store()->executeQuery(query);
}

std::shared_ptr<HKStatisticsCollectionQuery> OSTHealthKitManager::routineQueryForQuantityType(
    const std::shared_ptr<const HKQuantityType>& type, NSDate startDate, NSDate endDate,
    std::shared_ptr<const NSPredicate> predicate, const NSDateComponents& interval,
    DayStatisticsCompletion completion) {
  auto query = std::make_shared<HKStatisticsCollectionQuery>(
      type, std::move(predicate), HKStatisticsOptionCumulativeSum, startDate, interval);
  // The error is not examined: a failed query gives no days, and the fetch goes on with the
  // others.
  query->setInitialResultsHandler(
      [startDate, endDate, completion = std::move(completion)](
          auto, std::shared_ptr<const HKStatisticsCollection> collection, auto) {
        OSTDayStatistics days;
        if (collection) {
          forEachDay(startDate, endDate, [&](NSDate day) {
            // HealthKit answers every interval, empty ones with statistics without a sum; a day
            // without a total makes no record, so it is left out here.
            auto statistics = collection->statisticsForDate(day);
            if (statistics && statistics->sumQuantity()) {
              days[startOfDay(day)] = OSTTaggedStatistics{std::move(statistics)};
            }
          });
        }
        if (completion) completion(std::move(days));
      });
  return query;
}
