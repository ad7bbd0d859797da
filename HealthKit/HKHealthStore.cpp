#include "HealthKit/HKHealthStore.h"

#include <stdexcept>

#include "Foundation/Dispatch.h"
#include "HealthKit/HKError.h"
#include "HealthKit/HKQuery.h"
#include "HealthKit/Simulator/SimulatedHealthDevice.h"
#include "HealthKit/internal/DeviceState.h"
#include "HealthKit/internal/HKObjectAccess.h"
#include "HealthKit/internal/PredicateDateBounds.h"
#include "HealthKit/internal/QueryExecution.h"

using platform::healthkit::DeviceState;
using platform::healthkit::makeHealthKitError;

namespace {

bool isCorrelationType(const HKObjectType& type) {
  return dynamic_cast<const HKCorrelationType*>(&type) != nullptr;
}

std::string typeIdentifierOf(const HKObject& object) {
  if (auto sample = dynamic_cast<const HKSample*>(&object))
    return sample->sampleType()->identifier();
  return "an object";
}

// "(object 2 of 3)" for batches, nothing for a single object.
std::string positionOf(std::size_t index, std::size_t count) {
  if (count == 1) return "";
  return " (object " + std::to_string(index + 1) + " of " + std::to_string(count) + ")";
}

void runOnWorker(dispatch_block_t block) {
  dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0), std::move(block));
}

}  // namespace

HKHealthStore::HKHealthStore()
    : HKHealthStore(platform::SimulatedHealthDevice::current(), nullptr) {}

HKHealthStore::HKHealthStore(std::shared_ptr<platform::SimulatedHealthDevice> device,
                             std::shared_ptr<const HKSourceRevision> sourceRevision)
    : device_(std::move(device)),
      sourceRevision_(sourceRevision ? std::move(sourceRevision) : device_->hostAppRevision()) {}

HKHealthStore::~HKHealthStore() = default;

const std::string& HKHealthStore::bundleIdentifier() const {
  return sourceRevision_->source()->bundleIdentifier();
}

void HKHealthStore::complete(HKCompletion completion, std::shared_ptr<const NSError> error) {
  if (!completion) return;
  runOnWorker([completion = std::move(completion), error = std::move(error)] {
    completion(error == nullptr, error);
  });
}

// --- Authorization ---

HKAuthorizationStatus HKHealthStore::authorizationStatusForType(
    const std::shared_ptr<const HKObjectType>& type) const {
  if (!type) throw std::invalid_argument("authorizationStatusForType: the type must not be null");
  const auto share = device_->state().permission(bundleIdentifier(), *type).share;
  if (!share) return HKAuthorizationStatusNotDetermined;
  return *share ? HKAuthorizationStatusSharingAuthorized : HKAuthorizationStatusSharingDenied;
}

void HKHealthStore::requestAuthorizationToShareTypes(const HKSampleTypeSet& typesToShare,
                                                     const HKObjectTypeSet& typesToRead,
                                                     HKCompletion completion) {
  for (const auto& type : typesToShare) {
    if (!type) throw std::invalid_argument("requestAuthorization: a type to share is null");
    if (isCorrelationType(*type)) {
      throw std::invalid_argument("Authorization to share the following types is disallowed: " +
                                  type->identifier());
    }
  }
  for (const auto& type : typesToRead) {
    if (!type) throw std::invalid_argument("requestAuthorization: a type to read is null");
    if (isCorrelationType(*type)) {
      throw std::invalid_argument("Authorization to read the following types is disallowed: " +
                                  type->identifier());
    }
  }
  auto device = device_;
  const std::string bundle = bundleIdentifier();
  dispatch_async(device->state().workQueue(), [device, bundle, typesToShare, typesToRead,
                                               completion = std::move(completion)] {
    DeviceState& state = device->state();
    if (typesToShare.empty() && typesToRead.empty()) {
      complete(completion, makeHealthKitError(HKErrorInvalidArgument,
                                              "Must request authorization for at least one data "
                                              "type"));
      return;
    }
    std::vector<std::shared_ptr<const HKObjectType>> undecidedShare, undecidedRead;
    for (const auto& type : typesToShare) {
      if (!state.permission(bundle, *type).share) undecidedShare.push_back(type);
    }
    for (const auto& type : typesToRead) {
      if (!state.permission(bundle, *type).read) undecidedRead.push_back(type);
    }
    if (undecidedShare.empty() && undecidedRead.empty()) {
      complete(completion, nullptr);  // nothing to ask: the prompt is not shown
      return;
    }
    const auto prompt = state.user().showPrompt();
    switch (prompt.outcome) {
      case platform::ScriptedHealthUser::PromptOutcome::kCancelled:
        complete(completion,
                 makeHealthKitError(HKErrorUserCanceled, "Authorization request canceled"));
        return;
      case platform::ScriptedHealthUser::PromptOutcome::kFailed:
        complete(completion,
                 prompt.error ? prompt.error
                              : makeHealthKitError(HKUnknownError, "Authorization request failed"));
        return;
      case platform::ScriptedHealthUser::PromptOutcome::kAnswered:
        break;
    }
    for (const auto& type : undecidedShare) {
      state.setPermission(*type, std::nullopt, state.user().allowsSharing(*type));
    }
    for (const auto& type : undecidedRead) {
      state.setPermission(*type, state.user().allowsReading(*type), std::nullopt);
    }
    complete(completion, nullptr);
  });
}

NSDate HKHealthStore::earliestPermittedSampleDate() const {
  return device_->earliestPermittedSampleDate();
}

// --- Saving and deleting ---

std::shared_ptr<const NSError> HKHealthStore::checkSharing(
    const std::vector<std::shared_ptr<const HKObject>>& objects, const char* verb) const {
  DeviceState& state = device_->state();
  for (std::size_t i = 0; i < objects.size(); ++i) {
    const auto type = state.typeNotShared(bundleIdentifier(), *objects[i]);
    if (!type) continue;
    const auto share =
        state.permission(bundleIdentifier(), *HKObjectType::typeForIdentifier(*type)).share;
    if (!share) {
      return makeHealthKitError(HKErrorAuthorizationNotDetermined,
                                std::string("Authorization is not determined to ") + verb + " " +
                                    *type + positionOf(i, objects.size()));
    }
    return makeHealthKitError(
        HKErrorAuthorizationDenied,
        std::string("Not authorized to ") + verb + " " + *type + positionOf(i, objects.size()));
  }
  return nullptr;
}

void HKHealthStore::saveObject(const std::shared_ptr<const HKObject>& object,
                               HKCompletion completion) {
  saveObjects({object}, std::move(completion));
}

void HKHealthStore::saveObjects(const std::vector<std::shared_ptr<const HKObject>>& objects,
                                HKCompletion completion) {
  for (std::size_t i = 0; i < objects.size(); ++i) {
    if (!objects[i]) {
      throw std::invalid_argument("saveObjects: object " + std::to_string(i + 1) + " of " +
                                  std::to_string(objects.size()) + " is null");
    }
  }
  auto self = std::static_pointer_cast<const HKHealthStore>(shared_from_this());
  dispatch_async(device_->state().workQueue(), [self, objects, completion = std::move(completion)] {
    DeviceState& state = self->device_->state();
    if (auto error = self->checkSharing(objects, "share")) {
      complete(completion, error);
      return;
    }
    const NSDate earliest = state.earliestPermittedSampleDate();
    for (std::size_t i = 0; i < objects.size(); ++i) {
      auto sample = std::dynamic_pointer_cast<const HKSample>(objects[i]);
      if (sample && sample->endDate() < earliest) {
        complete(completion,
                 makeHealthKitError(HKErrorInvalidArgument,
                                    "The " + typeIdentifierOf(*sample) + " sample ends at " +
                                        sample->endDate().description() +
                                        ", before the earliest permitted sample date " +
                                        earliest.description() + positionOf(i, objects.size())));
        return;
      }
    }
    // What is stored is a copy that records this app as its source and shares its device and
    // metadata with the objects that have equal ones; the caller's object stays.
    std::vector<std::shared_ptr<const HKObject>> stamped;
    stamped.reserve(objects.size());
    for (const auto& object : objects) {
      stamped.push_back(HKObjectAccess::copyForStore(
          *object, self->sourceRevision_, state.sharedParts().device(object->device()),
          state.sharedParts().metadata(HKObjectAccess::packedMetadata(*object))));
    }
    auto result = state.database().insert(stamped, self->bundleIdentifier());
    if (result.failure) {
      complete(completion, makeHealthKitError(HKErrorInvalidArgument, *result.failure));
      return;
    }
    state.broadcast(result.change);
    complete(completion, nullptr);
  });
}

void HKHealthStore::deleteObject(const std::shared_ptr<const HKObject>& object,
                                 HKCompletion completion) {
  deleteObjects({object}, std::move(completion));
}

void HKHealthStore::deleteObjects(const std::vector<std::shared_ptr<const HKObject>>& objects,
                                  HKCompletion completion) {
  for (std::size_t i = 0; i < objects.size(); ++i) {
    if (!objects[i]) {
      throw std::invalid_argument("deleteObjects: object " + std::to_string(i + 1) + " of " +
                                  std::to_string(objects.size()) + " is null");
    }
  }
  auto self = std::static_pointer_cast<const HKHealthStore>(shared_from_this());
  dispatch_async(device_->state().workQueue(), [self, objects, completion = std::move(completion)] {
    DeviceState& state = self->device_->state();
    if (auto error = state.readError()) {  // locked: the objects cannot be looked up
      complete(completion, error);
      return;
    }
    if (auto error = self->checkSharing(objects, "delete")) {
      complete(completion, error);
      return;
    }
    auto result = state.database().remove(objects, self->bundleIdentifier());
    if (result.failure) {
      complete(completion, makeHealthKitError(result.notOwned ? HKErrorAuthorizationDenied
                                                              : HKErrorInvalidArgument,
                                              *result.failure));
      return;
    }
    state.broadcast(result.change);
    complete(completion, nullptr);
  });
}

void HKHealthStore::deleteObjectsOfType(const std::shared_ptr<const HKObjectType>& objectType,
                                        std::shared_ptr<const NSPredicate> predicate,
                                        HKDeleteCompletion completion) {
  if (!objectType) throw std::invalid_argument("deleteObjectsOfType: the type must not be null");
  auto self = std::static_pointer_cast<const HKHealthStore>(shared_from_this());
  dispatch_async(device_->state().workQueue(), [self, objectType, predicate,
                                                completion = std::move(completion)] {
    DeviceState& state = self->device_->state();
    auto finish = [&completion](std::size_t count, std::shared_ptr<const NSError> error) {
      if (!completion) return;
      runOnWorker([completion, count, error] { completion(error == nullptr, count, error); });
    };
    if (auto error = state.readError()) {  // locked: the objects cannot be looked up
      finish(0, error);
      return;
    }
    const std::string& bundle = self->bundleIdentifier();
    // A correlation type is never granted itself (asking for it raises): its objects are
    // governed by their members' types, checked per object below as deleteObjects() does.
    if (!isCorrelationType(*objectType)) {
      const auto share = state.permission(bundle, *objectType).share;
      if (share != true) {
        finish(0, makeHealthKitError(
                      share ? HKErrorAuthorizationDenied : HKErrorAuthorizationNotDetermined,
                      "Not authorized to delete " + objectType->identifier()));
        return;
      }
    }
    const auto ownMatching = [&](const HKObject& object, const std::string& owner) {
      return owner == bundle && (!predicate || predicate->evaluateWithObject(object));
    };
    std::vector<std::shared_ptr<const HKObject>> doomed;
    try {
      for (const auto& stored :
           state.database().objects(objectType->identifier(),
                                    platform::healthkit::dateBoundsOf(predicate), ownMatching)) {
        doomed.push_back(stored.object);
      }
    } catch (const std::exception& error) {
      finish(0, makeHealthKitError(HKErrorInvalidArgument, error.what()));
      return;
    }
    if (auto error = self->checkSharing(doomed, "delete")) {
      finish(0, error);
      return;
    }
    // Cannot fail: the objects were just found, are the app's own, and only this queue writes.
    auto result = state.database().remove(doomed, bundle);
    state.broadcast(result.change);
    finish(result.change.deleted.size(), nullptr);
  });
}

// --- Queries ---

void HKHealthStore::executeQuery(const std::shared_ptr<HKQuery>& query) {
  if (!query) throw std::invalid_argument("executeQuery: the query must not be null");
  auto execution =
      std::make_shared<platform::healthkit::QueryExecution>(platform::healthkit::QueryExecution{
          device_, bundleIdentifier(),
          dispatch_queue_create("com.apple.healthkit.query", DISPATCH_QUEUE_SERIAL)});
  query->execute(std::move(execution));
}

void HKHealthStore::stopQuery(const std::shared_ptr<HKQuery>& query) {
  if (query) query->stop();
}

// --- Background delivery ---

void HKHealthStore::enableBackgroundDeliveryForType(const std::shared_ptr<const HKObjectType>& type,
                                                    HKUpdateFrequency frequency,
                                                    HKCompletion completion) {
  if (!type) throw std::invalid_argument("enableBackgroundDeliveryForType: the type is null");
  auto device = device_;
  const std::string bundle = bundleIdentifier();
  dispatch_async(device->state().workQueue(), [device, bundle, type, frequency,
                                               completion = std::move(completion)] {
    if (isCorrelationType(*type)) {
      complete(completion, makeHealthKitError(
                               HKErrorInvalidArgument,
                               "Background delivery is not supported for " + type->identifier()));
      return;
    }
    if (frequency < HKUpdateFrequencyImmediate || frequency > HKUpdateFrequencyWeekly) {
      complete(completion, makeHealthKitError(HKErrorInvalidArgument,
                                              "Invalid update frequency " +
                                                  std::to_string(static_cast<long>(frequency))));
      return;
    }
    device->state().setBackgroundDelivery(bundle, type->identifier(), frequency);
    complete(completion, nullptr);
  });
}

void HKHealthStore::disableBackgroundDeliveryForType(
    const std::shared_ptr<const HKObjectType>& type, HKCompletion completion) {
  if (!type) throw std::invalid_argument("disableBackgroundDeliveryForType: the type is null");
  auto device = device_;
  const std::string bundle = bundleIdentifier();
  dispatch_async(device->state().workQueue(),
                 [device, bundle, type, completion = std::move(completion)] {
                   device->state().setBackgroundDelivery(bundle, type->identifier(), std::nullopt);
                   complete(completion, nullptr);
                 });
}

void HKHealthStore::disableAllBackgroundDeliveryWithCompletion(HKCompletion completion) {
  auto device = device_;
  const std::string bundle = bundleIdentifier();
  dispatch_async(device->state().workQueue(), [device, bundle, completion = std::move(completion)] {
    device->state().disableAllBackgroundDelivery(bundle);
    complete(completion, nullptr);
  });
}
