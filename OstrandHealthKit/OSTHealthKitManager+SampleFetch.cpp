// The engine's anchored sample fetch: the predicate of a fetch, the one-shot first fetch and the
// long-running anchored query with its update handler, turning a batch of samples into records,
// the query-date and anchor rules, heart rate attached to workouts, and the historical mode.

#include <algorithm>
#include <string>
#include <utility>

#include "Foundation/Dispatch.h"
#include "Foundation/NSDictionary.h"
#include "Foundation/NSNotificationCenter.h"
#include "HealthKit/HKSampleQuery.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandCore/OSTFitness.h"
#include "OstrandCore/OSTLog.h"
#include "OstrandHealthKit/Categories/HKWorkout+Ostrand.h"
#include "OstrandHealthKit/Categories/NSDate+Ostrand.h"
#include "OstrandHealthKit/Categories/OSTSession+HealthKit.h"
#include "OstrandHealthKit/Models/OSTRecord+HealthKit.h"
#include "OstrandHealthKit/OSTBackgroundTask.h"
#include "OstrandHealthKit/OSTHealthKitManager.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"

namespace {

using OSTSampleArray = std::vector<std::shared_ptr<const HKSample>>;
using OSTRecordArray = std::vector<std::shared_ptr<OSTRecord>>;

bool containsType(const OSTSampleTypeArray& types, const std::string& identifier) {
  return std::any_of(types.begin(), types.end(), [&](const OSTSampleTypePointer& type) {
    return type->identifier() == identifier;
  });
}

// A fetch result as the log prints it: "{6 = 2;}".
std::shared_ptr<const NSDictionary> resultDictionary(const OSTFetchResult& result) {
  NSDictionary::Storage entries;
  for (const auto& [recordType, count] : result) {
    entries[std::to_string(static_cast<NSUInteger>(recordType))] = NSAny(count);
  }
  return NSDictionary::dictionaryWithDictionary(std::move(entries));
}

// Everything the end of a batch needs, gathered on the main thread.
struct OSTBatch {
  OSTSampleTypePointer type;
  OSTRecordType recordType = OSTRecordTypeNone;
  OSTRecordArray records;
  std::shared_ptr<const HKQueryAnchor> newAnchor;
  // Stored as the type's query date, if set, once the batch went well.
  std::optional<NSDate> queryDate;
  bool historical = false;
  OSTFetchCompletion completion;
};

// The end of a batch, on the main thread. Unless historical, the query date is stored first,
// even for an empty batch: its window was read. Then the records are submitted; only when the
// session took them does the anchor move and the notification go out. A failed submission keeps
// the anchor, so a long-running query's samples come again (their records replace any copy: same
// kind and activity identifier); the session itself keeps the records and writes them before
// its next submission. The completion learns how many records were built.
void finishBatch(OSTSession& session, const OSTBatch& batch) {
  if (!batch.historical && batch.queryDate) {
    (void)setQueryDate(session, *batch.queryDate, batch.type);
  }
  const NSUInteger count = batch.records.size();
  if (count > 0) {
    // A refusal is logged by the session itself; the fetch only keeps the anchor.
    const bool taken = session.submitRecords(batch.records) == nullptr;
    if (taken && !batch.historical) {
      (void)setAnchor(session, batch.newAnchor, batch.type);
      NSNotificationCenter::defaultCenter().postNotificationName(
          kOSTHealthKitRecordsProcessedNotification, nullptr,
          NSDictionary::dictionaryWithDictionary(
              {{"recordType", NSAny(static_cast<NSUInteger>(batch.recordType))},
               {"count", NSAny(count)}}));
    }
  }
  if (batch.completion) batch.completion({{batch.recordType, count}});
}

}  // namespace

// --- Predicate ---

std::shared_ptr<const NSPredicate> OSTHealthKitManager::predicateForType(
    const OSTSampleTypePointer& type, std::optional<NSDate> fromDate, std::optional<NSDate> toDate,
    std::shared_ptr<const HKQueryAnchor> anchor) {
  std::vector<std::string> pieces;
  std::vector<NSAny> arguments;
  // A quantity sample inside a correlation (a blood pressure's systolic value) reaches the
  // outbox as part of the correlation's record, never on its own.
  if (std::dynamic_pointer_cast<const HKQuantityType>(type)) {
    pieces.emplace_back("%K == nil");
    arguments.emplace_back(HKPredicateKeyPathCorrelation);
  }
  // With an anchor the anchor alone decides what is new: a sample saved late with an old end
  // date must still come.
  if (fromDate && toDate && !anchor) {
    pieces.emplace_back("%K >= %@ AND %K < %@");
    arguments.insert(arguments.end(), {NSAny(HKPredicateKeyPathEndDate), NSAny(*fromDate),
                                       NSAny(HKPredicateKeyPathEndDate), NSAny(*toDate)});
  }
  if (pieces.empty()) return nullptr;
  std::string format = pieces.front();
  for (std::size_t i = 1; i < pieces.size(); ++i) format += " && " + pieces[i];
  return NSPredicate::predicateWithFormat(format, std::move(arguments));
}

// --- Fetch ---

void OSTHealthKitManager::fetchSampleType(const OSTSampleTypePointer& type,
                                          std::shared_ptr<const NSPredicate> predicate,
                                          std::optional<NSDate> endDate, bool historical,
                                          std::shared_ptr<const HKQueryAnchor> anchor,
                                          OSTFetchCompletion completion) {
  // The running query delivers the changes itself; a second one would submit them twice.
  if (!historical && anchorQueries()->contains(type)) return;

  const auto task = OSTBackgroundTask::begin();
  const char* const method = __func__;
  OSTFetchCompletion finished = [completion = std::move(completion), task,
                                 method](const OSTFetchResult& result) {
    if (completion) completion(result);
    OSTLog::log(OSTLog::Info, "%s Sample Objects recieved: %@", method, resultDictionary(result));
    task->end();
  };

  // Weakly: the engine may hold this query in anchorQueries.
  const auto weak = weakSelf();
  auto query = std::make_shared<HKAnchoredObjectQuery>(
      type, std::move(predicate), anchor, HKObjectQueryNoLimit,
      [weak, endDate, historical, task, finished = std::move(finished)](
          std::shared_ptr<HKAnchoredObjectQuery> running, OSTSampleArray samples, auto,
          std::shared_ptr<const HKQueryAnchor> newAnchor, std::shared_ptr<const NSError> error) {
        dispatch_async(dispatch_get_main_queue(), [=, samples = std::move(samples)] {
          const auto self = weak.lock();
          if (!self) {
            task->end();
            return;
          }
          const auto sampleType = running->sampleType();
          // The error is not examined beyond this: a failed query delivers no samples and is
          // finished like an empty batch, its query date moving to the end date. On a locked
          // iPhone (HealthKit error 6, "database inaccessible") a type without an anchor yet
          // therefore skips the window it could not read.
          if (error) {
            // HealthKit ends a query whose first results failed, update handler or not: forget
            // it, so the next wake starts a new one instead of waiting on a dead query.
            const auto held = self->anchorQueries()->find(sampleType);
            if (held != self->anchorQueries()->end() && held->second == running) {
              self->anchorQueries()->erase(held);
            }
          }
          self->parseSampleObjects(samples, sampleType, newAnchor, endDate, historical, finished);
        });
      });

  // A first fetch (no anchor) reads its window once; with an anchor the query stays and brings
  // every later change through its update handler.
  if (anchor && !historical) {
    query->setUpdateHandler([weak](std::shared_ptr<HKAnchoredObjectQuery> running,
                                   OSTSampleArray samples, auto,
                                   std::shared_ptr<const HKQueryAnchor> newAnchor, auto) {
      dispatch_async(dispatch_get_main_queue(), [=, samples = std::move(samples)] {
        const auto self = weak.lock();
        if (!self) return;
        const auto sampleType = running->sampleType();
        // An update that reaches the main queue after its query was stopped is dropped: the
        // anchor it would store was not stored, so the query that replaced this one (or the
        // next fetch) reads the same samples from the stored anchor. Taking both would submit
        // them twice.
        const auto held = self->anchorQueries()->find(sampleType);
        if (held == self->anchorQueries()->end() || held->second != running) return;
        // An update of a locked device carries an error and no samples; its anchor is kept (no
        // records), so the query's position is not lost.
        self->parseSampleObjects(samples, sampleType, newAnchor, NSDate::date(), false, nullptr);
      });
    });
    (*anchorQueries())[type] = query;
  }
  store()->executeQuery(query);
}

// --- Parse ---

void OSTHealthKitManager::parseSampleObjects(const OSTSampleArray& samples,
                                             const OSTSampleTypePointer& type,
                                             std::shared_ptr<const HKQueryAnchor> newAnchor,
                                             std::optional<NSDate> queryDate, bool historical,
                                             OSTFetchCompletion completion) {
  const OSTRecordType recordType = OSTHealthKitSubscription::recordTypeForSampleType(*type);
  OSTBatch batch{.type = type,
                 .recordType = recordType,
                 .records = recordsForHealthKitSamples(samples, recordType),
                 .newAnchor = std::move(newAnchor),
                 .queryDate = queryDate,
                 .historical = historical,
                 .completion = std::move(completion)};

  const auto subscribed = subscriptions();
  // The subscriptions are the key set of the query dates, so a fetch must never store a date
  // for a type that is not subscribed: that would subscribe it. It would happen when a fetch
  // ends after its type was unsubscribed, and for the food correlation, which gets an observer
  // (and so fetches) when it is the only subscription although that subscription stores no
  // query date.
  if (!containsType(subscribed, type->identifier())) batch.queryDate.reset();

  const bool attachHeartRate = !historical && !batch.records.empty() &&
                               type->identifier() == HKWorkoutTypeIdentifier &&
                               containsType(subscribed, HKQuantityTypeIdentifierHeartRate);
  if (!attachHeartRate) {
    finishBatch(*session_, batch);
    return;
  }

  // The heart-rate samples taken while one of the workouts was active. The records are made
  // and then left alone on this thread until the query's handler has filled them and moved
  // back here. One-shot: the engine is held until the batch is finished.
  auto self = std::static_pointer_cast<OSTHealthKitManager>(shared_from_this());
  auto query = std::make_shared<HKSampleQuery>(
      HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierHeartRate),
      predicateForWorkouts(samples), HKObjectQueryNoLimit,
      std::vector<std::shared_ptr<const NSSortDescriptor>>{},
      [self, batch = std::move(batch)](auto, OSTSampleArray heartRates, auto) {
        // A failed query (locked device) brings no samples: the workouts go without
        // heart-rate extras rather than not at all.
        attachHeartRateSamples(batch.records, heartRates);
        dispatch_async(dispatch_get_main_queue(),
                       [self, batch] { finishBatch(*self->session_, batch); });
      });
  store()->executeQuery(query);
}

// --- Heart rate during workouts ---

void OSTHealthKitManager::attachHeartRateSamples(const OSTRecordArray& records,
                                                 const OSTSampleArray& samples) {
  std::vector<OSTSampleArray> taken(records.size());
  for (const auto& sample : samples) {
    if (!sample) continue;
    for (std::size_t i = 0; i < records.size(); ++i) {
      const auto workout = std::dynamic_pointer_cast<const OSTFitness>(records[i]);
      // A workout whose duration its record could not hold has no end to look up to.
      if (!workout || !workout->startTime() || !workout->duration().isNumber()) continue;
      const NSDate start = *workout->startTime();
      const NSDate end = start.dateByAddingTimeInterval(workout->duration().doubleValue());
      // A sample inside two overlapping workouts counts for the first of them only.
      if (ost_dateIsBetweenDates(sample->startDate(), start, end)) {
        taken[i].push_back(sample);
        break;
      }
    }
  }
  for (std::size_t i = 0; i < records.size(); ++i) addHeartRateSamples(*records[i], taken[i]);
}
