#include "HealthKit/Simulator/PackedObjects.h"

#include "HealthKit/HKSample.h"
#include "HealthKit/internal/HKObjectAccess.h"

namespace platform {

PackedObjects::Packed PackedObjects::pack(const HKObject& object) {
  // A copy sharing its revision, device and metadata with equal ones packed before: the parts
  // table tells parts apart by identity, and a reader makes each object its own revision.
  const auto shared = HKObjectAccess::copyForStore(
      object, shared_.sourceRevision(object.sourceRevision()), shared_.device(object.device()),
      shared_.metadata(HKObjectAccess::packedMetadata(object)));
  bool whole = false;
  Packed packed = Packed::of(*shared, nullptr, nextWhole_, table_, whole);
  if (whole) whole_.emplace(nextWhole_++, shared);
  return packed;
}

std::shared_ptr<const HKObject> PackedObjects::unpack(const Packed& packed) {
  const auto& parts = table_.at(packed.parts);
  if (parts.kind != healthkit::StoredParts::Kind::whole) return packed.restore(parts);
  auto found = whole_.find(packed.anchor);
  if (found == whole_.end()) return nullptr;
  auto object = std::move(found->second);
  whole_.erase(found);
  return object;
}

const std::string& PackedObjects::typeIdentifier(const Packed& packed) const {
  const auto& parts = table_.at(packed.parts);
  if (parts.kind != healthkit::StoredParts::Kind::whole) return parts.type->identifier();
  return dynamic_cast<const HKSample&>(*whole_.at(packed.anchor)).sampleType()->identifier();
}

}  // namespace platform
