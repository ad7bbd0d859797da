#pragma once

// ExportTypeCache: the HealthKit sample types and units an export's records name, each name
// looked up once. HealthKit's own lookups take a lock and build a string each time; an export
// names the same few dozen types and units millions of times. A name HealthKit does not know
// is looked up (and, for a unit, counted as unknown) each time it is read, as before.
//
// Driven by the reader's one thread.
//
//   ExportTypeCache types;
//   const auto& type = types.recordType("HKQuantityTypeIdentifierStepCount");
//   HKUnit::Pointer unit = types.unit("count", summary);

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "AppleHealthExport/AppleHealthExportSummary.h"
#include "HealthKit/HKObjectType.h"
#include "HealthKit/HKUnit.h"

namespace apple_health_export {

class ExportTypeCache {
 public:
  struct RecordType {  // at most one of them is set
    std::shared_ptr<const HKQuantityType> quantity;
    std::shared_ptr<const HKCategoryType> category;
  };

  RecordType recordType(std::string_view identifier);
  // The unit `text` names; nullptr, counted in the summary's unknown units, when none.
  HKUnit::Pointer unit(std::string_view text, AppleHealthExportSummary& summary);

 private:
  std::map<std::string, RecordType, std::less<>> recordTypes_;  // known ones only
  std::map<std::string, HKUnit::Pointer, std::less<>> units_;   // known ones only
};

}  // namespace apple_health_export
