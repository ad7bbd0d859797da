#pragma once

// Helpers of the record-conversion tests: simulator samples in the unit a writer chose, a writer's
// source, and reading a record's value by key path.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "Foundation/NSDictionary.h"
#include "HealthKit/HKCategorySample.h"
#include "HealthKit/HKQuantitySample.h"
#include "HealthKit/HKSource.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandCore/OSTRecord.h"
#include "OstrandHealthKit/OSTCachedValue.h"
#include "support/PlatformVersion.h"

namespace testing_support {

inline HKMetadata metadata(NSDictionary::Storage entries) {
  return NSDictionary::dictionaryWithDictionary(std::move(entries));
}

inline HKQuantitySample::Pointer measurement(const std::string& identifier, double value,
                                             const std::string& unit, NSDate start,
                                             HKMetadata extra = nullptr) {
  return HKQuantitySample::quantitySampleWithType(
      HKObjectType::quantityTypeForIdentifier(identifier),
      HKQuantity::quantityWithUnit(HKUnit::unitFromString(unit), value), start, start,
      std::move(extra));
}

inline HKCategorySample::Pointer categorySample(const std::string& identifier, long value,
                                                NSDate start, NSDate end,
                                                HKMetadata extra = nullptr) {
  return HKCategorySample::categorySampleWithType(
      HKObjectType::categoryTypeForIdentifier(identifier), value, start, end, std::move(extra));
}

// A property name or "extras.<key>"; nil when unset.
inline NSAny valueAt(const OSTRecord& record, const std::string& keyPath) {
  if (!keyPath.starts_with("extras.")) return record.valueForKey(keyPath);
  const auto entry = record.extras().find(keyPath.substr(7));
  return entry == record.extras().end() ? NSAny() : entry->second;
}

inline bool isEmpty(const OSTRecord& record) {
  return record.propertyValues().empty() && record.extras().empty();
}

// Objects made while it lives are written by this source, as if another app had made them.
struct WritingAs {
  WritingAs(std::string name, std::string bundle) {
    HKSource::setDefaultSource(HKSource::sourceWithName(std::move(name), std::move(bundle)));
  }
  ~WritingAs() { HKSource::setDefaultSource(nullptr); }
  WritingAs(const WritingAs&) = delete;
  WritingAs& operator=(const WritingAs&) = delete;
};

}  // namespace testing_support
