#pragma once

// OSTHealthKitManager: the sync engine, the one object through which the host application drives
// the library. It owns the HealthKit store and every long-running query the library starts,
// keeps subscriptions in step with HealthKit authorization, background delivery and observation,
// and decides per sample type which fetch to run when HealthKit reports new data.
//
// The engine keeps no subscription list of its own: the subscribed sample types are the key set
// of the query dates in its session's persisted session data, so they survive a relaunch. The
// queries do not; the host calls observeCurrentSubscriptions() at every launch to rebuild them.
//
// Threads: the engine's state (the query collections, the lazily made fields) and the session
// state it writes are touched on the main thread only. Every HealthKit callback that leads there
// hops to the main queue first; public operations other than sharedInstance() are to be called
// on the main thread. sharedInstance() is safe from any thread.
//
// Ownership: an engine is always held by std::shared_ptr (make_shared), as its callbacks find it
// through a weak reference. Handlers of the queries the engine keeps hold it weakly (the engine
// holds those queries, so a strong reference would be a cycle); one-shot callbacks (authorization)
// hold it strongly until they have run. The shared instance lives for the rest of the process.
//
//   auto engine = OSTHealthKitManager::sharedInstance();
//   engine->setSubscriptionsFromIdentifiers({"HKQuantityTypeIdentifierStepCount"}, [] { ... });
//   // at the next launch:
//   if (!engine->subscriptions().empty()) engine->observeCurrentSubscriptions();

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/NSDate.h"
#include "Foundation/NSError.h"
#include "Foundation/NSObject.h"
#include "Foundation/NSPredicate.h"
#include "HealthKit/HKAnchoredObjectQuery.h"
#include "HealthKit/HKHealthStore.h"
#include "HealthKit/HKObjectType.h"
#include "HealthKit/HKObserverQuery.h"
#include "HealthKit/HKQueryAnchor.h"
#include "HealthKit/HKStatisticsCollectionQuery.h"
#include "OstrandCore/OSTRecordType.h"
#include "OstrandCore/OSTSession.h"
#include "OstrandHealthKit/Categories/HKStatistics+Meta.h"
#include "OstrandHealthKit/Models/OSTSessionData+HealthKit.h"

// The framework's version, as Apple's framework template exports it.
extern const double OstrandHealthKitVersionNumber;
extern const unsigned char OstrandHealthKitVersionString[];

// Domain of every error the library makes itself (code 0, message under the localized
// description).
extern const std::string kOSTHealthKitErrorDomain;
// Posted on the default center after a batch of records went to the core session; user info
// "recordType" and "count".
extern const std::string kOSTHealthKitRecordsProcessedNotification;

// A fetch's result: records submitted per record kind.
using OSTFetchResult = std::map<OSTRecordType, NSUInteger>;
// Receives a fetch's result; runs once, on the main thread unless the fetch says otherwise.
using OSTFetchCompletion = std::function<void(const OSTFetchResult& result)>;
// Receives a historical fetch's outcome, once, on the main thread: the result and nullptr, or
// std::nullopt and the error (never both, never neither).
using OSTHistoricalFetchCompletion =
    std::function<void(std::optional<OSTFetchResult> result, std::shared_ptr<const NSError> error)>;
// Runs once when a subscription change is done (see setSubscriptions for the thread).
using OSTSubscriptionCompletion = std::function<void()>;
// (success, error or nullptr): HealthKit's answer to an authorization request, on HealthKit's
// thread.
using OSTAuthorizationCompletion = HKHealthStore::HKCompletion;

using OSTSampleTypeArray = std::vector<OSTSampleTypePointer>;
using OSTObserverQueryArray = std::vector<std::shared_ptr<HKObserverQuery>>;
// At most one query per sample type.
using OSTAnchoredQueryDictionary =
    std::map<OSTSampleTypePointer, std::shared_ptr<HKAnchoredObjectQuery>, OSTSampleTypeLess>;

class OSTHealthKitManager : public NSObject {
 public:
  // The process-wide engine, working with OSTSession::sharedInstance(). Made on the first call,
  // once, whichever threads ask at the same time; never destroyed.
  static std::shared_ptr<OSTHealthKitManager> sharedInstance();

  // An engine of its own working with `session`: for tests, which need an engine (and so a
  // store) per test, bound to that test's simulated device. Hosts use sharedInstance().
  explicit OSTHealthKitManager(std::shared_ptr<OSTSession> session);
  // Stops no query: the shared instance is never destroyed, and a test's device stops its own.
  ~OSTHealthKitManager() override;

  // --- State ---

  // When false (the default) intraday step counts are never fetched.
  bool processIntraday() const { return processIntraday_; }
  void setProcessIntraday(bool processIntraday) { processIntraday_ = processIntraday; }

  // The store every query runs on; made on first read (binding to the device current then).
  const std::shared_ptr<HKHealthStore>& store();
  void setStore(std::shared_ptr<HKHealthStore> store);
  // One observer query per subscribed type; made empty on first read.
  const std::shared_ptr<OSTObserverQueryArray>& observerQueries();
  void setObserverQueries(std::shared_ptr<OSTObserverQueryArray> observerQueries);
  // Long-running anchored queries of the sample fetch; made empty on first read.
  const std::shared_ptr<OSTAnchoredQueryDictionary>& anchorQueries();
  void setAnchorQueries(std::shared_ptr<OSTAnchoredQueryDictionary> anchorQueries);
  // Trigger queries that wake the routine fetch; made empty on first read.
  const std::shared_ptr<OSTAnchoredQueryDictionary>& routineAnchorQueries();
  void setRoutineAnchorQueries(std::shared_ptr<OSTAnchoredQueryDictionary> routineAnchorQueries);

  // The session whose data holds the subscriptions, anchors and query dates.
  const std::shared_ptr<OSTSession>& session() const { return session_; }

  // --- Entry points ---

  // Every type that has a stored query date, in no particular order: use it as a set.
  OSTSampleTypeArray subscriptions() const;
  // Rebuilds the observer queries and routine listeners of the stored subscriptions, stopping
  // any query still held. Asks for no authorization and changes nothing stored.
  void observeCurrentSubscriptions();
  // For each subscription in turn: stops its long-running anchored query, then fetches it
  // afresh from its stored anchor and query date.
  void fetchLatestData();
  // Stops and forgets the type's long-running anchored query, if there is one. Leaves the
  // routine listeners, the observers and the stored anchor and query date alone.
  void stopAnchorQueryForSampleType(const OSTSampleTypePointer& type);

  // --- Subscriptions ---

  // Subscribes to exactly `types` (an empty list ends every subscription): asks HealthKit for
  // read permission, gives each new type its first query date, enables hourly background
  // delivery and installs one observer per type. The blood-pressure correlation brings its
  // systolic and diastolic types with it; correlations are never sent for authorization.
  // `completion` (optional) runs once: on the main queue after authorization was answered, or
  // before this returns when there was nothing to authorize. A refused authorization is logged
  // and changes nothing stored.
  void setSubscriptions(const OSTSampleTypeArray& types, OSTSubscriptionCompletion completion);
  // The same with HealthKit identifier strings ("HKQuantityTypeIdentifierStepCount", or
  // "HKWorkoutType" for workouts). Throws std::invalid_argument for a string that names no type,
  // before anything changes.
  void setSubscriptionsFromIdentifiers(const std::vector<std::string>& identifiers,
                                       OSTSubscriptionCompletion completion);

  // --- Control path (public as the platform's methods are; the host needs none of them) ---

  // Asks HealthKit for permission to read `types` (and to write nothing). An error is written to
  // the system log; `completion` (optional) receives HealthKit's answer on HealthKit's thread.
  // Virtual so a test can answer in HealthKit's place.
  virtual void authorizeSubscriptions(const HKSampleTypeSet& types,
                                      OSTAuthorizationCompletion completion);
  // Disables all background delivery, then enables it hourly for each of `types`; a type
  // HealthKit refuses is written to the system log. (The name's spelling is kept as hosts know
  // it.)
  void updateBackgroundDeliveryForSubscriptons(const HKSampleTypeSet& types);
  // Stops every query the engine holds, then installs one observer per type of `types` and a
  // routine listener per daily-activity type.
  void updateObservationForSubscriptons(const HKSampleTypeSet& types);
  // Starts the trigger query that runs the routine fetch (and for steps the intraday fetch)
  // whenever samples of the daily-activity `type` ending since yesterday 00:00 change. Does
  // nothing when one runs for the type already.
  void listenToRoutineSampleType(const OSTSampleTypePointer& type);
  // Runs the fetch that suits the type: the routine fetch for daily-activity types (and the
  // intraday fetch for steps), the heart-rate fetch for whole past days of heart-rate types,
  // otherwise the anchored sample fetch from the stored anchor and query date.
  void fetchUpdatedDataForSampleType(const OSTSampleTypePointer& type);

  // --- Fetches ---
  //
  // Started by the control path and by the historical fetch. Virtual so a test can see which
  // fetches the control path starts.

  // -- Routine fetch: one routine record per calendar day of daily activity --
  //
  // Every fetch covers whole days: the day before `fromDate`'s day, that day and each later day
  // up to `toDate`; a day whose 00:00:01 is not before `toDate` is left out. Days are those of
  // ost_gregorianCalendar(). Records of days sent again replace the earlier ones (same activity
  // identifier), so the overlap of incremental fetches is safe.

  // Receives one statistics query's days (never absent; empty when the query failed).
  using DayStatisticsCompletion = std::function<void(OSTDayStatistics days)>;

  // The incremental fetch, at most once a minute: when routineQueryTimestamp is more than 60
  // seconds old and a routineFetchTimestamp is stored, fetches the subscribed daily-activity
  // types from the start of that timestamp's day to now. Without either timestamp, or within the
  // minute, does nothing (a call is dropped, not deferred). Call on the main thread; returns at
  // once.
  virtual void fetchLatestRoutine();
  // Fetches `types`' daily totals (quantity types; steps also as the hand-entered total) and
  // per-day samples (category types) and submits one routine record per day that has any.
  // Unless `historical`: routineQueryTimestamp is set to now before the queries start, the
  // records-processed notification is posted when there are records, and routineFetchTimestamp
  // becomes `toDate` when the fetch ends, whatever it found. A failed query contributes nothing;
  // the fetch always ends. `completion` (optional) receives {OSTRecordTypeRoutine: records} on
  // the main queue. Call on the main thread; runs under a background task.
  virtual void fetchRoutineForSampleTypes(const HKSampleTypeSet& types, NSDate fromDate,
                                          NSDate toDate, bool historical,
                                          OSTFetchCompletion completion);
  // A configured, not executed, cumulative-sum query of `type` with `predicate`, its intervals
  // `interval` long from `startDate` (a day start). Its results handler gives `completion` the
  // statistics of each day after `startDate`'s 00:00:01 and before `endDate`, under the day's
  // start, leaving out days without a total; `completion` runs on HealthKit's queue.
  std::shared_ptr<HKStatisticsCollectionQuery> routineQueryForQuantityType(
      const std::shared_ptr<const HKQuantityType>& type, NSDate startDate, NSDate endDate,
      std::shared_ptr<const NSPredicate> predicate, const NSDateComponents& interval,
      DayStatisticsCompletion completion);

  // -- Intraday fetch: minute-by-minute steps, one record per source --

  // The incremental fetch: when processIntraday() is set, intradayStepsQueryTimestamp is more
  // than 60 seconds old and an intradayStepsFetchTimestamp is stored, fetches from one hour
  // before that timestamp (those minutes are sent again) to now. Otherwise does nothing. Call on
  // the main thread; returns at once.
  virtual void fetchLatestIntraDaySteps();
  // Fetches the step counts of every minute from `fromDate` (minutes counted from it, so a
  // `fromDate` with seconds shifts them) up to `toDate` and submits one OSTIntraDay per source
  // that wrote steps in them; a minute that starts at or after `toDate` is not included, so
  // consecutive ranges never share a minute. Not gated by processIntraday(). Unless
  // `historical`, intradayStepsQueryTimestamp is set to now first. When HealthKit answers,
  // intradayStepsFetchTimestamp becomes the moment of the answer (historical or not) and
  // `completion` (optional) receives {OSTRecordTypeIntraday: records} on HealthKit's queue, not
  // the main thread. When the query fails nothing is submitted or moved and `completion` is
  // never called. Runs under a background task.
  virtual void fetchIntradayForStepsFromDate(NSDate fromDate, NSDate toDate, bool historical,
                                             OSTFetchCompletion completion);

  // -- Anchored sample fetch (every type that is neither daily activity nor heart rate) --
  //
  // Per type the session keeps an anchor and a query date. A first fetch (no anchor yet) reads
  // the samples ending in [query date, now) once. Once a batch with records was submitted its
  // anchor is stored, and every later fetch reads what was saved after the anchor, whatever its
  // dates, with a long-running query (held in anchorQueries()) that also delivers later saves.
  // The anchor moves only together with records the session accepted, so a failed submission
  // repeats records (which then replace themselves: same kind and activity identifier). The query
  // date moves at the end of every batch, also an empty or failed one. Historical fetches read a
  // window once and remember nothing.

  // The predicate of a fetch of `type`: quantity samples that are not part of a correlation
  // (their correlation's record has them), and, only without an anchor and with both dates,
  // samples whose end date lies in [fromDate, toDate). nullptr when neither applies (a category
  // or workout type with an anchor): no predicate.
  virtual std::shared_ptr<const NSPredicate> predicateForType(
      const OSTSampleTypePointer& type, std::optional<NSDate> fromDate,
      std::optional<NSDate> toDate, std::shared_ptr<const HKQueryAnchor> anchor);
  // Fetches the samples of `type` matching `predicate` that were saved after `anchor` (nullptr:
  // all), makes and submits their records, and (unless `historical`) stores `endDate` as the
  // type's query date (also when HealthKit reported an error) and the new anchor. Does nothing at
  // all, completion included, when not `historical` and a long-running query of the type runs
  // already: that query delivers the changes itself. With an anchor and not `historical` the
  // query becomes the type's long-running one. Runs under a background task. `endDate` may be
  // nullopt only when `historical`. `completion` (optional) runs once on the main queue with
  // {record kind: records built}; the line "fetchSampleType Sample Objects recieved: {kind =
  // count;}" is logged at level 2 after it.
  virtual void fetchSampleType(const OSTSampleTypePointer& type,
                               std::shared_ptr<const NSPredicate> predicate,
                               std::optional<NSDate> endDate, bool historical,
                               std::shared_ptr<const HKQueryAnchor> anchor,
                               OSTFetchCompletion completion);
  // Turns one batch of samples of `type` into records and hands them on. On the main thread.
  // Records are made in the samples' order (none for a type without a record kind); workouts get
  // the heart-rate samples taken during them when heart rate is subscribed and not `historical`
  // (read on HealthKit's thread). Unless `historical`: `queryDate` (nullopt: none) is stored as
  // the type's query date if the type is still subscribed; the records are submitted, and when
  // the session took them `newAnchor` is stored (nullptr keeps the old one) and
  // kOSTHealthKitRecordsProcessedNotification is posted with {"recordType", "count"}. A failed
  // submission is logged and keeps the anchor. `completion` (optional) gets {record kind: records
  // built}, 0 included.
  void parseSampleObjects(const std::vector<std::shared_ptr<const HKSample>>& samples,
                          const OSTSampleTypePointer& type,
                          std::shared_ptr<const HKQueryAnchor> newAnchor,
                          std::optional<NSDate> queryDate, bool historical,
                          OSTFetchCompletion completion);
  // Gives each heart-rate sample to the first of the workout records (in order) whose span, from
  // its startTime through startTime plus duration, both ends included, holds the sample's start,
  // then calls addHeartRateSamples on every record with its samples (possibly none). Records that
  // are not workouts' (OSTFitness) get none. Touches only the records given; any thread.
  static void attachHeartRateSamples(const std::vector<std::shared_ptr<OSTRecord>>& records,
                                     const std::vector<std::shared_ptr<const HKSample>>& samples);

  // -- Heart-rate summary --

  // Summarises heart rate for the whole days from `fromDate`'s day up to `toDate` (a day start,
  // excluded): one biometrics record per source and day with the day's minimum, maximum and
  // average heart rate (when heart rate is subscribed) and that day's resting and walking
  // heart rate (from iOS 11.0, always). Samples count by their end date. Returns at once; on the
  // main queue, once every query has answered, posts kOSTHealthKitRecordsProcessedNotification
  // with {"recordType": 1, "count": n} and then submits the records (neither when there are
  // none). Each queried type's query date moves to `toDate`, also when its query failed. Runs
  // under a background task. Call on the main thread.
  virtual void fetchHeartRateSamplesFromDate(NSDate fromDate, NSDate toDate);

  // -- Historical fetch --

  // Fetches past data of the historical sets (OSTHealthKitHistoricalSet: 0 six months of daily
  // activity, 1 six months of workouts, 2 the seven days before today minute by minute, only
  // while processIntraday() is set), after asking HealthKit for read permission on their types.
  // A set named twice is fetched once. Nothing stored moves (historical mode), except the
  // intraday fetch's own fetch timestamp; records are submitted as each path finishes.
  //
  // `completion` (optional) runs once, on the main thread: with the records submitted per kind
  // and nullptr, or with std::nullopt and an error:
  // - no set: "Historical sets not specified" (kOSTHealthKitErrorDomain, code 0);
  // - a number outside 0...2: "Invalid historical set specified" (same domain and code),
  //   before permission is asked and before anything is fetched;
  // - permission refused: HealthKit's error, or "User cancelled authorization for Health sample
  //   types" (same domain and code) when HealthKit gave none.
  // The two first come before this returns. A fetch path that never reports (an intraday day
  // whose query failed) keeps the completion from running; the background task then ends when
  // background time runs out. Call on the main thread.
  void fetchHistoricalSets(const std::vector<NSInteger>& sets,
                           OSTHistoricalFetchCompletion completion);
  // Adds each count of `partial` to the same kind's count in `result` (0 when absent); kinds
  // only `result` has stay. Takes no lock: callers hold the result's.
  static void mergeHistoricalPartialResults(const OSTFetchResult& partial, OSTFetchResult& result);

  std::string className() const override { return "OSTHealthKitManager"; }

 private:
  // The engine as callbacks reach it: weakly, so a query the engine holds does not keep it.
  std::weak_ptr<OSTHealthKitManager> weakSelf();
  // The rest of setSubscriptions once HealthKit answered, on the main queue; `method` names
  // setSubscriptions in the log.
  void finishSubscribing(const char* method, const OSTSampleTypeArray& requested,
                         const HKSampleTypeSet& types, bool success,
                         const std::shared_ptr<const NSError>& error,
                         const OSTSubscriptionCompletion& completion);
  // The query dates after subscribing to `types`: kept for known types, first dates for new
  // ones (whose anchors are dropped and whose routine timestamps are set).
  OSTQueryDateDictionary queryDatesForSubscriptions(const HKSampleTypeSet& types);
  // Both minute-step timestamps to `from`: the intraday fetch starts over from there.
  void restartIntradaySteps(NSDate from);
  // Stops every query of the three collections and empties them.
  void stopAllQueries();
  // A new observer query for the type, whose handler starts the type's fetch.
  std::shared_ptr<HKObserverQuery> observerQueryForSampleType(const OSTSampleTypePointer& type);
  // The historical fetch once permission was granted, on the main queue: starts the paths of
  // `sets` and calls `completion` when all of them have reported.
  void runHistoricalFetches(const std::vector<NSInteger>& sets, NSDate today, NSDate rangeStart,
                            const OSTHistoricalFetchCompletion& completion);

  const std::shared_ptr<OSTSession> session_;
  bool processIntraday_ = false;
  std::shared_ptr<HKHealthStore> store_;
  std::shared_ptr<OSTObserverQueryArray> observerQueries_;
  std::shared_ptr<OSTAnchoredQueryDictionary> anchorQueries_;
  std::shared_ptr<OSTAnchoredQueryDictionary> routineAnchorQueries_;
};
