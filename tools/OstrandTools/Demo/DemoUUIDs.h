#pragma once

// DemoUUIDs: the UUIDs of a demo person's objects. HealthKit gives every new object a random
// UUID; the demo instead derives each from its seed and the object's place in the person's life
// (the day, and the object's number among that day's), so the same seed gives the same UUIDs in
// every run and every process. They have the shape of random (version 4) UUIDs, and for one seed
// no two places share one.
//
// Not thread-safe.
//
//   DemoUUIDs uuids(seed);
//   uuids.startDay(dayIndex);
//   NSUUID first = uuids.next(), second = uuids.next();

#include <cstdint>

#include "Foundation/NSUUID.h"

namespace ostrand_tools {

class DemoUUIDs {
 public:
  explicit DemoUUIDs(unsigned seed);

  // The objects that follow belong to day `dayIndex`, counted from the first day.
  void startDay(int dayIndex);
  NSUUID next();

 private:
  std::uint64_t seedKey_;
  std::uint64_t day_ = 0;
  std::uint32_t ordinal_ = 0;
};

}  // namespace ostrand_tools
