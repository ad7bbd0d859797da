// HKQuery's predicate factories: NSPredicates over the key paths samples answer.

#include <stdexcept>

#include "Foundation/NSArray.h"
#include "Foundation/NSComparisonPredicate.h"
#include "Foundation/NSCompoundPredicate.h"
#include "HealthKit/HKCategorySample.h"
#include "HealthKit/HKObject.h"
#include "HealthKit/HKQuantitySample.h"
#include "HealthKit/HKQuery.h"
#include "HealthKit/HKSample.h"

namespace {

std::shared_ptr<const NSPredicate> allOf(std::vector<std::shared_ptr<const NSPredicate>> parts) {
  if (parts.empty()) return NSPredicate::predicateWithValue(true);
  if (parts.size() == 1) return parts.front();
  return NSCompoundPredicate::andPredicateWithSubpredicates(std::move(parts));
}

std::shared_ptr<const NSPredicate> comparison(const std::string& keyPath,
                                              NSPredicateOperatorType type, NSAny value) {
  return NSComparisonPredicate::predicateWithKeyPath(keyPath, type, std::move(value));
}

std::string metadataKeyPath(const std::string& key) {
  if (key.empty()) throw std::invalid_argument("HKQuery: the metadata key must not be empty");
  return HKPredicateKeyPathMetadata + "." + key;
}

}  // namespace

std::shared_ptr<const NSPredicate> HKQuery::predicateForSamplesWithStartDate(
    std::optional<NSDate> startDate, std::optional<NSDate> endDate, HKQueryOptions options) {
  const bool strictStart = options & HKQueryOptionStrictStartDate;
  const bool strictEnd = options & HKQueryOptionStrictEndDate;
  std::vector<std::shared_ptr<const NSPredicate>> parts;
  // Without options any overlap counts: the sample ends at or after the start and starts before
  // the end. A strict date must itself lie in [start, end).
  if (startDate) {
    if (strictStart) {
      parts.push_back(comparison(HKPredicateKeyPathStartDate,
                                 NSGreaterThanOrEqualToPredicateOperatorType, *startDate));
    }
    if (strictEnd || !strictStart) {
      parts.push_back(comparison(HKPredicateKeyPathEndDate,
                                 NSGreaterThanOrEqualToPredicateOperatorType, *startDate));
    }
  }
  if (endDate) {
    if (strictStart || !strictEnd) {
      parts.push_back(
          comparison(HKPredicateKeyPathStartDate, NSLessThanPredicateOperatorType, *endDate));
    }
    if (strictEnd) {
      parts.push_back(
          comparison(HKPredicateKeyPathEndDate, NSLessThanPredicateOperatorType, *endDate));
    }
  }
  return allOf(std::move(parts));
}

std::shared_ptr<const NSPredicate> HKQuery::predicateForObjectsWithMetadataKey(
    const std::string& key) {
  return comparison(metadataKeyPath(key), NSNotEqualToPredicateOperatorType, NSAny());
}

std::shared_ptr<const NSPredicate> HKQuery::predicateForObjectsWithMetadataKey(
    const std::string& key, const std::vector<NSAny>& allowedValues) {
  return comparison(metadataKeyPath(key), NSInPredicateOperatorType,
                    NSArray::arrayWithArray(allowedValues));
}

std::shared_ptr<const NSPredicate> HKQuery::predicateForObjectsWithMetadataKey(
    const std::string& key, NSPredicateOperatorType operatorType, const NSAny& value) {
  return comparison(metadataKeyPath(key), operatorType, value);
}

std::shared_ptr<const NSPredicate> HKQuery::predicateForObjectsFromSource(
    const std::shared_ptr<const HKSource>& source) {
  if (!source) throw std::invalid_argument("predicateForObjectsFromSource: the source is null");
  return comparison(HKPredicateKeyPathSource, NSEqualToPredicateOperatorType, source);
}

std::shared_ptr<const NSPredicate> HKQuery::predicateForObjectsFromSources(
    const std::vector<std::shared_ptr<const HKSource>>& sources) {
  std::vector<NSAny> values(sources.begin(), sources.end());
  return comparison(HKPredicateKeyPathSource, NSInPredicateOperatorType,
                    NSArray::arrayWithArray(std::move(values)));
}

std::shared_ptr<const NSPredicate> HKQuery::predicateForObjectWithUUID(const NSUUID& uuid) {
  return predicateForObjectsWithUUIDs({uuid});
}

std::shared_ptr<const NSPredicate> HKQuery::predicateForObjectsWithUUIDs(
    const std::vector<NSUUID>& uuids) {
  std::vector<NSAny> values;
  for (const NSUUID& uuid : uuids) values.emplace_back(uuid.UUIDString());
  if (values.size() == 1) {
    return comparison(HKPredicateKeyPathUUID, NSEqualToPredicateOperatorType, values.front());
  }
  return comparison(HKPredicateKeyPathUUID, NSInPredicateOperatorType,
                    NSArray::arrayWithArray(std::move(values)));
}

std::shared_ptr<const NSPredicate> HKQuery::predicateForObjectsWithNoCorrelation() {
  return comparison(HKPredicateKeyPathCorrelation, NSEqualToPredicateOperatorType, NSAny());
}

std::shared_ptr<const NSPredicate> HKQuery::predicateForQuantitySamplesWithOperatorType(
    NSPredicateOperatorType operatorType, const std::shared_ptr<const HKQuantity>& quantity) {
  if (!quantity) throw std::invalid_argument("predicateForQuantitySamples: the quantity is null");
  return comparison(HKPredicateKeyPathQuantity, operatorType, quantity);
}

std::shared_ptr<const NSPredicate> HKQuery::predicateForCategorySamplesWithOperatorType(
    NSPredicateOperatorType operatorType, long value) {
  return comparison(HKPredicateKeyPathCategoryValue, operatorType, value);
}

std::shared_ptr<const NSPredicate> HKQuery::predicateForWorkoutsWithWorkoutActivityType(
    HKWorkoutActivityType workoutActivityType) {
  // The key path workouts answer with their activity type's raw value.
  return comparison("workoutActivityType", NSEqualToPredicateOperatorType,
                    static_cast<long>(workoutActivityType));
}
