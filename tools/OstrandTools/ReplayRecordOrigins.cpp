#include "tools/OstrandTools/ReplayRecordOrigins.h"

#include <mutex>
#include <unordered_set>

#include "HealthKit/HKSampleQuery.h"
#include "HealthKit/HKSourceRevision.h"
#include "tools/OstrandTools/SimulatedPhone.h"

namespace ostrand_tools {

namespace {

std::unordered_set<std::string> activityIdentifiers(const Records& records) {
  std::unordered_set<std::string> identifiers;
  for (const auto& record : records) {
    if (auto identifier = record->activityID()) identifiers.insert(*identifier);
  }
  return identifiers;
}

}  // namespace

std::map<std::string, std::size_t> recordsByObjectType(
    const std::shared_ptr<platform::SimulatedHealthDevice>& device, const Records& records,
    const OSTSampleTypeArray& types) {
  const auto identifiers = activityIdentifiers(records);
  // Another app than the host, so the count passes no permission and is no delivery to the app.
  const auto reader = device->storeForSource(HKSourceRevision::sourceRevisionWithSource(
      HKSource::sourceWithName("Replay summary", "ostrand.replay.summary"), std::nullopt));
  std::mutex countsMutex;  // the handlers run on HealthKit's queues
  std::map<std::string, std::size_t> counts;
  for (const auto& type : types) {
    reader->executeQuery(std::make_shared<HKSampleQuery>(
        type, nullptr, HKObjectQueryNoLimit, std::vector<std::shared_ptr<const NSSortDescriptor>>{},
        [&, type](auto, std::vector<std::shared_ptr<const HKSample>> samples, auto) {
          std::lock_guard<std::mutex> lock(countsMutex);
          for (const auto& sample : samples) {
            counts[type->identifier()] += identifiers.count(sample->UUID().UUIDString());
          }
        }));
  }
  SimulatedPhone::runUntilIdle();
  return counts;
}

}  // namespace ostrand_tools
