// The intraday steps fetch: the steps of every minute of a range, one OSTIntraDay record per
// source (the phone, the watch, an app), each holding only its own counts. HealthKit does the
// per-minute, per-source sums in one statistics-collection query over the whole range.
//
// Threads: the fetch is set up on the caller's thread (the main thread from the control path).
// The results handler runs on HealthKit's queue and does the rest there: the record table is
// its own, and the session calls it makes are thread-safe (OSTSession serialises submissions
// around its database, and its session data locks itself, so setting one timestamp from here
// cannot tear or race with the main thread's reads and writes of it).

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Foundation/NSCalendar.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "HealthKit/HKUnit.h"
#include "OstrandCore/OSTIntraDay.h"
#include "OstrandHealthKit/Categories/NSCalendar+Ostrand.h"
#include "OstrandHealthKit/Categories/OSTSession+HealthKit.h"
#include "OstrandHealthKit/Models/OSTRecord+HealthKit.h"
#include "OstrandHealthKit/OSTBackgroundTask.h"
#include "OstrandHealthKit/OSTHealthKitManager.h"

namespace {

// The intraday fetch runs at most once a minute, counted from the start of the last one.
constexpr NSTimeInterval kIntradayFetchInterval = 60.0;

// One record per source, by bundle identifier.
using IntradayRecordTable = std::map<std::string, std::shared_ptr<OSTIntraDay>>;

// The per-source minute counts of the intervals that start before `toDate`. The collection also
// answers the interval containing `toDate`, which starts at `toDate` when the range is whole
// minutes: it belongs to the next range, so that a range fetched day after day counts each
// minute in one day only. An interval without steps has no source and adds nothing; a minute
// the record cannot hold is left out (OSTRecord+HealthKit.h).
IntradayRecordTable intradayRecords(const HKStatisticsCollection& collection, NSDate fromDate,
                                    NSDate toDate) {
  IntradayRecordTable table;
  const auto count = HKUnit::countUnit();
  collection.enumerateStatisticsFromDate(
      fromDate, toDate, [&](std::shared_ptr<const HKStatistics> minute, bool* stop) {
        if (minute->startDate().compare(toDate) != NSOrderedAscending) {
          *stop = true;
          return;
        }
        for (const auto& source : minute->sources()) {
          auto& record = table[source->bundleIdentifier()];
          if (!record) {
            record = std::make_shared<OSTIntraDay>();
            setHealthKitSource(*record, *source);
            record->setDeviceSource(source->bundleIdentifier());
            record->setStart(fromDate);
            record->setEnd(toDate);
            record->setTimestamp(NSDate::date());
          }
          const auto sum = minute->sumQuantityForSource(*source);
          // A minute the record cannot hold (a sum that overflowed) is left out of the series.
          const double steps = sum ? sum->doubleValueForUnit(*count) : 0.0;
          if (sum && fitsRecordNumber(steps)) {
            record->addValue(steps, minute->startDate(), minute->endDate());
          }
        }
      });
  return table;
}

}  // namespace

void OSTHealthKitManager::fetchLatestIntraDaySteps() {
  // The guard comes first: a missing timestamp means no intraday fetch is due.
  const auto queried = intradayStepsQueryTimestamp(*session_);
  if (!queried || !(queried->timeIntervalSinceDate(NSDate::date()) < -kIntradayFetchInterval)) {
    return;
  }
  if (!processIntraday()) return;
  const auto fetched = intradayStepsFetchTimestamp(*session_);
  if (!fetched) return;
  // One hour back: the last minutes before the previous fetch ended may have reached HealthKit
  // late (a watch syncing), so they are fetched and sent again.
  const NSDate first =
      ost_gregorianCalendar()
          ->dateByAddingUnit(NSCalendarUnitHour, -1, *fetched, NSCalendarMatchFirst)
          .value_or(*fetched);
  const NSDate now = NSDate::date();
  if (first.compare(now) == NSOrderedAscending) {
    fetchIntradayForStepsFromDate(first, now, false, nullptr);
  }
}

void OSTHealthKitManager::fetchIntradayForStepsFromDate(NSDate fromDate, NSDate toDate,
                                                        bool historical,
                                                        OSTFetchCompletion completion) {
  const auto task = OSTBackgroundTask::begin();
  if (!historical) setIntradayStepsQueryTimestamp(*session_, NSDate::date());

  NSDateComponents oneMinute;
  oneMinute.setMinute(1);
  // No upper bound: the range is closed when the minutes are read.
  const auto predicate =
      NSPredicate::predicateWithFormat("%K >= %@", {HKPredicateKeyPathEndDate, fromDate});
  // Minutes counted from `fromDate`, summed per source.
  auto query = std::make_shared<HKStatisticsCollectionQuery>(
      HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierStepCount), predicate,
      HKStatisticsOptionCumulativeSum | HKStatisticsOptionSeparateBySource, fromDate, oneMinute);

  query->setInitialResultsHandler(
      [session = session_, task, fromDate, toDate, completion = std::move(completion)](
          auto, std::shared_ptr<const HKStatisticsCollection> collection, auto) {
        // A failed query moves nothing, so the next incremental fetch asks for the same range.
        if (collection) {
          const auto table = intradayRecords(*collection, fromDate, toDate);
          std::vector<std::shared_ptr<OSTRecord>> records;
          for (const auto& [bundleIdentifier, record] : table) records.push_back(record);
          // The session keeps records it could not write, writes them with the next
          // submission and logs the failure itself.
          (void)session->submitRecords(records);
          setIntradayStepsFetchTimestamp(*session, NSDate::date());
          if (completion) completion({{OSTRecordTypeIntraday, records.size()}});
        }
        task->end();
      });
  store()->executeQuery(query);
}
