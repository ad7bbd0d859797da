#pragma once

// Turning an export's MetadataEntry pairs (every value written as text) back into the metadata
// HealthKit stores: HealthKit's boolean and enumeration keys become numbers ("1" -> 1), its
// quantity keys become HKQuantity ("56 degF", "9.1945 kcal/hr·kg"; "56 %" is the watch's
// percentage, stored as the fraction 0.56), and every other key stays the string it was. A value
// a HealthKit key cannot hold is left out (and reported) rather than making the object invalid.
// Pure; safe from any thread.

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Foundation/NSDictionary.h"

namespace apple_health_export {

using MetadataEntries = std::vector<std::pair<std::string, std::string>>;

struct MetadataProblems {
  std::map<std::string, std::size_t>* unknownUnits = nullptr;
  std::map<std::string, std::size_t>* unreadable = nullptr;  // by "metadata <key>"
};

// nullptr for no entries. A key written twice keeps its last value.
std::shared_ptr<const NSDictionary> exportMetadata(const MetadataEntries& entries,
                                                   const MetadataProblems& problems);

}  // namespace apple_health_export
