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
#include "OstrandCore/OSTRecordType.h"
#include "OstrandCore/OSTSession.h"
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
// Receives a fetch's result; runs once, on the main thread.
using OSTFetchCompletion = std::function<void(const OSTFetchResult& result)>;
// Receives a historical fetch's outcome, once, on the main thread: the result and nullptr, or
// std::nullopt and the error (never both, never neither).
using OSTHistoricalFetchCompletion = std::function<void(std::optional<OSTFetchResult> result,
                                                        std::shared_ptr<const NSError> error)>;
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
  // Started by the control path. Not yet implemented: each does nothing (predicateForType gives
  // no predicate), so a subscription installs its queries and fetches nothing. Virtual so a test
  // can see which the control path starts.

  // Fetches the daily-activity totals that are due. Returns at once.
  virtual void fetchLatestRoutine();
  // Fetches minute-by-minute step counts that are due, when processIntraday() is set.
  virtual void fetchLatestIntraDaySteps();
  // The predicate of the type's next anchored fetch: its samples from `fromDate` to `toDate`,
  // or with an anchor none; nullptr for no predicate.
  virtual std::shared_ptr<const NSPredicate> predicateForType(
      const OSTSampleTypePointer& type, std::optional<NSDate> fromDate,
      std::optional<NSDate> toDate, std::shared_ptr<const HKQueryAnchor> anchor);
  // Fetches the type's samples matching `predicate` after `anchor`, submits their records and
  // moves the query date to `endDate` (unless `historical`). `completion` (optional) runs on the
  // main queue.
  virtual void fetchSampleType(const OSTSampleTypePointer& type,
                               std::shared_ptr<const NSPredicate> predicate, NSDate endDate,
                               bool historical, std::shared_ptr<const HKQueryAnchor> anchor,
                               OSTFetchCompletion completion);

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

  // The daily-activity totals of `types` from the day before `fromDate` up to `toDate`; with
  // `historical` no timestamp moves. `completion` (optional) receives {OSTRecordTypeRoutine:
  // count} on the main queue.
  virtual void fetchRoutineForSampleTypes(const HKSampleTypeSet& types, NSDate fromDate,
                                          NSDate toDate, bool historical,
                                          OSTFetchCompletion completion);
  // Minute-by-minute step counts from `fromDate` to `toDate` per source; `completion` (optional)
  // receives {OSTRecordTypeIntraday: count} on HealthKit's thread, only when the query succeeded.
  virtual void fetchIntradayForStepsFromDate(NSDate fromDate, NSDate toDate, bool historical,
                                             OSTFetchCompletion completion);

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
