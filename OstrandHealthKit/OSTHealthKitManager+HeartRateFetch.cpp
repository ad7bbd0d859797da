// The heart-rate summary fetch: one statistics query for heart rate (minimum, maximum and average
// per source and day) and, from iOS 11.0, one sample query each for resting heart rate and
// walking heart-rate average, joined by a dispatch group; then one biometrics record per source
// and day, announced and submitted on the main queue.

#include <algorithm>
#include <memory>
#include <vector>

#include "Foundation/Dispatch.h"
#include "Foundation/NSDictionary.h"
#include "Foundation/NSNotificationCenter.h"
#include "Foundation/NSPredicate.h"
#include "HealthKit/HKSample.h"
#include "HealthKit/HKSampleQuery.h"
#include "HealthKit/HKStatisticsCollectionQuery.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandHealthKit/Categories/NSCalendar+Ostrand.h"
#include "OstrandHealthKit/Categories/OSTSession+HealthKit.h"
#include "OstrandHealthKit/Models/OSTBiometrics+HealthKit.h"
#include "OstrandHealthKit/OSTBackgroundTask.h"
#include "OstrandHealthKit/OSTHealthKitManager.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"
#include "OstrandHealthKit/OSTSynchronized.h"

namespace {

// Separate by source, discrete average, minimum and maximum: each day's statistics carry the
// three values per source.
constexpr HKStatisticsOptions kHeartRateStatisticsOptions =
    HKStatisticsOptionSeparateBySource | HKStatisticsOptionDiscreteAverage |
    HKStatisticsOptionDiscreteMin | HKStatisticsOptionDiscreteMax;

NSDateComponents oneDay() {
  NSDateComponents day;
  day.setDay(1);
  return day;
}

// Matches one second into each day: a day's midnight may be skipped by a clock change, 00:00:01
// with "next time" still finds a moment of every day.
NSDateComponents dayProbe() {
  NSDateComponents probe;
  probe.setHour(0);
  probe.setMinute(0);
  probe.setSecond(1);
  return probe;
}

NSDate startOfDay(const NSCalendar& calendar, NSDate date) {
  return calendar.startOfDayForDate(date).value_or(date);
}

// The statistics of each day from `dayStart`'s up to `toDate` (excluded), under the day's start.
// Days are walked with the calendar, so a 23- or 25-hour day is one day.
OSTDayHeartRateStatistics statisticsPerDay(const HKStatisticsCollection& collection,
                                           const NSCalendar& calendar, NSDate dayStart,
                                           NSDate toDate) {
  OSTDayHeartRateStatistics perDay;
  calendar.enumerateDatesStartingAfterDate(
      dayStart, dayProbe(), NSCalendarMatchNextTime,
      [&](std::optional<NSDate> date, bool, bool* stop) {
        // An interval starting at or after toDate is not one of the fetched days.
        if (!date || date->compare(toDate) != NSOrderedAscending) {
          *stop = true;
          return;
        }
        if (auto statistics = collection.statisticsForDate(*date)) {
          perDay[startOfDay(calendar, *date)] = std::move(statistics);
        }
      });
  return perDay;
}

// Tells observers how many records of the kind are about to go, then hands them to the session
// (which keeps and logs a batch it cannot store).
void announceAndSubmit(OSTSession& session, OSTRecordType recordType,
                       const std::vector<std::shared_ptr<OSTRecord>>& records) {
  NSNotificationCenter::defaultCenter().postNotificationName(
      kOSTHealthKitRecordsProcessedNotification, nullptr,
      NSDictionary::dictionaryWithDictionary({{"recordType", static_cast<NSUInteger>(recordType)},
                                              {"count", static_cast<NSUInteger>(records.size())}}));
  (void)session.submitRecords(records);
}

}  // namespace

void OSTHealthKitManager::fetchHeartRateSamplesFromDate(NSDate fromDate, NSDate toDate) {
  // One-shot: every handler holds the engine until it has run.
  const auto self = std::static_pointer_cast<OSTHealthKitManager>(shared_from_this());
  const auto task = OSTBackgroundTask::begin();

  const auto calendar = ost_gregorianCalendar();
  const NSDate dayStart = startOfDay(*calendar, fromDate);
  // Samples count by their end date: [dayStart, toDate).
  const auto predicate = NSPredicate::predicateWithFormat(
      "%K >= %@ AND %K < %@",
      {HKPredicateKeyPathEndDate, dayStart, HKPredicateKeyPathEndDate, toDate});
  const auto statisticsResults =
      std::make_shared<OSTSynchronized<std::vector<OSTDayHeartRateStatistics>>>();
  const auto sampleResults =
      std::make_shared<OSTSynchronized<std::vector<std::shared_ptr<const HKSample>>>>();
  const dispatch_group_t group = dispatch_group_create();
  std::vector<std::shared_ptr<HKQuery>> queries;

  const auto heartRate = HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierHeartRate);
  const auto subscribed = subscriptions();
  if (std::find(subscribed.begin(), subscribed.end(), heartRate) != subscribed.end()) {
    dispatch_group_enter(group);
    auto query = std::make_shared<HKStatisticsCollectionQuery>(
        heartRate, predicate, kHeartRateStatisticsOptions, dayStart, oneDay());
    query->setInitialResultsHandler(
        [self, calendar, dayStart, toDate, heartRate, statisticsResults, group](
            auto, std::shared_ptr<const HKStatisticsCollection> collection, auto) {
          dispatch_async(dispatch_get_main_queue(), [=] {
            // Moved whether or not the query succeeded. A query that failed (a locked iPhone
            // answers every read with an error) therefore skips its days for good: this path
            // never asks for them again, and their heart-rate summaries are never sent.
            (void)setQueryDate(*self->session(), toDate, heartRate);
            if (collection) {
              auto perDay = statisticsPerDay(*collection, *calendar, dayStart, toDate);
              statisticsResults->withLock([&](auto& list) { list.push_back(std::move(perDay)); });
            }
            dispatch_group_leave(group);
          });
        });
    queries.push_back(std::move(query));
  }

  if (OSTPlatformIsAtLeastIOS11()) {
    // Both sample queries run whether or not their types are subscribed, and both types' query
    // dates move; only the statistics query above depends on the subscription.
    for (const auto& identifier : {HKQuantityTypeIdentifierRestingHeartRate,
                                   HKQuantityTypeIdentifierWalkingHeartRateAverage}) {
      const OSTSampleTypePointer type = HKObjectType::quantityTypeForIdentifier(identifier);
      dispatch_group_enter(group);
      queries.push_back(std::make_shared<HKSampleQuery>(
          type, predicate, HKObjectQueryNoLimit,
          std::vector<std::shared_ptr<const NSSortDescriptor>>{},
          [self, type, toDate, sampleResults, group](
              auto, std::vector<std::shared_ptr<const HKSample>> samples, auto) {
            sampleResults->withLock(
                [&](auto& list) { list.insert(list.end(), samples.begin(), samples.end()); });
            // Setting a query date also makes the type one of the stored subscriptions.
            dispatch_async(dispatch_get_main_queue(), [self, type, toDate] {
              (void)setQueryDate(*self->session(), toDate, type);
            });
            // The main queue runs in order: the query date is stored before the final step.
            dispatch_group_leave(group);
          }));
    }
  }

  dispatch_group_notify(
      group, dispatch_get_main_queue(), [self, task, statisticsResults, sampleResults] {
        const auto records =
            heartRateRecordsFromStatistics(statisticsResults->copy(), sampleResults->copy());
        if (!records.empty()) {
          announceAndSubmit(*self->session(), OSTRecordTypeBiometrics,
                            {records.begin(), records.end()});
        }
        task->end();
      });

  for (const auto& query : queries) store()->executeQuery(query);
}
