#pragma once

// BenchConversion: how fast the engine turns samples into records, per record kind, beside
// reading the same samples into plain structs (BenchPlainReader). The samples of each kind cover
// every subscribed type the anchored fetch converts into that kind (BenchObjectFactory); they
// are saved on the phone's simulated device by another app and read back with the fetch's
// predicate, so they arrive as the fetch gets them (source, device, metadata and all). The
// conversion is the fetch's own: recordsForHealthKitSamples, one call per type's batch.
//
// Main thread only.
//
//   BenchConversion conversion(20000, 5);
//   if (!conversion.prepare(phone, err)) return 1;
//   for (const auto& kind : conversion.measure()) ...

#include <map>
#include <memory>
#include <ostream>
#include <vector>

#include "HealthKit/HKSample.h"
#include "OstrandCore/OSTRecord.h"
#include "tools/OstrandTools/Common/SimulatedPhone.h"

namespace ostrand_tools {

struct BenchConversionResult {
  OSTRecordType kind = OSTRecordTypeNone;
  std::size_t samples = 0;
  double convertSeconds = 0;  // median over the runs
  double plainSeconds = 0;    // median over the runs
};

class BenchConversion {
 public:
  using Samples = std::vector<std::shared_ptr<const HKSample>>;

  BenchConversion(std::size_t samplesPerKind, int runs)
      : samplesPerKind_(samplesPerKind), runs_(runs) {}

  // The record kinds made from samples one by one.
  static std::vector<OSTRecordType> kinds();

  // Writes and reads back the samples; false (with a message on `err`) when HealthKit refused.
  bool prepare(SimulatedPhone& phone, std::ostream& err);
  std::vector<BenchConversionResult> measure();
  // One record per prepared sample, every kind: what the outbox bench submits.
  std::vector<std::shared_ptr<OSTRecord>> records() const;

 private:
  using Batches = std::vector<Samples>;  // one per sample type

  bool save(SimulatedPhone& phone, OSTRecordType kind, std::ostream& err);
  static Samples readBack(SimulatedPhone& phone, const std::shared_ptr<const HKSampleType>& type);
  BenchConversionResult measureKind(OSTRecordType kind, const Batches& batches) const;
  static void convert(const Batches& batches);
  static void readPlain(const Batches& batches);

  std::size_t samplesPerKind_;
  int runs_;
  std::map<OSTRecordType, Batches> batches_;
};

}  // namespace ostrand_tools
