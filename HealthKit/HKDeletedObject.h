#pragma once

// HKDeletedObject: what an anchored object query reports for an object deleted from the store:
// its UUID and the metadata it had.
//
// Immutable and shared; safe to use from any thread. Equal by UUID. Only the store makes them.
//
// Key paths for predicates: "UUID" (the UUID string) and "metadata".

#include <cstddef>
#include <memory>
#include <string>

#include "Foundation/NSDictionary.h"
#include "Foundation/NSObject.h"
#include "Foundation/NSUUID.h"

class HKDeletedObject : public NSObject {
 public:
  using Pointer = std::shared_ptr<const HKDeletedObject>;

  const NSUUID& UUID() const { return uuid_; }
  // The deleted object's metadata, or nullptr.
  const std::shared_ptr<const NSDictionary>& metadata() const { return metadata_; }

  bool isEqual(const NSObject& other) const override;
  std::size_t hash() const override { return std::hash<NSUUID>{}(uuid_); }
  std::string description() const override {
    return "<HKDeletedObject " + uuid_.UUIDString() + ">";
  }
  std::string className() const override { return "HKDeletedObject"; }
  NSAny valueForKey(const std::string& key) const override;

  // --- For the simulator's store (HealthKit makes these itself) ---
  static Pointer deletedObjectWithUUID(const NSUUID& uuid,
                                       std::shared_ptr<const NSDictionary> metadata);

 private:
  HKDeletedObject(const NSUUID& uuid, std::shared_ptr<const NSDictionary> metadata)
      : uuid_(uuid), metadata_(std::move(metadata)) {}

  NSUUID uuid_;
  std::shared_ptr<const NSDictionary> metadata_;
};
