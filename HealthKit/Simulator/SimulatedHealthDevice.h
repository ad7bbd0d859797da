#pragma once

// platform::SimulatedHealthDevice: one simulated iPhone's health database and the state HealthKit
// keeps beside it: the apps' permissions, the user who answers permission prompts, background
// delivery, the Health app's source priorities and the queries running on the device.
//
// Every HKHealthStore belongs to one device, and all stores of a device share its data. The
// host app's stores (HKHealthStore()) use the current device; tests make a fresh device each and
// make it current, so tests never see each other's data and queries of an earlier test can never
// fire into a later one (stopAllQueries() ends them).
//
// Other apps write through storeForSource(): an iPhone and an Apple Watch both writing steps,
// say. Such apps are allowed everything; the host app's permissions come from the scripted user.
//
// Thread-safe. A device lives while a store, a running query or current() holds it.
//
//   auto device = platform::SimulatedHealthDevice::create();
//   platform::SimulatedHealthDevice::setCurrent(device);
//   device->user().setReadAllowed(heartRate, false);
//   auto watch = device->storeForSource(watchRevision);
//   watch->saveObjects(samples, nullptr);

#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Foundation/NSCalendar.h"
#include "Foundation/NSObject.h"
#include "Foundation/NSTimeZone.h"
#include "Foundation/NSUUID.h"
#include "HealthKit/HKHealthStore.h"
#include "HealthKit/Simulator/ScriptedHealthUser.h"

namespace platform {

namespace healthkit {
class DeviceState;
}

class SimulatedHealthDevice : public std::enable_shared_from_this<SimulatedHealthDevice> {
 public:
  // An empty device whose host app is HKSource::defaultSource().
  static std::shared_ptr<SimulatedHealthDevice> create();

  // The device HKHealthStore() uses; made on first use.
  static std::shared_ptr<SimulatedHealthDevice> current();
  // Makes `device` current; nullptr means a fresh device on the next current().
  static void setCurrent(std::shared_ptr<SimulatedHealthDevice> device);

  ~SimulatedHealthDevice();

  // --- Apps and the user ---

  // The host app, as the objects it saves record it.
  std::shared_ptr<const HKSourceRevision> hostAppRevision() const;
  // A store acting as another app on this device (all permissions granted).
  std::shared_ptr<HKHealthStore> storeForSource(std::shared_ptr<const HKSourceRevision> revision);

  ScriptedHealthUser& user();

  // The user changes the host app's permission in Settings; nullopt leaves that part alone.
  void setAuthorization(const std::shared_ptr<const HKObjectType>& type, std::optional<bool> read,
                        std::optional<bool> share);

  // --- How the Health app merges data ---

  // The type's data sources by bundle identifier, best first, as the user ordered them in the
  // Health app. Sources not listed come after, watches before other devices, then in the order
  // of their first save.
  void setSourcePriority(const std::shared_ptr<const HKObjectType>& type,
                         std::vector<std::string> bundleIdentifiers);

  // The calendar statistics intervals are laid out in: Gregorian, in the device's time zone
  // (the process's until set).
  std::shared_ptr<NSCalendar> calendar() const;
  void setTimeZone(std::shared_ptr<NSTimeZone> timeZone);

  // Samples ending before this are refused (default: distant past).
  NSDate earliestPermittedSampleDate() const;
  void setEarliestPermittedSampleDate(NSDate date);

  // Whether an observer query's update handler runs once right after execution, as it does on
  // an iPhone (default true).
  void setObserverQueriesFireOnExecute(bool fire);
  bool observerQueriesFireOnExecute() const;

  // --- The lock screen ---

  // While the iPhone is locked its health data is encrypted and no app can read it. Every read
  // fails with HKErrorDatabaseInaccessible (domain "com.apple.healthkit", code 6, "Protected
  // health data is inaccessible"), decided when the query runs on its worker queue:
  // - sample, anchored and statistics-collection queries deliver that error to their results
  //   (initial results) handler instead of data; such a query ends there, even one with an
  //   update handler, and the app runs a new one after unlock;
  // - a long-running anchored or statistics-collection query started before the lock gets the
  //   error in its update handler for each change it would have reported; an anchored query
  //   keeps its position, so after unlock its next update brings everything it missed;
  // - deleting fails with the error, as finding the objects needs the database.
  // What an iPhone still does while locked, the device does too:
  // - saving succeeds: the iPhone keeps such writes aside and moves them into the store at
  //   unlock; the device stores them at once (every read fails until unlock, so no query sees
  //   the difference; observer queries hear of them at once rather than at unlock);
  // - observer queries run and their update handlers are called without an error (they carry
  //   no data), including wakes in the background: an app woken on a locked iPhone learns that
  //   something changed and finds its reads failing;
  // - authorization and background-delivery settings work as usual.
  // A new device is unlocked.
  void lock();
  void unlock();
  bool isLocked() const;

  // --- What tests check ---

  // The host app's background delivery for the type, nullopt when not enabled.
  std::optional<HKUpdateFrequency> backgroundDeliveryFrequency(const HKObjectType& type) const;

  // One entry per observer-query update handler call, in order.
  struct ObserverInvocation {
    std::string typeIdentifier;
    bool inBackground = false;
    bool completionHandlerCalled = false;
    // When HealthKit called the handler, on the process's steady clock (not the simulated one).
    std::chrono::steady_clock::time_point calledAt;
  };
  std::vector<ObserverInvocation> observerInvocations() const;

  // The UUIDs of the objects the host app's sample and anchored queries have handed it, each
  // once however often it was read. Statistics hand over no objects.
  std::set<NSUUID> identifiersDeliveredToHostApp() const;

  // CPU time HealthKit's worker threads have spent answering this device's queries so far:
  // reading and filtering the database, sorting and computing statistics. Summed over threads,
  // so it can exceed the wall time; the apps' result handlers are not included.
  std::chrono::nanoseconds queryAnswerTime() const;

  // Queries executed on the device and neither stopped nor finished.
  std::size_t runningQueryCount() const;
  // Stops every query on the device, as stopQuery() does.
  void stopAllQueries();

  // --- For HKHealthStore and the queries ---
  healthkit::DeviceState& state() { return *state_; }

 private:
  SimulatedHealthDevice();

  std::unique_ptr<healthkit::DeviceState> state_;
  // Observes the app becoming active; removed when the device goes.
  std::shared_ptr<const NSObject> foregroundObserver_;
};

}  // namespace platform
