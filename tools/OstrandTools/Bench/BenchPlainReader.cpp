#include "tools/OstrandTools/Bench/BenchPlainReader.h"

#include "HealthKit/HKCategorySample.h"
#include "HealthKit/HKCorrelation.h"
#include "HealthKit/HKQuantitySample.h"
#include "HealthKit/HKWorkout.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"

namespace ostrand_tools {

std::vector<BenchPlainSample> BenchPlainReader::read(
    const std::vector<std::shared_ptr<const HKSample>>& samples) {
  std::vector<BenchPlainSample> plain;
  plain.reserve(samples.size());
  for (const auto& sample : samples) plain.push_back(readOne(*sample));
  return plain;
}

BenchPlainSample BenchPlainReader::readOne(const HKSample& sample) {
  BenchPlainSample plain;
  plain.start = sample.startDate().timeIntervalSinceReferenceDate();
  plain.end = sample.endDate().timeIntervalSinceReferenceDate();
  readValues(sample, plain.values);
  plain.uuid = sample.UUID().UUIDString();
  plain.sourceName = sample.source()->name();
  plain.bundleIdentifier = sample.source()->bundleIdentifier();
  if (sample.device() && sample.device()->name()) plain.deviceName = *sample.device()->name();
  if (sample.metadata()) plain.metadata = sample.metadata()->entries();
  return plain;
}

void BenchPlainReader::readValues(const HKSample& sample, std::vector<double>& values) {
  if (const auto* quantity = dynamic_cast<const HKQuantitySample*>(&sample)) {
    values.push_back(
        quantity->quantity()->doubleValueForUnit(unitFor(quantity->quantityType()->identifier())));
  } else if (const auto* category = dynamic_cast<const HKCategorySample*>(&sample)) {
    values.push_back(static_cast<double>(category->value()));
  } else if (const auto* correlation = dynamic_cast<const HKCorrelation*>(&sample)) {
    for (const auto& member : correlation->objects()) readValues(*member, values);
  } else if (const auto* workout = dynamic_cast<const HKWorkout*>(&sample)) {
    // The units BenchObjectFactory writes a workout's totals in.
    values.push_back(workout->duration());
    values.push_back(workout->totalEnergyBurned()->doubleValueForUnit(unitFor("kcal")));
    values.push_back(workout->totalDistance()->doubleValueForUnit(unitFor("km")));
  }
}

const HKUnit& BenchPlainReader::unitFor(const std::string& key) {
  auto found = units_.find(key);
  if (found == units_.end()) {
    auto unit = OSTHealthKitSubscription::unitForQuantityTypeIdentifier(key);
    if (!unit) unit = HKUnit::unitFromString(key);
    found = units_.emplace(key, std::move(unit)).first;
  }
  return *found->second;
}

}  // namespace ostrand_tools
