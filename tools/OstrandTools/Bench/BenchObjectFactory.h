#pragma once

// BenchObjectFactory: one valid HealthKit object of any sample type the library subscribes to,
// as an app would write it: a quantity in the catalog's unit for its type (so reading it needs no
// conversion), a category sample with a value its type allows, a workout with a pause, energy,
// distance and the weather, a blood pressure or a meal as a correlation; with the metadata
// HealthKit requires (insulin's reason, a period's cycle start) and, on every other sample,
// whether it was typed in. Values vary with `index` so that records differ.
//
// Stateless; any thread.
//
//   auto object = BenchObjectFactory::object(*type, start, start.dateByAddingTimeInterval(60), 7);

#include <memory>
#include <vector>

#include "HealthKit/HKObject.h"
#include "HealthKit/HKObjectType.h"
#include "OstrandCore/OSTRecordType.h"

namespace ostrand_tools {

class BenchObjectFactory {
 public:
  // nullptr for a type the factory cannot fill (none of the subscribed ones).
  static std::shared_ptr<const HKObject> object(const HKSampleType& type, NSDate start, NSDate end,
                                                int index);

  // The subscribed types whose samples the anchored fetch turns into records of `kind` one by
  // one: neither daily activity (summed per day) nor heart rate (summarised per day).
  static std::vector<std::shared_ptr<const HKSampleType>> sampleConvertedTypes(OSTRecordType kind);
};

}  // namespace ostrand_tools
