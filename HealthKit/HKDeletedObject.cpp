#include "HealthKit/HKDeletedObject.h"

#include "HealthKit/HKObject.h"

HKDeletedObject::Pointer HKDeletedObject::deletedObjectWithUUID(
    const NSUUID& uuid, std::shared_ptr<const NSDictionary> metadata) {
  return Pointer(new HKDeletedObject(uuid, std::move(metadata)));
}

bool HKDeletedObject::isEqual(const NSObject& other) const {
  const auto* deleted = dynamic_cast<const HKDeletedObject*>(&other);
  return deleted != nullptr && deleted->uuid_ == uuid_;
}

NSAny HKDeletedObject::valueForKey(const std::string& key) const {
  if (key == HKPredicateKeyPathUUID) return uuid_.UUIDString();
  if (key == HKPredicateKeyPathMetadata) return metadata_;
  return NSObject::valueForKey(key);
}
