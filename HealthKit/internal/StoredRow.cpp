#include "HealthKit/internal/StoredRow.h"

#include <bit>

#include "HealthKit/HKCategorySample.h"
#include "HealthKit/HKQuantitySample.h"
#include "HealthKit/internal/HKObjectAccess.h"

namespace platform::healthkit {

namespace {

// The parts every sample kept as numbers has.
StoredParts sampleParts(StoredParts::Kind kind, const HKSample& sample, const std::string* owner) {
  return StoredParts{kind,
                     owner,
                     sample.sampleType(),
                     nullptr,
                     sample.sourceRevision(),
                     sample.device(),
                     HKObjectAccess::packedMetadata(sample)};
}

}  // namespace

StoredRow StoredRow::of(const HKObject& object, const std::string* owner, std::uint64_t anchor,
                        PartsTable& table, bool& whole) {
  StoredRow row;
  row.uuid = object.UUID();
  row.anchor = anchor;
  const auto* sample = dynamic_cast<const HKSample*>(&object);
  if (sample == nullptr) {
    row.start = row.end = -std::numeric_limits<double>::infinity();
  } else {
    row.start = sample->startDate().timeIntervalSinceReferenceDate();
    row.end = sample->endDate().timeIntervalSinceReferenceDate();
  }
  // A sample inside a correlation leads to it; only a whole object can.
  const bool held = sample != nullptr && HKObjectAccess::correlationOf(*sample) != nullptr;
  StoredParts parts;
  parts.owner = owner;
  if (const auto* quantity = dynamic_cast<const HKQuantitySample*>(&object); quantity && !held) {
    parts = sampleParts(StoredParts::Kind::quantity, *quantity, owner);
    parts.unit = HKObjectAccess::unit(*quantity);
    row.value = std::bit_cast<std::uint64_t>(HKObjectAccess::value(*quantity));
  } else if (const auto* category = dynamic_cast<const HKCategorySample*>(&object);
             category && !held) {
    parts = sampleParts(StoredParts::Kind::category, *category, owner);
    row.value = static_cast<std::uint64_t>(static_cast<std::int64_t>(category->value()));
  }
  whole = parts.kind == StoredParts::Kind::whole;
  row.parts = table.intern(std::move(parts));
  return row;
}

std::shared_ptr<const HKObject> StoredRow::restore(const StoredParts& shared) const {
  const ObjectParts common{uuid, shared.sourceRevision, shared.device, shared.metadata};
  const NSDate startDate = NSDate::dateWithTimeIntervalSinceReferenceDate(start);
  const NSDate endDate = NSDate::dateWithTimeIntervalSinceReferenceDate(end);
  const std::uint64_t bits = value;  // a copy: the packed row's field may sit unaligned
  if (shared.kind == StoredParts::Kind::quantity) {
    return HKObjectAccess::restoreQuantitySample(common, shared.type, startDate, endDate,
                                                 shared.unit, std::bit_cast<double>(bits));
  }
  return HKObjectAccess::restoreCategorySample(common, shared.type, startDate, endDate,
                                               static_cast<long>(static_cast<std::int64_t>(bits)));
}

}  // namespace platform::healthkit
