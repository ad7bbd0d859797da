#pragma once

// HKObjectAccess: what the store and the importer change on an object that applications cannot:
// its source revision (set to the saving application's on save) and its UUID (the importer
// derives stable UUIDs so that loading one export twice gives the same objects). Each returns a
// changed copy; the object itself stays as it was. Internal to HealthKit/.

#include <memory>

#include "HealthKit/HKObject.h"

struct HKObjectAccess {
  template <class T>
  static std::shared_ptr<const T> copyWithSourceRevision(const T& object,
                                                         HKSourceRevision::Pointer revision) {
    std::shared_ptr<HKObject> copy = static_cast<const HKObject&>(object).copyObject();
    copy->setSourceRevision(std::move(revision));
    return std::dynamic_pointer_cast<const T>(std::shared_ptr<const HKObject>(std::move(copy)));
  }

  template <class T>
  static std::shared_ptr<const T> copyWithUUID(const T& object, const NSUUID& uuid) {
    std::shared_ptr<HKObject> copy = static_cast<const HKObject&>(object).copyObject();
    copy->uuid_ = uuid;
    return std::dynamic_pointer_cast<const T>(std::shared_ptr<const HKObject>(std::move(copy)));
  }
};
