#pragma once

// HKHealthStore: an app's handle on the health database of the device it runs on.
//
// Every store made with HKHealthStore() belongs to the host app (HKSource::defaultSource()) on
// the current simulated device (platform::SimulatedHealthDevice::current()); stores on one
// device share its database, whichever app they act for. Tests and the demo put data in as
// another app would, through a store from SimulatedHealthDevice::storeForSource().
//
// Behaviour is HealthKit's:
// - Every completion and every query handler runs later on a worker thread: never inside the
//   call that started it and never on the main queue.
// - Saving needs share permission for the object's type; a batch is all or nothing; an object
//   whose UUID was ever saved is refused; afterwards the object's source revision is the saving
//   app's. An app may delete only the objects it saved; deletions leave HKDeletedObjects that
//   anchored queries report.
// - Reading is private: without read permission a type's queries see only what the app itself
//   saved (when it may share the type), or nothing, and report no error.
// - While the device is locked (SimulatedHealthDevice::lock()) protected data cannot be read:
//   queries and deletions fail with HKErrorDatabaseInaccessible; saves and observer queries
//   still work (the device's header says exactly what fails).
// - executeQuery() runs a query once; executing it again throws std::invalid_argument (HealthKit
//   raises). The store holds a running query, so the app need not. stopQuery() returns only when
//   none of the query's handlers runs any more: it waits for a handler running on another thread
//   to return (so a handler must not wait for the thread that stops its query). It may be called
//   from inside the query's own handler, and more than once.
//
// Thread-safe. A store keeps its device alive; queries keep their store's device alive until
// they are stopped or have finished.
//
//   auto store = std::make_shared<HKHealthStore>();
//   auto steps = HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierStepCount);
//   store->requestAuthorizationToShareTypes({}, {steps}, [](bool success, auto error) { ... });
//   store->executeQuery(std::make_shared<HKObserverQuery>(steps, nullptr,
//       [](auto query, HKObserverQueryCompletionHandler done, auto error) { done(); }));

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "Foundation/NSDate.h"
#include "Foundation/NSError.h"
#include "Foundation/NSPredicate.h"
#include "HealthKit/HKObject.h"
#include "HealthKit/HKObjectType.h"
#include "HealthKit/HKSource.h"

class HKQuery;

namespace platform {
class SimulatedHealthDevice;
}

enum HKAuthorizationStatus : long {
  HKAuthorizationStatusNotDetermined = 0,
  HKAuthorizationStatusSharingDenied = 1,
  HKAuthorizationStatusSharingAuthorized = 2,
};

enum HKUpdateFrequency : long {
  HKUpdateFrequencyImmediate = 1,
  HKUpdateFrequencyHourly = 2,
  HKUpdateFrequencyDaily = 3,
  HKUpdateFrequencyWeekly = 4,
};

// NSSet<HKSampleType *> and NSSet<HKObjectType *>: types compare by identifier.
using HKSampleTypeSet =
    std::unordered_set<std::shared_ptr<const HKSampleType>, HKObjectTypeHash, HKObjectTypeEqual>;
using HKObjectTypeSet =
    std::unordered_set<std::shared_ptr<const HKObjectType>, HKObjectTypeHash, HKObjectTypeEqual>;

class HKHealthStore : public NSObject {
 public:
  // (success, error or nullptr); runs once on a worker thread.
  using HKCompletion = std::function<void(bool success, std::shared_ptr<const NSError> error)>;
  // (success, number of objects deleted, error or nullptr); runs once on a worker thread.
  using HKDeleteCompletion = std::function<void(bool success, std::size_t deletedObjectCount,
                                                std::shared_ptr<const NSError> error)>;

  // The host app's store on the current simulated device.
  HKHealthStore();
  // A store acting as `source` (its revision) on `device`; see SimulatedHealthDevice.
  HKHealthStore(std::shared_ptr<platform::SimulatedHealthDevice> device,
                std::shared_ptr<const HKSourceRevision> sourceRevision);
  ~HKHealthStore() override;

  // True: the simulator always has health data.
  static bool isHealthDataAvailable() { return true; }

  // --- Authorization ---

  // Share (write) permission only: read permission is never revealed.
  HKAuthorizationStatus authorizationStatusForType(
      const std::shared_ptr<const HKObjectType>& type) const;

  // Asks the user (the device's scripted user) about every type not decided before. The
  // completion's success means the prompt completed (or was not needed), not that anything was
  // granted; it is false with an error when the user cancelled or the request failed. Correlation
  // types, and share types that are not sample types, throw std::invalid_argument (HealthKit
  // raises); asking for no type at all is an HKErrorInvalidArgument error.
  void requestAuthorizationToShareTypes(const HKSampleTypeSet& typesToShare,
                                        const HKObjectTypeSet& typesToRead,
                                        HKCompletion completion);

  // Samples ending before this date are refused.
  NSDate earliestPermittedSampleDate() const;

  // --- Saving and deleting ---

  void saveObject(const std::shared_ptr<const HKObject>& object, HKCompletion completion);
  void saveObjects(const std::vector<std::shared_ptr<const HKObject>>& objects,
                   HKCompletion completion);
  void deleteObject(const std::shared_ptr<const HKObject>& object, HKCompletion completion);
  void deleteObjects(const std::vector<std::shared_ptr<const HKObject>>& objects,
                     HKCompletion completion);
  // Deletes this app's objects of the type that match the predicate (nullptr: all of them).
  void deleteObjectsOfType(const std::shared_ptr<const HKObjectType>& objectType,
                           std::shared_ptr<const NSPredicate> predicate,
                           HKDeleteCompletion completion);

  // --- Queries ---

  void executeQuery(const std::shared_ptr<HKQuery>& query);
  void stopQuery(const std::shared_ptr<HKQuery>& query);

  // --- Background delivery ---

  // Lets the type's observer queries run while the application is in the background. Correlation
  // types are not supported (HKErrorInvalidArgument), nor is an unknown frequency.
  void enableBackgroundDeliveryForType(const std::shared_ptr<const HKObjectType>& type,
                                       HKUpdateFrequency frequency, HKCompletion completion);
  void disableBackgroundDeliveryForType(const std::shared_ptr<const HKObjectType>& type,
                                        HKCompletion completion);
  void disableAllBackgroundDeliveryWithCompletion(HKCompletion completion);

  // --- The simulator's own ---

  const std::shared_ptr<platform::SimulatedHealthDevice>& simulatedDevice() const {
    return device_;
  }
  // The app this store acts for, as its saved objects record it.
  const std::shared_ptr<const HKSourceRevision>& sourceRevision() const { return sourceRevision_; }

 private:
  // Runs `completion(success, error)` on a worker thread.
  static void complete(HKCompletion completion, std::shared_ptr<const NSError> error);
  const std::string& bundleIdentifier() const;
  // The error for the first object this app may not save or delete (`verb`), or nullptr.
  std::shared_ptr<const NSError> checkSharing(
      const std::vector<std::shared_ptr<const HKObject>>& objects, const char* verb) const;

  std::shared_ptr<platform::SimulatedHealthDevice> device_;
  std::shared_ptr<const HKSourceRevision> sourceRevision_;
};
