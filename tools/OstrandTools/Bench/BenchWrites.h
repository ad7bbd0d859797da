#pragma once

// BenchWrites: objects to save, grouped by the app (store) that writes them, saved in one call
// per app in the order the apps were first added. save() drives the queues until idle, so when
// it returns HealthKit has stored everything and whatever the saves woke has run.
//
// Main thread only.
//
//   BenchWrites writes;
//   writes.add(watch, heartRateSample);
//   if (!writes.save(err)) return false;

#include <memory>
#include <ostream>
#include <utility>
#include <vector>

#include "HealthKit/HKHealthStore.h"
#include "HealthKit/HKObject.h"

namespace ostrand_tools {

class BenchWrites {
 public:
  void add(const std::shared_ptr<HKHealthStore>& store, std::shared_ptr<const HKObject> object);
  std::size_t count() const;
  // False (with HealthKit's reason on `err`) when any save was refused.
  bool save(std::ostream& err) const;

 private:
  using StoreObjects =
      std::pair<std::shared_ptr<HKHealthStore>, std::vector<std::shared_ptr<const HKObject>>>;
  std::vector<StoreObjects> byStore_;
};

}  // namespace ostrand_tools
