#pragma once

// DeviceState: everything a simulated device keeps beside its database, for HKHealthStore and
// the queries: permissions, background delivery, the running queries, the device's serial work
// queue and the record of observer calls.
//
// Thread-safe: each group of fields has its own lock, named beside it, and no code holds two
// (the database's lock included): callers copy what they need under one lock and act outside it.
// Owned by SimulatedHealthDevice.

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Foundation/Dispatch.h"
#include "Foundation/NSCalendar.h"
#include "Foundation/NSError.h"
#include "Foundation/NSPredicate.h"
#include "Foundation/NSUUID.h"
#include "HealthKit/HKHealthStore.h"
#include "HealthKit/HKSample.h"
#include "HealthKit/Simulator/ScriptedHealthUser.h"
#include "HealthKit/Simulator/SimulatedHealthDevice.h"
#include "HealthKit/internal/HealthDatabase.h"
#include "HealthKit/internal/ReadAccess.h"
#include "HealthKit/internal/SharedParts.h"

class HKQuery;

namespace platform::healthkit {

class DeviceState {
 public:
  explicit DeviceState(std::shared_ptr<const HKSourceRevision> hostRevision);

  HealthDatabase& database() { return database_; }
  // The devices and metadata saved objects share.
  SharedParts& sharedParts() { return sharedParts_; }
  ScriptedHealthUser& user() { return user_; }
  // Saves, deletions and authorization requests run here, one at a time, in order.
  const dispatch_queue_t& workQueue() const { return workQueue_; }

  const std::shared_ptr<const HKSourceRevision>& hostRevision() const { return hostRevision_; }
  const std::string& hostBundle() const { return hostBundle_; }

  // --- Permissions (only the host app's are limited) ---

  using Permission = ReadAccess::Permission;
  Permission permission(const std::string& bundle, const HKObjectType& type) const;
  void setPermission(const HKObjectType& type, std::optional<bool> read, std::optional<bool> share);
  // The first type whose share permission `bundle` lacks to save or delete the object (a
  // correlation needs its members' types), or nullopt when it has them all.
  std::optional<std::string> typeNotShared(const std::string& bundle, const HKObject& object) const;
  // What `reader` may read as of now (see ReadAccess).
  std::shared_ptr<const ReadAccess> readAccess(const std::string& reader) const;
  // The objects matching `predicate` (nullptr: all) that the reader sees (ReadAccess::sees).
  // Queries that hand objects over show each through the same ReadAccess (ReadAccess::shown).
  static Filter readFilter(std::shared_ptr<const ReadAccess> access,
                           std::shared_ptr<const NSPredicate> predicate);
  Filter readFilter(const std::string& reader, std::shared_ptr<const NSPredicate> predicate) const {
    return readFilter(readAccess(reader), std::move(predicate));
  }

  // --- Background delivery ---

  void setBackgroundDelivery(const std::string& bundle, const std::string& typeIdentifier,
                             std::optional<HKUpdateFrequency> frequency);
  void disableAllBackgroundDelivery(const std::string& bundle);
  std::optional<HKUpdateFrequency> backgroundDelivery(const std::string& bundle,
                                                      const std::string& typeIdentifier) const;
  // Whether `change` (DatabaseChange::latestAnchor) may wake `bundle` in the background for the
  // type at `now`, at `frequency`: at most once per period of the clock (every change for
  // immediate; an hour; a day or a week of elapsed time, not calendar days). Observer queries
  // of the type that are told of the change that woke the app share that wake. Records the
  // wake when it allows one.
  bool admitBackgroundWake(const std::string& bundle, const std::string& typeIdentifier,
                           HKUpdateFrequency frequency, std::uint64_t change, NSDate now);

  // --- Settings ---

  std::shared_ptr<NSCalendar> calendar() const;
  void setTimeZone(std::shared_ptr<NSTimeZone> timeZone);
  NSDate earliestPermittedSampleDate() const;
  void setEarliestPermittedSampleDate(NSDate date);
  bool observerQueriesFireOnExecute() const;
  void setObserverQueriesFireOnExecute(bool fire);
  // The rank (0 best) of each source of the type in merged statistics.
  std::map<std::string, int> sourceRanks(const std::string& typeIdentifier) const;
  void setSourcePriority(const std::string& typeIdentifier, std::vector<std::string> bundles);

  // --- The device's lock ---

  bool isLocked() const { return locked_.load(); }
  void setLocked(bool locked) { locked_.store(locked); }
  // What a read of protected data fails with right now: HKErrorDatabaseInaccessible while the
  // device is locked, nullptr otherwise. Queries ask when they run, not when they were executed.
  std::shared_ptr<const NSError> readError() const;

  // --- Running queries ---

  void registerQuery(const std::shared_ptr<HKQuery>& query);
  void unregisterQuery(const HKQuery* query);
  std::vector<std::shared_ptr<HKQuery>> runningQueries() const;
  void stopAllQueries();
  // Tells every running query about a change (each on its own queue).
  void broadcast(const DatabaseChange& change) const;
  // Tells every running query that the app is back in the foreground (each on its own queue).
  void applicationDidBecomeActive() const;

  // --- Time spent answering queries (QueryAnswerTimer) ---

  void addQueryAnswerTime(std::chrono::nanoseconds time) { answerTime_ += time.count(); }
  std::chrono::nanoseconds queryAnswerTime() const {
    return std::chrono::nanoseconds(answerTime_.load());
  }

  // --- Observer calls ---

  // Records an update-handler call of `bundle`'s observer and returns the completion handler to
  // pass with it.
  std::function<void()> recordObserverInvocation(const std::string& bundle,
                                                 const std::string& typeIdentifier,
                                                 bool inBackground);
  // How many of the latest background calls for the type, in a row, the app never answered.
  int unansweredBackgroundInvocations(const std::string& bundle,
                                      const std::string& typeIdentifier) const;
  std::vector<SimulatedHealthDevice::ObserverInvocation> observerInvocations() const;

  // --- Objects handed to apps ---

  // Notes the objects that a sample or anchored query gave `reader`.
  void recordDelivery(const std::string& reader,
                      const std::vector<std::shared_ptr<const HKSample>>& samples);
  std::set<NSUUID> identifiersDeliveredToHostApp() const;

 private:
  const std::shared_ptr<const HKSourceRevision> hostRevision_;
  const std::string hostBundle_;
  HealthDatabase database_;
  SharedParts sharedParts_;
  ScriptedHealthUser user_;
  const dispatch_queue_t workQueue_;

  // Guards permissions_, hostAccess_ and backgroundDelivery_.
  mutable std::mutex permissionsMutex_;
  std::map<std::string, Permission> permissions_;  // host app's, by type identifier
  // What the host app reads as of permissions_, made again once they change.
  mutable std::shared_ptr<const ReadAccess> hostAccess_;
  std::map<std::pair<std::string, std::string>, HKUpdateFrequency> backgroundDelivery_;

  std::atomic<bool> locked_{false};          // the lock screen; atomic, so it needs no mutex
  std::atomic<std::int64_t> answerTime_{0};  // nanoseconds of CPU time; atomic, no mutex

  struct Wake {
    NSDate at;
    std::uint64_t change = 0;
  };
  std::mutex wakesMutex_;                                      // guards wakes_
  std::map<std::pair<std::string, std::string>, Wake> wakes_;  // the latest, by (bundle, type)

  // Every object handed to the host app, 16 bytes each: a list, sorted and cut back to one of
  // each whenever objects handed over again have doubled it.
  mutable std::mutex deliveriesMutex_;  // guards delivered_ and distinctDelivered_
  std::vector<NSUUID> delivered_;
  std::size_t distinctDelivered_ = 0;  // the list's length when it was last cut back

  mutable std::mutex settingsMutex_;  // guards calendar_, earliest_, fireOnExecute_, priorities_
  std::shared_ptr<NSCalendar> calendar_;
  NSDate earliest_ = NSDate::distantPast();
  bool fireOnExecute_ = true;
  std::map<std::string, std::vector<std::string>> priorities_;

  // Running queries are held here, as HealthKit holds them: an app need not keep a query it
  // executed. Released when the query stops or finishes.
  mutable std::mutex queriesMutex_;  // guards queries_
  std::vector<std::shared_ptr<HKQuery>> queries_;

  struct Invocation {
    std::string bundle;
    std::string typeIdentifier;
    bool inBackground;
    std::chrono::steady_clock::time_point calledAt;
    std::shared_ptr<std::atomic<bool>> completed;
  };
  mutable std::mutex invocationsMutex_;  // guards invocations_
  std::vector<Invocation> invocations_;
};

}  // namespace platform::healthkit
