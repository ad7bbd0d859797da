#pragma once

// BenchPlainReader: the conversion bench's baseline. It reads the fields a record is made of
// (dates, the value or values, the UUID as a string, source, device, metadata) out of HealthKit
// samples into plain structs, with no unit conversion (values are read in the units they were
// written in) and none of the record model: what any conversion has to touch at least.
//
// Each reader keeps its own small table of units; use one per thread.
//
//   BenchPlainReader reader;
//   std::vector<BenchPlainSample> plain = reader.read(samples);

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Foundation/NSDictionary.h"
#include "HealthKit/HKSample.h"
#include "HealthKit/HKUnit.h"

namespace ostrand_tools {

struct BenchPlainSample {
  double start = 0;
  double end = 0;
  // A quantity; a category's value; a correlation's members; a workout's duration, energy and
  // distance.
  std::vector<double> values;
  std::string uuid;
  std::string sourceName;
  std::string bundleIdentifier;
  std::string deviceName;
  NSDictionary::Storage metadata;
};

class BenchPlainReader {
 public:
  std::vector<BenchPlainSample> read(const std::vector<std::shared_ptr<const HKSample>>& samples);

 private:
  BenchPlainSample readOne(const HKSample& sample);
  void readValues(const HKSample& sample, std::vector<double>& values);
  // The unit the bench writes a quantity type's values in (the catalog's), or the unit that
  // `key` spells ("kcal") when it names no quantity type.
  const HKUnit& unitFor(const std::string& key);

  std::map<std::string, HKUnit::Pointer, std::less<>> units_;
};

}  // namespace ostrand_tools
