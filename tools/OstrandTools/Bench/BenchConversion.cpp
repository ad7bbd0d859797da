#include "tools/OstrandTools/Bench/BenchConversion.h"

#include <mutex>

#include "HealthKit/HKSampleQuery.h"
#include "HealthKit/HKSourceRevision.h"
#include "OstrandHealthKit/Models/OSTRecord+HealthKit.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"
#include "tools/OstrandTools/Bench/BenchObjectFactory.h"
#include "tools/OstrandTools/Bench/BenchPlainReader.h"
#include "tools/OstrandTools/Bench/BenchStopwatch.h"
#include "tools/OstrandTools/Bench/BenchWrites.h"

namespace ostrand_tools {

namespace {

constexpr double kSampleSpacing = 3600;  // one sample an hour, five minutes long
constexpr double kSampleLength = 300;

std::shared_ptr<HKHealthStore> appStore(SimulatedPhone& phone) {
  return phone.device()->storeForSource(HKSourceRevision::sourceRevisionWithSource(
      HKSource::sourceWithName("Bench App", "com.example.bench"), "1.0", "iPhone15,2",
      NSOperatingSystemVersion{17, 0, 0}));
}

}  // namespace

std::vector<OSTRecordType> BenchConversion::kinds() {
  return {OSTRecordTypeBiometrics, OSTRecordTypeDiabetes, OSTRecordTypeWeight,
          OSTRecordTypeNutrition,  OSTRecordTypeFitness,  OSTRecordTypeSleep};
}

bool BenchConversion::prepare(SimulatedPhone& phone, std::ostream& err) {
  for (const OSTRecordType kind : kinds()) {
    if (!save(phone, kind, err)) return false;
    Batches& batches = batches_[kind];
    for (const auto& type : BenchObjectFactory::sampleConvertedTypes(kind)) {
      batches.push_back(readBack(phone, type));
    }
  }
  return true;
}

bool BenchConversion::save(SimulatedPhone& phone, OSTRecordType kind, std::ostream& err) {
  const auto types = BenchObjectFactory::sampleConvertedTypes(kind);
  const auto store = appStore(phone);
  const NSDate first = phone.clock().now().dateByAddingTimeInterval(
      -kSampleSpacing * static_cast<double>(samplesPerKind_ + 1));
  BenchWrites writes;
  for (std::size_t i = 0; i < samplesPerKind_; ++i) {
    const NSDate start = first.dateByAddingTimeInterval(kSampleSpacing * static_cast<double>(i));
    writes.add(store, BenchObjectFactory::object(*types[i % types.size()], start,
                                                 start.dateByAddingTimeInterval(kSampleLength),
                                                 static_cast<int>(i)));
  }
  return writes.save(err);
}

BenchConversion::Samples BenchConversion::readBack(
    SimulatedPhone& phone, const std::shared_ptr<const HKSampleType>& type) {
  // As the anchored fetch asks: a correlation's members come with their correlation only.
  const auto predicate = std::dynamic_pointer_cast<const HKQuantityType>(type)
                             ? HKQuery::predicateForObjectsWithNoCorrelation()
                             : nullptr;
  Samples samples;
  std::mutex mutex;
  appStore(phone)->executeQuery(std::make_shared<HKSampleQuery>(
      type, predicate, HKObjectQueryNoLimit, std::vector<std::shared_ptr<const NSSortDescriptor>>{},
      [&](auto, Samples found, auto) {
        std::lock_guard lock(mutex);
        samples = std::move(found);
      }));
  SimulatedPhone::runUntilIdle();
  std::lock_guard lock(mutex);
  return samples;
}

std::vector<BenchConversionResult> BenchConversion::measure() {
  std::vector<BenchConversionResult> results;
  for (const auto& [kind, batches] : batches_) results.push_back(measureKind(kind, batches));
  return results;
}

BenchConversionResult BenchConversion::measureKind(OSTRecordType kind,
                                                   const Batches& batches) const {
  std::vector<double> converting, reading;
  std::size_t samples = 0;
  for (const auto& batch : batches) samples += batch.size();
  for (int run = 0; run < runs_; ++run) {
    BenchStopwatch watch;
    convert(batches);
    converting.push_back(watch.seconds());
    watch.restart();
    readPlain(batches);
    reading.push_back(watch.seconds());
  }
  return {kind, samples, BenchStopwatch::median(converting), BenchStopwatch::median(reading)};
}

void BenchConversion::convert(const Batches& batches) {
  for (const auto& samples : batches) {
    if (samples.empty()) continue;
    // As parseSampleObjects does: the batch's kind from its type, then the records.
    const auto kind =
        OSTHealthKitSubscription::recordTypeForSampleType(*samples.front()->sampleType());
    recordsForHealthKitSamples(samples, kind);
  }
}

void BenchConversion::readPlain(const Batches& batches) {
  BenchPlainReader reader;
  for (const auto& samples : batches) reader.read(samples);
}

std::vector<std::shared_ptr<OSTRecord>> BenchConversion::records() const {
  std::vector<std::shared_ptr<OSTRecord>> all;
  for (const auto& [kind, batches] : batches_) {
    for (const auto& samples : batches) {
      if (samples.empty()) continue;
      auto records = recordsForHealthKitSamples(samples, kind);
      all.insert(all.end(), records.begin(), records.end());
    }
  }
  return all;
}

}  // namespace ostrand_tools
