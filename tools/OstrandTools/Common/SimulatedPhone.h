#pragma once

// SimulatedPhone: the command as the host of a simulated iPhone running an app that links the
// library. It owns the clock (made the environment's), a fresh simulated device (made current),
// the app's core session on a database file and its sync engine, and walks the app through its
// life: subscribe, background, foreground, fetch. Every step drives the queues until idle, so
// when a call returns its work is done. On destruction queries stop, the session ends and the
// environment's defaults come back.
//
// Main thread only; one at a time per process.
//
//   SimulatedPhone phone(start);
//   if (auto error = phone.startSession("/tmp/demo.sqlite")) { ... }
//   phone.subscribeToEverything();
//   phone.enterBackground();  ... saves ...  phone.enterForeground();
//   phone.fetchLatestData();

#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "Foundation/Platform/ManualClock.h"
#include "HealthKit/Simulator/SimulatedHealthDevice.h"
#include "OstrandCore/OSTSession.h"
#include "OstrandHealthKit/OSTHealthKitManager.h"

namespace ostrand_tools {

class SimulatedPhone {
 public:
  explicit SimulatedPhone(NSDate now);
  ~SimulatedPhone();
  SimulatedPhone(const SimulatedPhone&) = delete;
  SimulatedPhone& operator=(const SimulatedPhone&) = delete;

  platform::ManualClock& clock() { return *clock_; }
  const std::shared_ptr<platform::SimulatedHealthDevice>& device() const { return device_; }
  const std::shared_ptr<OSTSession>& session() const { return session_; }

  // Sets the phone to `zone` (the environment's zone and HealthKit's calendar): the days the app
  // counts from then on are that zone's. Call before the app is installed.
  void setTimeZone(const std::shared_ptr<NSTimeZone>& zone);
  // Starts the app's session on the database at `path` (made when missing), or on `store` when
  // one is given (its path is `path`). An error when the database cannot be used.
  OSTStatus startSession(const std::string& path, std::unique_ptr<OSTStore> store = nullptr);
  // The sample types of every subscription set, in the sets' order.
  static OSTSampleTypeArray typesOfEverySubscriptionSet();
  // Subscribes to `types`; false when HealthKit did not answer.
  bool subscribe(const OSTSampleTypeArray& types);
  // Subscribes to every subscription set; false when HealthKit did not answer.
  bool subscribeToEverything();
  void enterBackground();
  void enterForeground();
  void fetchLatestData();
  // The historical fetch of every set (intraday steps are on from the start); the records
  // submitted per kind,
  // or the error's description.
  std::optional<OSTFetchResult> fetchHistory(std::string& error);

  // The app's life-cycle steps the commands share, each reporting a failure on `err`:
  // start the session on `databasePath` and subscribe to every set;
  bool install(const std::string& databasePath, std::ostream& err,
               std::unique_ptr<OSTStore> store = nullptr);
  // launch the app again on the database a killed run left: HealthKit is given back what it
  // remembers of the app (read permission and hourly background delivery for the stored
  // subscriptions), then the app starts its session, observes its stored subscriptions and
  // fetches the latest data;
  bool relaunch(const std::string& databasePath, std::ostream& err,
                std::unique_ptr<OSTStore> store = nullptr);
  // fetch the latest data, then the historical fetch of every set;
  bool fetchLatestAndHistory(std::ostream& out, std::ostream& err);
  // print what the outbox holds and where the database is (0, or 1 when it cannot be read).
  int reportOutbox(const std::string& databasePath, std::ostream& out, std::ostream& err);

  static void runUntilIdle();

 private:
  std::shared_ptr<platform::ManualClock> clock_;
  std::shared_ptr<platform::SimulatedHealthDevice> device_;
  std::shared_ptr<OSTSession> session_;
  std::shared_ptr<OSTHealthKitManager> engine_;
};

}  // namespace ostrand_tools
